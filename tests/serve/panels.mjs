// What stands beside the records: rates, processes, machines; and the keys.
import {check, same} from './bench.mjs';

async function showRates(bench) {
  bench.say({level: 2}, {level: 2}, {level: 5});
  const total = (row) => bench.text(`#legend tbody tr:nth-child(${row.level + 1}) td:last-child`, new RegExp(`^${row.count}$`));
  await total({level: 2, count: 2});
  await total({level: 5, count: 1});
  const heights = await bench.page.$$eval('#plot path', (paths) => paths.map((path) => path.getBBox().height));
  // Each stands on those of the more severe levels.
  check(heights[1] === 0 && heights[2] > 0 && heights[5] > 0 && heights[8] === heights[5], `heights of areas: ${heights}`);
  await bench.page.selectOption('#span', '600');
  await total({level: 2, count: 2});
}

async function changeLevels(bench) {
  const {page} = bench;
  const select = page.getByLabel('Level of tuner, 101');
  await select.waitFor();
  same(await select.inputValue(), 'Info', 'level');
  await select.selectOption('Debug');
  await bench.text('#level-result', /^tuner \(101\) logs up to Debug$/);
  const processes = await (await fetch(`http://127.0.0.1:${bench.port}/api/processes`)).json();
  same(processes[0].level, 'Debug', 'level of the process');
  await select.selectOption('');
  await bench.text('#level-result', /logs up to Info$/);
  bench.expected = /409/;
  await page.getByLabel('Level of navigation, 102').selectOption('Debug');
  await bench.text('#level-result', /^Not changed: it does not look at files$/);
  check(await page.locator('#processes b').count() === 0, 'there are elements of a name');
  same(new URL(page.url()).hash, '', 'the token in the address');
  await page.reload();
  await select.waitFor();
}

async function areReadOnlyWithoutTheToken(bench) {
  await bench.text('#processes-note', /the address that commonctl printed/);
  await bench.text('#processes', /tuner \(101\)Info/);
  same(await bench.page.locator('#processes select').count(), 0, 'selects');
}

async function areReadOnlyWithAWrongToken(bench) {
  await bench.page.goto(bench.address.replace(/.$/, (last) => last === '0' ? '1' : '0'));
  await bench.page.reload();
  await areReadOnlyWithoutTheToken(bench);
}

async function needTheTokenFromElsewhere(bench) {
  await bench.text('#connection', /^live$/);
  bench.expected = /401/;
  const other = await bench.context.newPage();
  await other.goto(bench.address.split('#')[0]);
  await other.waitForFunction(() => /token is missing/.test(document.querySelector('#connection').textContent));
  await other.close();
}

async function drawMachines(bench) {
  const {page} = bench;
  const isDrawn = () => page.waitForFunction(() =>
    !document.querySelector('#figure').hidden && document.querySelector('#diagram').naturalWidth > 0);
  await page.fill('#recording', 'stateDiagram-v2\n');
  await page.click('#machine button');
  await isDrawn();
  bench.expected = /422/;
  await page.fill('#recording', 'nonsense');
  await page.click('#machine button');
  await bench.text('#machine-problem', /paste Mermaid or DOT/);
  check(await page.isHidden('#figure'), 'there is still a picture');
  await page.setInputFiles('#recording-file', {name: 'a.dot', mimeType: 'text/plain', buffer: Buffer.from('digraph {}')});
  await isDrawn();
  check(await page.isHidden('#machine-problem'), 'the problem is still told');
}

async function canBeUsedByKeysAlone(bench) {
  const {page} = bench;
  const press = (key) => page.keyboard.press(key);
  const focused = () => page.evaluate(() => document.activeElement.id);
  const chosen = () => page.$$eval('.row[aria-selected=true]', (rows) => rows.map((row) => row.id));
  const isChosen = (id) => page.waitForFunction((one) => {
    const row = document.querySelector('.row[aria-selected=true]');
    return row?.id === one && document.querySelector('#list').getAttribute('aria-activedescendant') === one;
  }, id);
  bench.say(...Array.from({length: 300}, (_, i) => ({message: `number ${i}`})));
  await bench.count(300);
  await press('/');
  same(await focused(), 'search', 'after /');
  await page.keyboard.type('a/b');
  same(await page.inputValue('#search'), 'a/b', 'typed');
  await page.fill('#search', '');
  await bench.count(300);
  await press('Escape');
  same(await focused(), 'list', 'after Escape');
  await press('ArrowUp');
  await isChosen('record-300');
  await press('ArrowUp');
  await isChosen('record-299');
  await press('ArrowDown');
  await isChosen('record-300');
  await press('Home');
  await isChosen('record-1');
  await press('PageDown');
  await page.waitForFunction(() => /record-[23]\d$/.test(document.querySelector('.row[aria-selected=true]')?.id));
  await press('Enter');
  same(await focused(), 'detail', 'after Enter');
  await bench.text('#fields', /main\.cpp/);
  await press('Escape');
  same(await focused(), 'list', 'after Escape');
  check(await page.isHidden('#detail'), 'the record is still open');
  await press('End');
  await page.waitForFunction(() => document.querySelector('#newest').hidden &&
      !document.querySelector('.row[aria-selected=true]'));
  same(await chosen(), [], 'chosen at the end');
}

// Each control can be reached, and shows that it has been.
async function showTheFocus(bench) {
  const {page} = bench;
  await page.getByLabel('Level of tuner, 101').waitFor();
  const reached = new Set();
  for (let i = 0; i < 40; ++i) {
    await page.keyboard.press('Tab');
    const {id, outline} = await page.evaluate(() => {
      const one = document.activeElement;
      const style = getComputedStyle(one);
      return {id: one.id || one.getAttribute('aria-label') || one.tagName, outline: `${style.outlineStyle} ${parseFloat(style.outlineWidth)}`};
    });
    check(id === 'BODY' || /^solid [3-9]/.test(outline), `${id} shows the focus by ${outline}`);
    reached.add(id);
  }
  for (const id of ['search', 'regex', 'level', 'zone', 'process', 'pause', 'all', 'list', 'span', 'recording',
                    'recording-file', 'Level of tuner, 101']) {
    check(reached.has(id), `${id} is not reached`);
  }
}

export const tests = {showRates, changeLevels, areReadOnlyWithoutTheToken, areReadOnlyWithAWrongToken,
                      needTheTokenFromElsewhere, drawMachines, canBeUsedByKeysAlone, showTheFocus};
areReadOnlyWithoutTheToken.setup = {token: false};
needTheTokenFromElsewhere.setup = {options: ['--bind', '127.0.0.1']};
