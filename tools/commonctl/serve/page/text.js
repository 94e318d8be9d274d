// How things are written.

export const levels = ['Fatal', 'Critical', 'Error', 'Warn', 'Note', 'Info', 'Debug', 'Verbose', 'Other'];

// Control characters, and those that turn the direction of what follows or are not seen.
const unseen = /[\u0000-\u0008\u000a-\u001f\u007f-\u009f\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/g;

export function visible(text) {
  return text.replace(unseen, (c) => '\\u' + c.charCodeAt(0).toString(16).padStart(4, '0'));
}

const two = (number) => String(number).padStart(2, '0');

// @param time microseconds since the epoch, or undefined.
export function clock(time) {
  if (time === undefined) {
    return '--:--:--.---';
  }
  const date = new Date(time / 1000);
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}.` +
      String(date.getMilliseconds()).padStart(3, '0');
}

export function fullTime(time) {
  const date = new Date(time / 1000);
  return `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())} ${two(date.getHours())}:` +
      `${two(date.getMinutes())}:${two(date.getSeconds())}.${String(time % 1000000).padStart(6, '0')}`;
}

export const count = (number) => number.toLocaleString('en');

// Sets a text, if it is another one.
export function put(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}
