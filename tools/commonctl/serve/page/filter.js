// Which records are shown.

const escaped = (text) => text.replace(/[\\^$.*+?()[\]{}|]/g, '\\$&');

// Makes a test for records of what was chosen.
// @throws SyntaxError when the text is no regular expression.
export function makeFilter({text, regex, level, zone, process}) {
  const tests = [];
  if (level !== '') {
    const most = Number(level);
    tests.push((record) => record.level <= most);
  }
  if (zone !== '') {
    const part = zone.toLowerCase();
    tests.push((record) => record.zone?.toLowerCase().includes(part));
  }
  if (process !== '') {
    const part = process.toLowerCase();
    tests.push((record) => String(record.pid) === process || record.process?.toLowerCase().includes(part));
  }
  if (text !== '') {
    const pattern = new RegExp(regex ? text : escaped(text), 'i');
    tests.push((record) => pattern.test(record.message) || pattern.test(record.function ?? '') ||
        pattern.test(record.file ?? ''));
  }
  return (record) => tests.every((test) => test(record));
}
