// The search of the manual, used as a reader does: typed, read, followed.
import {basename, join} from 'node:path';
import {pathToFileURL} from 'node:url';
import {schemes, widths} from './look.mjs';

const searches = [
  // what is typed, the name of a result, where it leads, and whether it must be the first
  ['COMMON_Log_Write', 'COMMON_Log_Write', /\/common__log_8h\.html#\w+$/, true],
  ['TMR_Start', 'TMR_Start', /\/timer_8h\.html#\w+$/, true],
  ['tmr_start()', 'TMR_Start', /\/timer_8h\.html#\w+$/, true],
  ['watchdog', 'common_wdm.h', /\/common__wdm_8h\.html$/, false],
  ['milliseconds one-shot', 'timer.h', /\/timer_8h\.html$/, true],
];

async function type(page, folder, start, text) {
  await page.goto(pathToFileURL(join(folder, start)).href);
  await page.click('#search-box');
  await page.keyboard.type(text);
  await page.locator('#search-results [role=status]').waitFor();
}

async function searchFor(page, folder, [text, name, address, first]) {
  await type(page, folder, 'index.html', text);
  const results = page.locator('#search-results li a');
  const result = results.filter({has: page.getByText(name, {exact: true})}).first();
  await result.waitFor();
  if (first && await results.first().locator('.name').textContent() !== name) {
    throw new Error(`the first result is ${await results.first().innerText()}`);
  }
  await result.click();
  await page.waitForURL(address);
  const anchor = new URL(page.url()).hash.slice(1);
  if (anchor && await page.locator(`[id="${anchor}"]`).count() !== 1) {
    throw new Error(`there is no ${anchor} on ${basename(page.url())}`);
  }
}

async function searchByKeys(page, folder) {
  await page.goto(pathToFileURL(join(folder, 'index.html')).href);
  await page.keyboard.press('/');
  await page.keyboard.type('TMR_Stop');
  await page.locator('#search-results li a').first().waitFor();
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await page.waitForURL(/timer_8h\.html#/);
}

async function searchForNothing(page, folder) {
  await type(page, folder, 'timer_8h.html', 'qqqq<b>');
  await page.getByText('Nothing found for “qqqq<b>”.').waitFor();
  await page.keyboard.press('Escape');
  await page.locator('#search-results').waitFor({state: 'hidden'});
}

async function looksGood(page, folder, axeSource, width, colorScheme) {
  await page.emulateMedia({colorScheme});
  await type(page, folder, 'timer_8h.html', 'timer');
  await page.locator('#search-results li a').first().waitFor();
  if (await page.evaluate(() => document.documentElement.scrollWidth) > width) {
    throw new Error('the results make the page too wide');
  }
  await page.evaluate(axeSource);
  const {violations} = await page.evaluate(() => window.axe.run('#search-results, #search', {preload: false}));
  const bad = violations.filter(({impact}) => ['serious', 'critical'].includes(impact));
  if (bad.length > 0) {
    throw new Error(bad.map(({id, nodes}) => `${id} ${nodes[0].target}: ${nodes[0].failureSummary}`).join('; '));
  }
}

// Gives a row for each search: what it is, and what is wrong with it.
export async function searchTests(page, folder, axeSource) {
  const rows = [];
  const test = async (what, body) => {
    await page.emulateMedia({colorScheme: 'light'});
    try {
      await body();
      rows.push([what, []]);
    } catch (error) {
      rows.push([what, [error.message.split('\n')[0]]]);
    }
  };
  for (const width of widths) {
    await page.setViewportSize({width, height: 900});
    for (const search of searches) {
      await test(`search at ${width}: ${search[0]}`, () => searchFor(page, folder, search));
    }
    await test(`search at ${width}: by keys alone`, () => searchByKeys(page, folder));
    await test(`search at ${width}: what there is not`, () => searchForNothing(page, folder));
    for (const scheme of schemes) {
      await test(`search at ${width}: its results, ${scheme}`, () => looksGood(page, folder, axeSource, width, scheme));
    }
  }
  return rows;
}
