// A queue whose elements keep their number for as long as they are in it.
export class Deque {
  constructor() {
    this.items = [];
    this.gone = 0;   // elements of items that are not in the queue any more
    this.first = 0;  // the number of the first element
  }

  get length() {
    return this.items.length - this.gone;
  }

  get end() {
    return this.first + this.length;
  }

  at(number) {
    return this.items[number - this.first + this.gone];
  }

  push(item) {
    this.items.push(item);
  }

  shift() {
    const item = this.items[this.gone];
    this.items[this.gone] = undefined;
    ++this.gone;
    ++this.first;
    if (this.gone > 10000 && this.gone * 4 > this.items.length) {
      this.items = this.items.slice(this.gone);
      this.gone = 0;
    }
    return item;
  }
}
