// What is looked at on one page of the manual, in a browser.
import {basename} from 'node:path';
import {pathToFileURL} from 'node:url';

export const widths = [1400, 400];
export const schemes = ['light', 'dark'];
export const smallestText = 14;
// One page of each kind: axe looks at these in both schemes at both widths, and at all others in the
// light at one width and in the dark at the other one. Pages of a letter differ in names only.
export const kinds = ['index.html', 'guide.html', 'guide_01_first_record.html', 'timer_8h.html',
                      'classcommonpp_1_1timer.html', 'globals.html', 'state_machines.html'];
const ofLetter = /^globals(_\w+)?_\w\.html$/;
const serious = ['serious', 'critical'];

// Runs in the page: what sticks out to the right, for the report.
function widest() {
  const width = document.documentElement.clientWidth;
  const out = [...document.querySelectorAll('body *')]
      .filter((element) => element.getBoundingClientRect().right > width + 1);
  const last = out.at(-1);
  return last ? `<${last.tagName.toLowerCase()} class="${last.className}">` : 'nothing visible';
}

// Runs in the page: visible text that is smaller than it may be.
function smallTexts(least) {
  const found = new Set();
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walker.nextNode()) {
    const text = walker.currentNode.data.trim();
    const holder = walker.currentNode.parentElement;
    if (text && !holder.closest('script, style, noscript') && holder.checkVisibility({visibilityProperty: true})) {
      const size = parseFloat(getComputedStyle(holder).fontSize);
      if (size < least) {
        found.add(`${size}px: ${text.slice(0, 30)}`);
      }
    }
  }
  return [...found];
}

// Runs in the page: where its links and resources lead, and what others can lead to.
function anchorsAndLinks() {
  return {
    anchors: [...document.querySelectorAll('[id], a[name]')].flatMap((one) => [one.id, one.getAttribute('name')])
        .filter(Boolean),
    links: [...document.querySelectorAll('[href], [src]')].map((one) => one.href ?? one.src)
        .filter((address) => typeof address === 'string' && address !== '' && !address.startsWith('javascript:')),
  };
}

async function axeProblems(page, axeSource) {
  if (!await page.evaluate(() => Boolean(window.axe))) {
    await page.evaluate(axeSource);
  }
  const {violations} = await page.evaluate(() =>
    window.axe.run(document, {preload: false, resultTypes: ['violations']}));
  return violations.filter(({impact}) => serious.includes(impact)).map(({id, impact, nodes}) =>
    `${impact} ${id}: ${nodes.length} times, first ${nodes[0].target.join(' ')}: ` +
    `${(nodes[0].any[0] ?? nodes[0].all[0] ?? nodes[0].none[0])?.message ?? ''}`);
}

// The schemes that axe looks at, at a width.
function schemesOf(name, width) {
  if (ofLetter.test(name)) {
    return [];
  }
  return kinds.includes(name) ? schemes : [width === widths[0] ? 'light' : 'dark'];
}

// Loads a page and looks at it in both widths and both colour schemes. Gives what is wrong and where
// the page leads to.
export async function lookAt(page, file, axeSource) {
  const problems = new Set();
  const note = (text) => problems.add(text);
  const onConsole = (message) => message.type() === 'error' && note(`console: ${message.text()}`);
  const onError = (error) => note(`script: ${error.message}`);
  const onRequest = (request) => /^(file|data|blob):/.test(request.url()) || note(`asks for ${request.url()}`);
  page.on('console', onConsole).on('pageerror', onError).on('request', onRequest);
  let seen = {anchors: [], links: []};
  try {
    for (const width of widths) {
      await page.setViewportSize({width, height: 900});
      await page.emulateMedia({colorScheme: 'light'});
      await page.goto(pathToFileURL(file).href, {waitUntil: 'load'});
      const there = await page.evaluate(() => document.documentElement.scrollWidth);
      if (there > width) {
        note(`${there} pixels wide at ${width}: ${await page.evaluate(widest)}`);
      }
      for (const text of await page.evaluate(smallTexts, smallestText)) {
        note(`small text at ${width}: ${text}`);
      }
      for (const colorScheme of schemesOf(basename(file), width)) {
        await page.emulateMedia({colorScheme});
        for (const text of await axeProblems(page, axeSource)) {
          note(`${colorScheme}, ${width}: ${text}`);
        }
      }
      const {anchors, links} = await page.evaluate(anchorsAndLinks);
      seen = {anchors: [...seen.anchors, ...anchors], links: [...seen.links, ...links]};
    }
  } catch (error) {
    note(`not looked at: ${error.message.split('\n')[0]}`);
  }
  page.off('console', onConsole).off('pageerror', onError).off('request', onRequest);
  return {problems: [...problems], anchors: new Set(seen.anchors), links: new Set(seen.links)};
}
