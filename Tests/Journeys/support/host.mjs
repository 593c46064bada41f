// The real program on a temporary data folder, started and ended by a test.
//
//     const host = await startHost(t, { args: ['--no-plugin'] });   // ends with the test, its folder goes, too
//     await page.goto(await host.link());
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdirSync, mkdtempSync, renameSync, rmSync, writeFileSync } from 'node:fs';
import { connect } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const build = process.env.QS_BUILD_DIR;
if (!build) throw new Error('QS_BUILD_DIR names the build tree.');
export const program = join(build, 'bin', 'quillstead-host');
export const bundles = join(build, 'Bundles');
/** The plug-in with a notes service of the journeys' own (NotesBundle/). */
export const bundlesWithNotes = join(build, 'test-bundles');
const startTimeout = 60_000;

/** A folder that goes when the test ends. */
export function temporaryFolder(t) {
  const folder = mkdtempSync(join(tmpdir(), 'quillstead-journey-'));
  t.after(() => rmSync(folder, { recursive: true, force: true, maxRetries: 5 }));
  return folder;
}

/** Nothing of the person who runs the tests: no desktop, no session bus, no data of theirs. */
function ownEnvironment(home) {
  const { PATH, LANG, TZ, ASAN_OPTIONS, UBSAN_OPTIONS, TSAN_OPTIONS, LSAN_OPTIONS } = process.env;
  const kept = { PATH, LANG, TZ, ASAN_OPTIONS, UBSAN_OPTIONS, TSAN_OPTIONS, LSAN_OPTIONS };
  return {
    ...Object.fromEntries(Object.entries(kept).filter(([, value]) => value !== undefined)),
    HOME: home, XDG_DATA_HOME: join(home, 'data'), XDG_RUNTIME_DIR: home, DBUS_SESSION_BUS_ADDRESS: `unix:path=${home}/no-bus`,
  };
}

/**
 * Runs the program to its end: for starts that are not meant to last. With a `wrapper`, as what that runs:
 * ['sh', '-c', '... exec "$0" "$@"'].
 */
export async function runHost(args, { home, wrapper = [] }) {
  const [first, ...others] = [...wrapper, program, ...args];
  const child = spawn(first, others, { env: ownEnvironment(home), stdio: ['ignore', 'pipe', 'pipe'] });
  let output = '';
  let errors = '';
  child.stdout.on('data', (text) => (output += text));
  child.stderr.on('data', (text) => (errors += text));
  const timer = setTimeout(() => child.kill('SIGKILL'), startTimeout);
  const [code] = await once(child, 'close');
  clearTimeout(timer);
  return { code, output, errors };
}

export class Host {
  constructor(args, home, data) {
    this.home = home;
    this.data = data;
    this.args = args;
    this.errors = '';
    this.output = '';
    this.end = {};
    this.delivered = 0;
    this.closed = Promise.resolve();
  }

  async start() {
    const args = ['--no-browser', '--port', '0', '--data', this.data, ...this.args];
    this.child = spawn(program, args, { env: ownEnvironment(this.home), stdio: ['ignore', 'pipe', 'pipe'] });
    this.closed = once(this.child, 'close').then(([code, signal]) => (this.end = { code, signal }));
    this.end = null;
    this.output = '';
    this.child.stdout.setEncoding('utf8').on('data', (text) => (this.output += text));
    this.child.stderr.setEncoding('utf8').on('data', (text) => (this.errors += text));
    this.firstLink = await this.said(/Open: (http:\S+)/);
    this.port = Number(new URL(this.firstLink).port);
  }

  /** Resolves with what a line that the program prints holds; fails when it ends or takes too long. */
  said(pattern) {
    return new Promise((done, fail) => {
      const look = () => {
        const found = pattern.exec(this.output);
        if (found) finish(() => done(found[1] ?? found[0]));
      };
      const finish = (how) => {
        clearTimeout(timer);
        this.child.stdout.off('data', look);
        how();
      };
      const timer = setTimeout(() => finish(() => fail(new Error(`The program never said ${pattern}; ${this.errors}`))), startTimeout);
      this.child.stdout.on('data', look);
      void this.closed.then(() => finish(() => fail(new Error(`The program ended (${this.end.code}): ${this.errors}`))));
      look();
    });
  }

  /** A start link: each works once. */
  async link() {
    return (await this.ask('link')).replace(/^link /, '');
  }

  /** One line over the control socket. */
  async ask(command) {
    const socket = connect(join(this.data, 'control.sock'));
    socket.setEncoding('utf8');
    socket.write(`${command}\n`);
    let answer = '';
    for await (const part of socket) answer += part;
    return answer.trimEnd();
  }

  /** A mail for Mira, as another program delivers it. */
  deliver(subject, body, from = 'Shop <news@shop.example>', type = 'text/html') {
    const name = `${1800000000 + ++this.delivered}.M1P${process.pid}.journey`;
    const folder = join(this.data, 'Mail', 'mira');
    writeFileSync(
      join(folder, 'tmp', name),
      `From: ${from}\r\nTo: mira@quillstead.example\r\nSubject: ${subject}\r\nMessage-Id: <${name}@journey>\r\n` +
        `Date: Mon, 23 Nov 2026 10:00:00 +0000\r\nContent-Type: ${type}; charset=utf-8\r\n\r\n${body}\r\n`,
    );
    renameSync(join(folder, 'tmp', name), join(folder, 'new', name));
  }

  async stop(signal = 'SIGTERM') {
    if (this.end === null) this.child.kill(signal);
    await this.closed;
    return this.end;
  }

  async restart() {
    assert.deepEqual(await this.stop(), { code: 0, signal: null }, this.errors);
    await this.start();
  }
}

// One-time hints that come by themselves some time after the start, and would lie over what a journey clicks.
const hints = ['DirectInbox', 'DirectInboxAddMailboxButton', 'EnableFollowUp', 'NotesButton', 'SnoozeButton', 'TaskButton', 'UnsubscribeButton'];

/** The plug-in's settings before the first start; `more` are further keys with their values, as a property list has them. */
export function writeSettings(data, more = '') {
  const seen = hints.map((name) => `<key>QSShowed${name}</key><true/>`).join('');
  mkdirSync(join(data, 'Settings'), { recursive: true, mode: 0o700 });
  writeFileSync(
    join(data, 'Settings', 'com.tallowbay.Quillstead.plist'),
    `<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>${seen}${more}</dict></plist>`,
  );
}

export async function startHost(t, { args = ['--demo'], prepare } = {}) {
  const home = mkdtempSync(join(tmpdir(), 'quillstead-journey-'));
  const data = join(home, 'mail');
  writeSettings(data);
  await prepare?.(data);
  const host = new Host(args, home, data);
  t.after(async () => {
    await host.stop('SIGKILL');
    rmSync(home, { recursive: true, force: true, maxRetries: 5 });
  });
  await host.start();
  return host;
}
