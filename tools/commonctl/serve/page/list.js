// The list of records, of which only those in sight are elements of the page.
import {clock, levels, visible} from './text.js';

const margin = 6;  // rows beyond either edge

function makeRow() {
  const row = document.createElement('div');
  row.className = 'row';
  row.setAttribute('role', 'option');
  row.hidden = true;
  for (const name of ['time', 'level', 'who', 'where', 'message']) {
    row.append(Object.assign(document.createElement('span'), {className: name}));
  }
  return row;
}

function fillRow(row, record) {
  const [time, level, who, where, message] = row.children;
  const kind = record.level ?? 8;
  time.textContent = clock(record.time);
  level.textContent = levels[kind];
  level.className = `level level-${kind}`;
  who.textContent = visible((record.process ?? '') + (record.pid === undefined ? '' : `[${record.pid}]`));
  where.textContent = visible(record.zone ?? '');
  message.textContent = visible(record.message);
  row.id = `record-${record.id}`;
}

export class List {
  // @param onOpen called with the record that somebody wants to see all of.
  // @param onFollow called with whether the newest records are in sight.
  constructor(list, rows, onOpen, onFollow) {
    Object.assign(this, {list, rows, onOpen, onFollow});
    this.follows = true;
    this.chosen = undefined;  // a record
    this.pool = [];
    this.height = 0;  // of a row
    this.wanted = false;
    list.addEventListener('scroll', () => this.onScroll(), {passive: true});
    list.addEventListener('keydown', (event) => this.onKey(event));
    rows.addEventListener('click', (event) => this.onClick(event));
    new ResizeObserver(() => this.resize()).observe(list);
  }

  // @param shown the deque of records to show.
  show(shown) {
    if (this.shown !== shown) {
      this.shown = shown;
      this.first = shown.first;
      this.pool.forEach((row) => delete row.dataset.number);
    }
    this.draw();
  }

  draw() {
    if (!this.wanted) {
      this.wanted = true;
      requestAnimationFrame(() => {
        this.wanted = false;
        this.drawNow();
      });
    }
  }

  resize() {
    this.height = parseFloat(getComputedStyle(this.list).getPropertyValue('--row'));
    const needed = Math.ceil(this.list.clientHeight / this.height) + 2 * margin;
    if (this.pool.length !== needed) {
      this.pool = Array.from({length: needed}, makeRow);
      this.rows.replaceChildren(...this.pool);
    }
    this.drawNow();  // at once: the next frame would be painted after one with empty rows
  }

  drawNow() {
    const {shown, height, list} = this;
    if (!shown || !height) {
      return;
    }
    const bottom = shown.length * height;
    this.rows.style.height = `${bottom}px`;
    if (this.follows) {
      list.scrollTop = bottom;
    } else if (this.first !== shown.first) {
      list.scrollTop -= (shown.first - this.first) * height;  // old ones have gone: the rest stays in place
    }
    this.first = shown.first;
    const begin = shown.first + Math.max(0, Math.floor(list.scrollTop / height) - margin);
    const end = Math.min(shown.end, begin + this.pool.length);
    const free = new Set(this.pool);
    this.active = '';
    for (let number = begin; number < end; ++number) {
      const row = this.pool[number % this.pool.length];
      free.delete(row);
      this.place(row, number);
    }
    free.forEach((row) => { row.hidden = true; });
    list.setAttribute('aria-activedescendant', this.active);
  }

  place(row, number) {
    const record = this.shown.at(number);
    if (row.dataset.number !== String(number)) {
      row.dataset.number = number;
      fillRow(row, record);
    }
    row.hidden = false;
    row.style.transform = `translateY(${(number - this.shown.first) * this.height}px)`;
    row.setAttribute('aria-posinset', number - this.shown.first + 1);
    row.setAttribute('aria-setsize', this.shown.length);
    const chosen = record === this.chosen;
    row.setAttribute('aria-selected', chosen);
    if (chosen) {
      this.active = row.id;
    }
  }

  onScroll() {
    const {list} = this;
    const follows = list.scrollTop + list.clientHeight >= list.scrollHeight - this.height;
    this.setFollows(follows);
    this.draw();
  }

  setFollows(follows) {
    if (follows !== this.follows) {
      this.follows = follows;
      this.onFollow(follows);
    }
  }

  toNewest() {
    this.chosen = undefined;
    this.setFollows(true);
    this.draw();
  }

  // The number of the chosen record; numbers go up with the ids of records.
  numberOfChosen() {
    let [low, high] = [this.shown.first, this.shown.end];
    while (low < high) {
      const middle = (low + high) >>> 1;
      this.shown.at(middle).id < this.chosen.id ? low = middle + 1 : high = middle;
    }
    return low;
  }

  // Goes to a row, or as near to it as there are rows.
  goTo(number) {
    const {shown, list, height} = this;
    if (shown.length === 0) {
      return;
    }
    const near = Math.min(Math.max(number, shown.first), shown.end - 1);
    this.chosen = shown.at(near);
    this.setFollows(false);
    const top = (near - shown.first) * height;
    if (top < list.scrollTop) {
      list.scrollTop = top;
    } else if (top + height > list.scrollTop + list.clientHeight) {
      list.scrollTop = top + height - list.clientHeight;
    }
    this.draw();
  }

  onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey || !this.shown) {
      return;
    }
    const page = Math.max(1, Math.floor(this.list.clientHeight / this.height) - 1);
    const steps = {ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page};
    if (event.key in steps) {
      const from = this.chosen ? this.numberOfChosen() : this.shown.end;
      this.goTo(from + steps[event.key]);
    } else if (event.key === 'Home') {
      this.goTo(this.shown.first);
    } else if (event.key === 'End') {
      this.toNewest();
    } else if (event.key === 'Enter' && this.chosen) {
      this.onOpen(this.chosen);
    } else {
      return;
    }
    event.preventDefault();
  }

  onClick(event) {
    const row = event.target.closest('.row');
    if (row && !String(getSelection())) {
      this.goTo(Number(row.dataset.number));
      this.onOpen(this.chosen);
    }
  }
}
