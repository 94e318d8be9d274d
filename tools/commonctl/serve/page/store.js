// The records that the page has, and those of them that pass the filter.
import {Deque} from './deque.js';

// How long the filter may work before the page is drawn, in milliseconds.
const slice = 8;

export class Store {
  // @param changed called when what is shown has changed.
  constructor(changed) {
    this.changed = changed;
    this.most = 100000;
    this.test = () => true;
    this.paused = false;
    this.empty();
  }

  clear() {
    this.empty();
    this.changed();
  }

  empty() {
    this.all = new Deque();
    this.shown = new Deque();
    this.looked = 0;  // the number up to which the filter has been asked
    this.next = undefined;  // what a new filter lets through, until it is complete
  }

  add(records) {
    for (const record of records) {
      this.all.push(record);
      if (this.all.length > this.most) {
        const old = this.all.shift();
        for (const some of this.paused ? [this.next] : [this.shown, this.next]) {
          if (some?.length > 0 && some.at(some.first) === old) {
            some.shift();
          }
        }
      }
    }
    this.filterMore();
  }

  setFilter(test) {
    this.test = test;
    this.filterAnew();
  }

  // What is shown stays as it is, whatever comes.
  setPaused(paused) {
    this.paused = paused;
    if (!paused) {
      this.filterAnew();
    }
  }

  filterAnew() {
    this.next = new Deque();
    this.looked = this.all.first;
    this.filterMore();
  }

  // Goes on where the filter was. What takes long is done in slices; until then, the old is shown.
  filterMore() {
    if (this.paused && !this.next) {
      this.changed();
      return;
    }
    const target = this.next ?? this.shown;
    const begin = performance.now();
    this.looked = Math.max(this.looked, this.all.first);
    for (; this.looked < this.all.end; ++this.looked) {
      const record = this.all.at(this.looked);
      if (this.test(record)) {
        target.push(record);
      }
      if (this.looked % 256 === 0 && performance.now() - begin > slice) {
        ++this.looked;
        this.filterLater();
        return;
      }
    }
    this.shown = target;
    this.next = undefined;
    this.changed();
  }

  filterLater() {
    if (!this.later) {
      this.later = setTimeout(() => {
        this.later = undefined;
        this.filterMore();
      });
    }
  }
}
