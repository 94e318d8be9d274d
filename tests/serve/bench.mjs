// A server with known records, and a page that looks at it.
import {spawn} from 'node:child_process';
import {once} from 'node:events';

const names = ['Fatal', 'Critical', 'Error', 'Warn', 'Note', 'Info', 'Debug', 'Verbose'];

// A record in the default layout.
export function line({level = 5, zone = 'TUNER', pid = 101, process = 'tuner', message = '', time = Date.now()}) {
  const date = new Date(time);
  const day = Math.floor(time / 86400000);
  return `[${day}.${date.toISOString().slice(11, 23)}000000], ${zone}, ${pid}, ${process}, ${pid}, ` +
      `${names[level]}, main.cpp, run 17, ${message}\n`;
}

const overFakes = ({fakes}, port, options) => [fakes, 'serve', '--port', String(port), ...options, '-'];

export class Bench {
  static async open(programs, browser, {command = overFakes, options = ['--allow-changes'], token = true} = {}) {
    const bench = new Bench();
    Object.assign(bench, {programs, command});
    await bench.serve(0, options);
    const context = await browser.newContext({viewport: {width: 1400, height: 900}});
    context.setDefaultTimeout(120000);  // on a busy machine all takes long
    bench.context = context;
    bench.page = await context.newPage();
    bench.problems = [];
    bench.page.on('console', (message) => {
      if (message.type() === 'error' && !bench.expected?.test(message.text())) {
        bench.problems.push(`console: ${message.text()}`);
      }
    });
    bench.page.on('pageerror', (error) => bench.problems.push(`script: ${error.message}`));
    bench.page.on('request', (request) => {
      const url = request.url();
      if (!url.startsWith(new URL(bench.address).origin) && !url.startsWith('blob:')) {
        bench.problems.push(`asks for ${url}`);
      }
    });
    await bench.page.goto(token ? bench.address : bench.address.split('#')[0]);
    await bench.text('#connection', /^live$/);
    return bench;
  }

  // Starts the server, and waits for its address.
  async serve(port, options) {
    const [program, ...words] = this.command(this.programs, port, options);
    // In a folder that is there in a private root, too.
    this.server = spawn(program, words, {stdio: ['pipe', 'pipe', 'inherit'], cwd: this.programs.folder});
    this.server.stdin.on('error', () => {});  // when it is ended while it is told something
    const ended = once(this.server, 'exit').then(() => { throw new Error('the server has ended'); });
    ended.catch(() => {});
    const [text] = await Promise.race([once(this.server.stdout, 'data'), ended]);
    this.address = String(text).trim();
    this.port = Number(new URL(this.address).port);
  }

  async endServer() {
    this.server.kill('SIGTERM');
    await once(this.server, 'exit');
  }

  async close() {
    await this.context.close();
    await this.endServer();
  }

  say(...records) {
    this.server.stdin.write(records.map(line).join(''));
  }

  // Waits until the text of an element is as expected.
  text(selector, expected) {
    return this.page.waitForFunction(
      ([where, source]) => new RegExp(source).test(document.querySelector(where)?.textContent ?? ''),
      [selector, expected.source]);
  }

  count(shown, all = shown) {
    const written = (number) => number.toLocaleString('en');
    return this.text('#count', new RegExp(`^${written(shown)} of ${written(all)} records`));
  }

  // The messages in sight.
  messages() {
    return this.page.$$eval('.row:not([hidden])', (rows) => rows
      .sort((a, b) => a.getAttribute('aria-posinset') - b.getAttribute('aria-posinset'))
      .map((row) => row.querySelector('.message').textContent));
  }
}

export function check(condition, text) {
  if (!condition) {
    throw new Error(text);
  }
}

export function same(actual, expected, what) {
  check(JSON.stringify(actual) === JSON.stringify(expected),
        `${what}: ${JSON.stringify(actual)} instead of ${JSON.stringify(expected)}`);
}
