// How the page looks, in both widths and colour schemes, and how smoothly it works.
import {readFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import {join} from 'node:path';
import {check, same} from './bench.mjs';

const axeSource = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const widths = [1400, 400];
const schemes = ['light', 'dark'];
const smallestText = 14;

const words = ['tuned to 98.5 MHz', 'reading /usr/share/maps', 'route of 87 km in 4 parts', 'cannot open the device: busy',
               'cover of 64 x 64 pixels', 'session 12 has ended', 'waiting for the disc', 'volume 17'];
const people = [['tuner', 101, 'TUNER'], ['navigation', 102, 'ROUTE'], ['media_scanner', 104, 'FINDER']];

function example(i) {
  const [process, pid, zone] = people[i * 7 % 3];
  const level = i % 41 === 0 ? 2 : i % 17 === 0 ? 3 : i % 13 === 0 ? 4 : i % 3 === 0 ? 6 : 5;
  return {process, pid, zone, level, message: words[i * 5 % words.length]};
}

async function fill(bench) {
  bench.say(...Array.from({length: 200}, (_, i) => example(i)));
  await bench.count(200);
  await bench.page.fill('#recording', 'stateDiagram-v2\n');
  await bench.page.click('#machine button');
  await bench.page.waitForFunction(() => document.querySelector('#diagram').naturalWidth > 0);
  await bench.text('#legend', /Error05/);
  await bench.page.getByLabel('Level of tuner, 101').waitFor();
}

async function problemsAt(page) {
  if (!await page.evaluate(() => Boolean(window.axe))) {
    await page.evaluate(axeSource);
  }
  return page.evaluate(async (least) => {
    const {violations} = await window.axe.run(document, {preload: false, resultTypes: ['violations']});
    const found = violations.filter(({impact}) => ['serious', 'critical'].includes(impact)).map(({id, nodes}) =>
      `axe ${id}: ${nodes.length} times, first ${nodes[0].target.join(' ')}: ${nodes[0].failureSummary}`);
    const width = document.documentElement.clientWidth;
    if (document.documentElement.scrollWidth > width) {
      found.push(`${document.documentElement.scrollWidth} pixels wide`);
    }
    for (const element of document.querySelectorAll('body *')) {
      const own = [...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim());
      if (own && element.checkVisibility() && parseFloat(getComputedStyle(element).fontSize) < least) {
        found.push(`small text: ${element.textContent.slice(0, 30)}`);
      }
    }
    return found;
  }, smallestText);
}

async function areGoodWideAndNarrowLightAndDark(bench) {
  const {page} = bench;
  await fill(bench);
  await page.focus('#list');
  await page.keyboard.press('ArrowUp');
  await page.keyboard.press('Enter');
  const found = [];
  for (const width of widths) {
    await page.setViewportSize({width, height: 2000});  // what is scrolled out of sight is not looked at
    for (const colorScheme of schemes) {
      await page.emulateMedia({colorScheme});
      found.push(...(await problemsAt(page)).map((text) => `${width}, ${colorScheme}: ${text}`));
    }
  }
  same(found, [], 'problems');
  // With nothing to show, too.
  await page.fill('#search', 'nothing like this');
  await bench.count(0, 200);
  same(await problemsAt(page), [], 'problems of an empty list');
}

// The check is worth something: it notices what is wrong.
async function areCheckedForRealFaults(bench) {
  await bench.page.evaluate(() => {
    document.querySelector('aside').insertAdjacentHTML('afterbegin', '<input><p id="faint">faint</p><p id="tiny">tiny</p>');
    document.querySelector('#faint').style.color = '#ddd';
    document.querySelector('#tiny').style.fontSize = '9px';
  });
  const found = (await problemsAt(bench.page)).join(' ');
  check(/label/.test(found) && /color-contrast/.test(found) && /small text: tiny/.test(found), `only noticed: ${found}`);
}

// 1,000 records a second, as they come from a busy system. What counts is the time that the page takes of
// its thread, as a busy machine cannot change it; the rest is told.
async function staySmooth(bench, {seconds}) {
  const {page} = bench;
  await page.evaluate(() => {
    window.seen = {frames: [], tasks: []};
    new PerformanceObserver((list) => list.getEntries().forEach(({duration}) => window.seen.tasks.push(duration)))
        .observe({entryTypes: ['longtask']});
    let last = performance.now();
    const frame = (now) => {
      window.seen.frames.push(now - last);
      last = now;
      requestAnimationFrame(frame);
    };
    requestAnimationFrame(frame);
  });
  const session = await bench.context.newCDPSession(page);
  await session.send('Performance.enable', {timeDomain: 'threadTicks'});
  const worked = async () => {
    const {metrics} = await session.send('Performance.getMetrics');
    return metrics.find(({name}) => name === 'TaskDuration').value;
  };
  const before = await worked();
  const begin = performance.now();
  let said = 0;
  while (performance.now() - begin < seconds * 1000) {
    const due = Math.floor(performance.now() - begin) - said;
    if (due > 0) {
      bench.say(...Array.from({length: due}, (_, i) => example(said + i)));
      said += due;
    }
    await new Promise((done) => setTimeout(done, 10));
  }
  await bench.count(Math.min(said, 100000));
  const took = (performance.now() - begin) / 1000;
  const share = (await worked() - before) / took;
  const {frames, tasks} = await page.evaluate(() => window.seen);
  frames.sort((a, b) => a - b);
  const at = (part) => frames[Math.floor(frames.length * part)].toFixed();
  console.log(`      ${said} records in ${took.toFixed(1)} s: ${(share * 100).toFixed()} % of a thread; frames: ${at(0.5)} ms ` +
      `in the middle, ${at(0.99)} ms the 99th of 100, ${frames.at(-1).toFixed()} ms the longest; tasks over 50 ms: ` +
      `${tasks.length}, the longest ${Math.max(0, ...tasks).toFixed()} ms`);
  check(share < 0.5, `${(share * 100).toFixed()} % of a thread`);
  same(await page.textContent('#gap'), '', 'lost');
}

export async function takePictures(bench, folder) {
  const {page} = bench;
  await page.setViewportSize({width: 1200, height: 760});
  for (let i = 0; i < 40; ++i) {
    bench.say(...Array.from({length: 5 + i * i % 23}, (_, k) => example(i * 31 + k)));
    await page.waitForTimeout(250);
  }
  await page.waitForTimeout(1500);
  await page.screenshot({path: join(folder, 'serve.png')});
  await page.emulateMedia({colorScheme: 'dark'});
  await page.setViewportSize({width: 400, height: 760});
  await page.selectOption('#level', '3');
  await page.waitForTimeout(500);
  await page.screenshot({path: join(folder, 'serve-narrow.png')});
}

export const tests = {areGoodWideAndNarrowLightAndDark, areCheckedForRealFaults, staySmooth};
