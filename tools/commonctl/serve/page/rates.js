// How many records come in a second, by level, as a plot and as numbers.
import {clock, count, levels, put} from './text.js';

const width = 600;
const height = 160;
const points = 60;

const byId = (id) => document.getElementById(id);

// The last seconds, some of them together: for each point and level, records a second.
function pointsOf(seconds, span) {
  const together = span / points;
  const last = seconds.slice(-span);
  return Array.from({length: points}, (_, i) => levels.map((_, level) => {
    const some = last.slice(i * together, (i + 1) * together);
    return some.reduce((sum, row) => sum + row[level], 0) / together;
  }));
}

// The outline of what a level adds to those below it.
function outline(low, high, most) {
  const x = (i) => (i * width / points).toFixed(1);
  const y = (value) => (height - value / most * height).toFixed(1);
  const there = high.map((value, i) => `L${x(i)} ${y(value)}L${x(i + 1)} ${y(value)}`);
  const back = low.map((value, i) => `L${x(i + 1)} ${y(value)}L${x(i)} ${y(value)}`).reverse();
  return `M0 ${y(low[0])}${there.join('')}${back.join('')}Z`;
}

export class Rates {
  constructor() {
    this.paths = levels.map((_, level) => {
      const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
      path.setAttribute('class', `area-${level}`);
      return path;
    });
    byId('plot').append(...this.paths);
    this.rows = levels.map((name, level) => {
      const row = byId('legend').tBodies[0].insertRow();
      const head = Object.assign(document.createElement('th'), {textContent: name, className: `level-${level}`});
      head.scope = 'row';
      row.append(head);
      row.insertCell();
      row.insertCell();
      return row;
    });
    byId('span').addEventListener('change', () => this.draw());
  }

  take(rates) {
    this.rates = rates;
    this.draw();
  }

  draw() {
    if (!this.rates || this.rates.seconds.length === 0) {
      return;
    }
    const {seconds, end} = this.rates;
    const span = Number(byId('span').value);
    const values = pointsOf(seconds, span);
    const sums = values.map((row) => row.reduce((sum, value) => sum + value, 0));
    const most = Math.max(1, ...sums);
    let low = sums.map(() => 0);
    levels.forEach((_, level) => {
      const high = low.map((value, i) => value + values[i][level]);
      this.paths[level].setAttribute('d', outline(low, high, most));
      low = high;
    });
    // The last second is not over.
    const now = seconds.at(-2);
    const recent = seconds.slice(-span);
    levels.forEach((_, level) => {
      put(this.rows[level].cells[1], count(now[level]));
      put(this.rows[level].cells[2], count(recent.reduce((sum, row) => sum + row[level], 0)));
    });
    const rate = now.reduce((sum, value) => sum + value, 0);
    byId('plot').setAttribute('aria-label',
      `${count(rate)} records a second now, at most ${count(Math.round(most))}; the table below has the numbers`);
    put(byId('plot-begin'), clock((end - span + 1) * 1e6).slice(0, 8));
    put(byId('plot-most'), `top: ${count(Math.round(most))}`);
    put(byId('plot-end'), clock(end * 1e6).slice(0, 8));
  }
}
