// The tool itself, a process that it can change, and the records of that process.
import {readFileSync} from 'node:fs';
import {join} from 'node:path';
import {check} from './bench.mjs';

// In a private root, which has a log socket and settings files of its own. The process ends with its input.
const inPrivateRoot = ({commonctl, speaker}, port) => [
  commonctl, 'listen', '--private-root', '--socket', '/dev/other', '--output', '/dev/null', '--', 'sh', '-c',
  'exec 3<&0; COMMON_LOG_PEAKLOAD_CONTROL=Off COMMON_LOG_PEAKLOAD_GRANULARITY=100 ' +
  '"$1" <&3 & exec "$0" serve --port "$2" --allow-changes --socket /dev/log', commonctl, speaker, String(port),
];

async function levelsReachAProcess(bench) {
  const {page} = bench;
  const newest = (text) => page.waitForFunction((one) => {
    const rows = [...document.querySelectorAll('.row:not([hidden]) .message')];
    return rows.some((row) => row.textContent === one);
  }, text);
  await newest('spoken');
  await page.fill('#search', 'whispered');
  await bench.text('#count', /^0 of/);
  const select = page.getByLabel(/^Level of speaker, /);
  await select.waitFor();
  const begin = performance.now();
  await select.selectOption('Debug');
  await newest('whispered');
  console.log(`      from the choice of a level to a record of it: ${(performance.now() - begin).toFixed()} ms`);
  await bench.text('#level-result', /./);
  check(!/^Not changed/.test(await page.textContent('#level-result')), await page.textContent('#level-result'));
  await select.selectOption('');
  await page.waitForFunction(() => document.querySelector('#processes select').value === 'Info');
}

async function machinesAreDrawn(bench, {root}) {
  const {page} = bench;
  await page.fill('#recording', readFileSync(join(root, 'docs/player_machine.dot'), 'utf8'));
  await page.click('#machine button');
  await page.waitForFunction(() => document.querySelector('#diagram').naturalWidth > 0);
  bench.expected = /422/;
  await page.fill('#recording', 'nonsense');
  await page.click('#machine button');
  await bench.text('#machine-problem', /./);
}

export const tests = {levelsReachAProcess, machinesAreDrawn};
Object.values(tests).forEach((test) => { test.setup = {command: inPrivateRoot}; });
