// The processes that use the library, and their levels.
import {post} from './api.js';
import {levels, put, visible} from './text.js';

const byId = (id) => document.getElementById(id);

function addOption(select, value, text) {
  select.append(Object.assign(document.createElement('option'), {value, textContent: text}));
}

export class Processes {
  constructor() {
    this.rows = new Map();
    this.body = byId('processes').tBodies[0];
    this.mayChange = false;
  }

  setRights({allows_changes: allowed, may_change: may}) {
    if (may !== this.mayChange) {
      this.rows.forEach((row) => row.remove());
      this.rows.clear();
    }
    this.mayChange = may;
    put(byId('processes-note'), may ? '' : allowed ?
      'Read only here: the address that commonctl printed has the token for changes.' :
      'Read only: commonctl serve --allow-changes lets this page change levels.');
  }

  take(processes) {
    const seen = new Set(processes.map(({pid}) => pid));
    for (const [pid, row] of this.rows) {
      if (!seen.has(pid)) {
        row.remove();
        this.rows.delete(pid);
      }
    }
    for (const process of processes) {
      if (!this.rows.has(process.pid)) {
        this.rows.set(process.pid, this.makeRow(process));
      }
      this.update(this.rows.get(process.pid), process);
    }
  }

  makeRow(process) {
    const row = this.body.insertRow();
    const head = document.createElement('th');
    head.scope = 'row';
    head.append(document.createElement('span'), Object.assign(document.createElement('span'), {className: 'why'}));
    row.append(head);
    const cell = row.insertCell();
    if (this.mayChange) {
      const select = document.createElement('select');
      select.setAttribute('aria-label', `Level of ${visible(process.name)}, ${process.pid}`);
      addOption(select, '?', 'not known');
      levels.slice(0, 8).forEach((level) => addOption(select, level, level));
      addOption(select, '', 'as before');
      select.addEventListener('change', () => this.change(process, select));
      cell.append(select);
    }
    return row;
  }

  update(row, process) {
    const [name, why] = row.cells[0].children;
    put(name, `${visible(process.name)} (${process.pid})`);
    put(why, visible(process.readable ? process.why_not : 'belongs to another user'));
    const select = row.querySelector('select');
    if (!select) {
      put(row.cells[1], process.level ?? 'not known');
    } else if (document.activeElement !== select && !select.disabled) {
      select.value = levels.includes(process.level) ? process.level : '?';
    }
  }

  async change(process, select) {
    if (select.value === '?') {
      return;
    }
    select.disabled = true;
    const said = byId('level-result');
    try {
      const body = JSON.stringify({pid: process.pid, level: select.value});
      const {text} = await (await post('/api/level', 'application/json', body)).json();
      said.textContent = visible(text);
    } catch (error) {
      said.textContent = `Not changed: ${visible(error.message)}`;
    } finally {
      select.disabled = false;
      select.focus();
    }
  }
}
