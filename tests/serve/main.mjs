// Runs the browser's tests: run.sh says how.
import {join} from 'node:path';
import {parseArgs} from 'node:util';
import {chromium} from 'playwright-core';
import {Bench} from './bench.mjs';
import {tests as live} from './live.mjs';
import {takePictures, tests as looks} from './looks.mjs';
import {tests as panels} from './panels.mjs';
import {tests as records} from './records.mjs';

const {values, positionals: [root, build, browserProgram, pattern = '']} = parseArgs({
  allowPositionals: true,
  options: {seconds: {type: 'string', default: '8'}, pictures: {type: 'string'}},
});

const programs = {
  folder: build,
  fakes: join(build, 'tests/serve/serve_with_fakes'),
  commonctl: join(build, 'tools/commonctl/commonctl'),
  speaker: join(build, 'tests/serve/speaker'),
};

// "records", "areFiltered": "records are filtered".
const title = (group, name) => `${group} ${name.replace(/[A-Z]/g, (letter) => ' ' + letter.toLowerCase())}`;

async function run(browser, name, test) {
  const begin = performance.now();
  let problem;
  let bench;
  try {
    bench = await Bench.open(programs, browser, test.setup);
    await test(bench, {root, seconds: Number(values.seconds)});
    problem = bench.problems[0];
  } catch (error) {
    problem = error.message;
  } finally {
    await bench?.close();
  }
  const took = ((performance.now() - begin) / 1000).toFixed(1);
  console.log(`${problem ? 'BAD ' : 'good'}  ${name}, ${took} s${problem ? `\n      ${problem}` : ''}`);
  return !problem;
}

const browser = await chromium.launch({
  executablePath: browserProgram,
  args: ['--disable-dev-shm-usage', ...(process.getuid() === 0 ? ['--no-sandbox'] : [])],
});
const counts = {true: 0, false: 0};
try {
  for (const [group, tests] of Object.entries({records, panels, looks, live})) {
    for (const [name, test] of Object.entries(tests)) {
      if (title(group, name).includes(pattern)) {
        ++counts[await run(browser, title(group, name), test)];
      }
    }
  }
  if (values.pictures) {
    const bench = await Bench.open(programs, browser);
    await takePictures(bench, values.pictures);
    await bench.close();
  }
} finally {
  await browser.close();
}
console.log(`${counts.true} passed, ${counts.false} failed`);
process.exitCode = counts.false === 0 && counts.true > 0 ? 0 : 1;
