// Shows that what is wrong with a page is noticed, and a good page is not blamed.
import {mkdtempSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {brokenLinks} from './links.mjs';
import {lookAt} from './look.mjs';

const faults = [
  ['an error on the console', '<script>console.error("broken")</script>', /^console: broken/],
  ['a script that throws', '<script>throw new Error("broken")</script>', /^script: broken/],
  ['something from elsewhere', '<img alt="" src="http://127.0.0.1:9/x.png">', /^asks for http:/],
  ['a missing file', '<img alt="" src="gone.png">', /^console:|gone\.png/],
  ['a page that is not there', '<a href="gone.html">text</a>', /^leads nowhere: gone\.html/],
  ['an anchor that is not there', '<a href="good.html#gone">text</a>', /^leads nowhere: good\.html#gone/],
  ['a link out of the manual', '<a href="../gone.html">text</a>', /^leads nowhere:/],
  ['text that is too wide', '<div style="width: 500px">text</div>', /^500 pixels wide at 400|^5\d\d pixels wide at 400/],
  ['text that is too small', '<p style="font-size: 9px">text</p>', /^small text at 400: 9px/],
  ['light grey on white', '<p style="color: #ccc">text</p>', /^light, 1400: serious color-contrast/],
  ['dark text in the dark', '<p class="dim">text</p>', /^dark, 400: serious color-contrast/],
  ['a picture without words', '<img src="data:image/gif;base64,R0lGODlhAQABAAAAACw=">', /critical image-alt/],
  ['a field without a name', '<input>', /critical label/],
];

const frame = (body) => `<!DOCTYPE html><html lang="en"><head><meta charset="utf-8"><title>Test</title><style>
  body { background: #fff; color: #000; margin: 0 }
  @media (prefers-color-scheme: dark) { body { background: #000; color: #fff } a { color: #9cf } .dim { color: #222 } }
  </style></head><body><main><h1 id="here">Test</h1><p><a href="good.html#here">good</a></p>${body}</main></body></html>`;

// Gives a row for each fault: what it is, and what is wrong when it was not noticed.
export async function selfTest(page, axeSource) {
  const folder = mkdtempSync(join(tmpdir(), 'manual-'));
  const rows = [];
  try {
    for (const [what, body, expected] of [['a good page', '', null], ...faults]) {
      const good = join(folder, 'good.html');
      const bad = join(folder, 'bad.html');
      writeFileSync(good, frame(''));
      writeFileSync(bad, frame(body));
      const looks = new Map([[good, await lookAt(page, good, axeSource)], [bad, await lookAt(page, bad, axeSource)]]);
      const broken = brokenLinks(folder, looks);
      const all = [...looks.get(bad).problems, ...broken.get(bad)];
      const noticed = expected ? all.some((text) => expected.test(text)) : all.length === 0;
      rows.push([`self-test: ${what}`, noticed ? [] : [`noticed instead: ${JSON.stringify(all)}`]]);
    }
  } finally {
    rmSync(folder, {recursive: true});
  }
  return rows;
}
