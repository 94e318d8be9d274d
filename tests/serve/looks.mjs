// How the page looks, in both widths and colour schemes, and how smoothly it works.
import {readFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import {join} from 'node:path';
import {check, same} from './bench.mjs';

const axeSource = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const widths = [1400, 400];
const schemes = ['light', 'dark'];
const smallestText = 14;

// What some processes say: level, and text.
const examples = [
  ['tuner', 101, 'TUNER', [[5, 'tuned to 98.5 MHz'], [6, 'signal 61 of 100, 2 antennas'], [3, 'signal is weak: 12 of 100']]],
  ['navigation', 102, 'ROUTE', [[6, 'reading /usr/share/maps/17'], [5, 'route of 87 km in 4 parts'], [4, 'the way was left'],
                                [6, 'tile 4711 in 3 ms']]],
  ['media_scanner', 104, 'FINDER', [[5, 'Found /media/usb1 with 87 folders'], [6, 'cover of 64 x 64 pixels'],
                                    [2, 'cannot open /media/usb1/07.mp3: Input/output error'], [7, 'tag 12 of 30'], [7, 'tag 13 of 30']]],
];

function example(i, time) {
  const [process, pid, zone, texts] = examples[i * 7 % 11 % 3];
  const [level, message] = texts[i * 5 % 13 % texts.length];
  return {process, pid, zone, level, message, time};
}

async function fill(bench) {
  bench.say(...Array.from({length: 200}, (_, i) => example(i)));
  await bench.count(200);
  await bench.page.fill('#recording', 'stateDiagram-v2\n');
  await bench.page.click('#machine button');
  await bench.page.waitForFunction(() => document.querySelector('#diagram').naturalWidth > 0);
  await bench.text('#legend', /Error0[1-9]/);
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
  await page.setViewportSize({width: 1200, height: 800});
  // A minute in which more and less came.
  const end = Date.now();
  for (let second = 0; second < 60; ++second) {
    const count = 12 + Math.round(9 * Math.sin(second / 6)) + second * 7 % 5 + (second % 29 === 20 ? 30 : 0);
    bench.say(...Array.from({length: count},
                            (_, k) => example(second * 31 + k, end - (60 - second) * 1000 + k * 1000 / count)));
  }
  await page.getByLabel('Level of tuner, 101').waitFor();
  await page.waitForTimeout(1500);
  await page.screenshot({path: join(folder, 'serve.png')});
  await page.emulateMedia({colorScheme: 'dark'});
  await page.setViewportSize({width: 400, height: 760});
  await page.selectOption('#level', '3');
  await page.waitForTimeout(500);
  await page.screenshot({path: join(folder, 'serve-narrow.png')});
}

export const tests = {areGoodWideAndNarrowLightAndDark, areCheckedForRealFaults, staySmooth};
