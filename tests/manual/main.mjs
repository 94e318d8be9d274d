// Looks at the whole manual with a browser: each page in two widths and two colour schemes, each
// link, and the search. Pictures of some pages are for people to look at.
//
// usage: node main.mjs MANUAL PICTURES CHROMIUM
import {mkdirSync, readdirSync, readFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import {availableParallelism} from 'node:os';
import {basename, join, resolve} from 'node:path';
import {pathToFileURL} from 'node:url';
import {chromium} from 'playwright-core';
import {brokenLinks, scriptedLinks} from './links.mjs';
import {kinds, lookAt, schemes, widths} from './look.mjs';
import {searchTests} from './search.mjs';
import {selfTest} from './self_test.mjs';

let passed = 0;
let failed = 0;

function report(rows) {
  for (const [what, problems] of rows) {
    console.log(`${problems.length === 0 ? 'good' : 'BAD '}  ${what}`);
    problems.forEach((text) => console.log(`      ${text}`));
    problems.length === 0 ? ++passed : ++failed;
  }
}

// Looks at all pages, several at once.
async function lookAtAll(context, files, axeSource) {
  const looks = new Map();
  const rest = [...files];
  const work = async () => {
    const page = await context.newPage();
    while (rest.length > 0) {
      const file = rest.shift();
      looks.set(file, await lookAt(page, file, axeSource));
      if (looks.size % 10 === 0) {
        console.error(`looked at ${looks.size} of ${files.length} pages`);
      }
    }
    await page.close();
  };
  await Promise.all(Array.from({length: Math.min(8, availableParallelism())}, work));
  return looks;
}

async function takePictures(page, folder, pictures, files) {
  mkdirSync(pictures, {recursive: true});
  for (const width of widths) {
    await page.setViewportSize({width, height: 900});
    for (const colorScheme of schemes) {
      await page.emulateMedia({colorScheme});
      for (const name of kinds.filter((one) => files.includes(join(folder, one)))) {
        await page.goto(pathToFileURL(join(folder, name)).href);
        await page.screenshot({path: join(pictures, `${basename(name, '.html')}-${width}-${colorScheme}.png`)});
      }
      await page.fill('#search-box', 'watchdog');
      await page.locator('#search-results li a').first().waitFor();
      await page.screenshot({path: join(pictures, `search-${width}-${colorScheme}.png`)});
    }
  }
}

async function main() {
  const [folder, pictures, program] = process.argv.slice(2).map((argument, i) => i < 2 ? resolve(argument) : argument);
  const files = readdirSync(folder).filter((name) => name.endsWith('.html')).sort().map((name) => join(folder, name));
  const axeSource = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
  const browser = await chromium.launch({
    executablePath: program,
    args: ['--disable-dev-shm-usage', ...(process.getuid() === 0 ? ['--no-sandbox'] : [])],
  });
  try {
    const context = await browser.newContext();
    const page = await context.newPage();
    report(await selfTest(page, axeSource));
    const looks = await lookAtAll(context, files, axeSource);
    const scripts = readdirSync(folder).filter((name) => /^(navtree.*|search_index|\w+_8\w+|\w+_dup)\.js$/.test(name));
    looks.set('the tree and the search', {problems: [], anchors: new Set(), links: scriptedLinks(folder, scripts)});
    const broken = brokenLinks(folder, looks);
    report([...looks].sort().map(([file, {problems}]) => [basename(file), [...problems, ...broken.get(file)]]));
    report(await searchTests(page, folder, axeSource));
    await takePictures(page, folder, pictures, files);
  } finally {
    await browser.close();
  }
  console.log(`${passed} passed, ${failed} failed`);
  process.exitCode = failed === 0 && files.length > 0 ? 0 : 1;
}

await main();
