// The page: asks for what is new, and lets the parts show it.
import {Refused, get} from './api.js';
import {makeFilter} from './filter.js';
import {List} from './list.js';
import {setUpMachine} from './machine.js';
import {Processes} from './processes.js';
import {Rates} from './rates.js';
import {Store} from './store.js';
import {count, fullTime, levels, put, visible} from './text.js';

const most = 2000;        // records in an answer
const breathMs = 100;     // between two questions for records
const waitSeconds = 15;   // for a record
const retryMs = 1000;
const longestList = 200;  // of proposals

const byId = (id) => document.getElementById(id);
const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
const frame = () => new Promise((resolve) => setTimeout(resolve));

const store = new Store(showRecords);
const list = new List(byId('list'), byId('rows'), openRecord, (follows) => { byId('newest').hidden = follows; });
const rates = new Rates();
const processes = new Processes();
const proposals = {zones: new Set(), names: new Set()};
let run;
let next = 0;
let lost = 0;

function showRecords() {
  const {all, shown, paused} = store;
  put(byId('count'), all.length === 0 ? 'no records yet' :
    `${count(shown.length)} of ${count(all.length)} records${paused ? ', paused' : ''}`);
  list.show(shown);
}

function setConnection(text, good) {
  put(byId('connection'), text);
  byId('connection').classList.toggle('lost', !good);
}

function propose(id, value) {
  const known = proposals[id];
  if (value && !known.has(value) && known.size < longestList) {
    known.add(value);
    byId(id).append(Object.assign(document.createElement('option'), {value}));
  }
}

function takeRecords(answer) {
  if (run !== undefined && run !== answer.run) {
    store.clear();  // the server was started anew, and numbers begin again
    list.toNewest();
    [run, next, lost] = [answer.run, 0, 0];
    return;
  }
  run = answer.run;
  next = answer.next;
  for (const {zone, process} of answer.records) {
    propose('zones', zone);
    propose('names', process);
  }
  store.add(answer.records);
  if (answer.lost > 0) {
    lost += answer.lost;
    put(byId('gap'), `${count(lost)} records were lost here: they came faster than this page took them`);
  }
}

async function followRecords() {
  let wait = 0;  // at first: that the server answers is told soon
  for (;;) {
    try {
      const answer = await get(`/api/records?after=${next}&most=${most}&wait=${wait}`);
      takeRecords(answer);
      setConnection('live', true);
      wait = waitSeconds;
      await (answer.records.length === most ? frame() : sleep(breathMs));
    } catch (error) {
      wait = 0;
      setConnection(error instanceof Refused ? error.message : 'the server does not answer', false);
      await sleep(retryMs);
    }
  }
}

// Asks again and again, while somebody looks.
async function repeat(path, ms, take) {
  for (;;) {
    try {
      take(await get(path));
    } catch {
      // What asks for records says so.
    }
    do {
      await sleep(ms);
    } while (document.hidden);
  }
}

function openRecord(record) {
  const rows = [
    ['time', record.time === undefined ? undefined : fullTime(record.time)],
    ['level', levels[record.level ?? 8]], ['process', record.process], ['pid', record.pid], ['thread', record.tid],
    ['zone', record.zone], ['file', record.file], ['line', record.line], ['function', record.function],
    ['host', record.host], ['message', record.message],
  ].filter(([, value]) => value !== undefined);
  byId('fields').replaceChildren(...rows.flatMap(([name, value]) => [
    Object.assign(document.createElement('dt'), {textContent: name}),
    Object.assign(document.createElement('dd'), {textContent: visible(String(value))}),
  ]));
  byId('detail').hidden = false;
  byId('detail').focus();
}

function closeRecord() {
  byId('detail').hidden = true;
  byId('list').focus();
}

function applyFilter() {
  const problem = byId('search-problem');
  try {
    store.setFilter(makeFilter({
      text: byId('search').value, regex: byId('regex').checked, level: byId('level').value,
      zone: byId('zone').value.trim(), process: byId('process').value.trim(),
    }));
    problem.hidden = true;
  } catch (error) {
    problem.textContent = error.message;
    problem.hidden = false;
  }
  byId('search').setAttribute('aria-invalid', !problem.hidden);
}

function setUpFilter() {
  const form = byId('filter');
  form.addEventListener('input', applyFilter);
  form.addEventListener('submit', (event) => event.preventDefault());
  form.addEventListener('reset', () => setTimeout(applyFilter));
  byId('pause').addEventListener('click', () => {
    store.setPaused(!store.paused);
    byId('pause').setAttribute('aria-pressed', store.paused);
    showRecords();
  });
}

function setUpKeys() {
  byId('newest').addEventListener('click', () => {
    list.toNewest();
    byId('list').focus();
  });
  byId('close').addEventListener('click', closeRecord);
  document.addEventListener('keydown', (event) => {
    const typing = event.target.closest?.('input, select, textarea');
    if (event.key === '/' && !typing && !event.ctrlKey && !event.altKey && !event.metaKey) {
      event.preventDefault();
      byId('search').select();
      byId('search').focus();
    } else if (event.key === 'Escape' && (event.target.closest?.('#detail, #filter'))) {
      event.preventDefault();
      closeRecord();
    }
  });
}

function showStatus(status) {
  put(byId('source'), visible(`${status.source}, version ${status.version}`));
  store.most = status.kept;
  processes.setRights(status);
}

setUpFilter();
setUpKeys();
setUpMachine();
applyFilter();
followRecords();
repeat('/api/status', 10000, showStatus);
repeat('/api/rates', 1000, (answer) => rates.take(answer));
repeat('/api/processes', 2000, (answer) => processes.take(answer));
