// A page without a browser: the session and the live connection as the page has them, and the models that arrive.
//
//     const page = await LivePage.open(await host.link());
//     await page.call('compose.new', {});
//     await page.when((models) => models.compose.length === 1);
import { randomBytes } from 'node:crypto';
import { once } from 'node:events';
import { request } from 'node:http';

const patience = 30_000;

function send(options, body = '') {
  return new Promise((done, fail) => {
    const sent = request(options, (answer) => {
      let text = '';
      answer.setEncoding('utf8').on('data', (part) => (text += part));
      answer.on('end', () => done({ status: answer.statusCode, headers: answer.headers, body: text }));
      answer.on('error', fail);
    });
    sent.on('error', fail);
    sent.end(body);
  });
}

// Frames as RFC 6455 has them; what we send is masked, in one frame.
function frame(opcode, text) {
  const payload = Buffer.from(text);
  const long = payload.length > 65535 ? 8 : payload.length > 125 ? 2 : 0;
  const head = Buffer.alloc(2 + long);
  head[0] = 0x80 | opcode;
  head[1] = 0x80 | (long === 8 ? 127 : long === 2 ? 126 : payload.length);
  if (long === 2) head.writeUInt16BE(payload.length, 2);
  if (long === 8) head.writeBigUInt64BE(BigInt(payload.length), 2);
  const mask = randomBytes(4);
  return Buffer.concat([head, mask, payload.map((byte, at) => byte ^ mask[at % 4])]);
}

class Frames {
  constructor(handle) {
    this.handle = handle;
    this.rest = Buffer.alloc(0);
    this.parts = [];
  }

  add(data) {
    this.rest = Buffer.concat([this.rest, data]);
    for (;;) {
      if (this.rest.length < 2) return;
      const short = this.rest[1] & 0x7f;
      const start = short === 127 ? 10 : short === 126 ? 4 : 2;
      if (this.rest.length < start) return;
      const size = short === 127 ? Number(this.rest.readBigUInt64BE(2)) : short === 126 ? this.rest.readUInt16BE(2) : short;
      if (this.rest.length < start + size) return;
      const opcode = this.rest[0] & 0x0f;
      const last = (this.rest[0] & 0x80) !== 0;
      const payload = this.rest.subarray(start, start + size);
      this.rest = this.rest.subarray(start + size);
      if (opcode > 2) {
        this.handle(opcode, payload);
        continue;
      }
      this.parts.push(payload);
      if (!last) continue;
      this.handle(1, Buffer.concat(this.parts));
      this.parts = [];
    }
  }
}

export class LivePage {
  static async open(link) {
    const page = new LivePage();
    await page.#connect(new URL(link));
    await page.when(() => true);
    return page;
  }

  models = {};
  closed = false;
  #updates = 0;
  #last = 0;
  #answers = new Map();
  #watchers = new Set();

  async #connect(link) {
    const [host, origin] = [link.host, link.origin];
    const ticket = link.hash.replace('#start=', '');
    const where = { host: link.hostname, port: link.port };
    const session = await send(
      { ...where, method: 'POST', path: '/session', headers: { Host: host, Origin: origin, 'Content-Type': 'application/json' } },
      JSON.stringify({ ticket }),
    );
    if (session.status !== 200) throw new Error(`No session: ${session.status} ${session.body}`);
    this.identity = {
      Host: host, Origin: origin, Cookie: session.headers['set-cookie'][0].split(';')[0],
      'X-Quillstead-Token': JSON.parse(session.body).token,
    };
    this.where = where;
    const { 'X-Quillstead-Token': token, ...headers } = this.identity;
    const upgrade = request({
      ...where, path: '/live',
      headers: {
        ...headers, Connection: 'Upgrade', Upgrade: 'websocket', 'Sec-WebSocket-Version': '13',
        'Sec-WebSocket-Key': randomBytes(16).toString('base64'), 'Sec-WebSocket-Protocol': `qs.${token}`,
      },
    });
    upgrade.end();
    const [, socket, head] = await once(upgrade, 'upgrade');
    this.socket = socket;
    const frames = new Frames((opcode, payload) => this.#take(opcode, payload));
    socket.on('data', (data) => frames.add(data));
    socket.on('error', () => undefined);
    socket.on('close', () => this.#close());
    frames.add(head);
  }

  #take(opcode, payload) {
    if (opcode === 9) this.socket.write(frame(10, payload));
    if (opcode === 8) this.socket.end();
    if (opcode !== 1) return;
    const message = JSON.parse(payload.toString());
    if (message.type === 'update') {
      Object.assign(this.models, message.sections);
      ++this.#updates;
    }
    if (message.type === 'reply') this.#answers.get(message.id)?.done(message.result);
    if (message.type === 'error') this.#answers.get(message.id)?.fail(new Error(message.text));
    for (const watcher of [...this.#watchers]) watcher();
  }

  #close() {
    this.closed = true;
    for (const { fail } of this.#answers.values()) fail(new Error('The connection was closed.'));
    for (const watcher of [...this.#watchers]) watcher();
  }

  call(name, args = {}) {
    const id = ++this.#last;
    return new Promise((done, fail) => {
      if (this.closed) return fail(new Error('The connection was closed.'));
      this.#answers.set(id, { done, fail });
      this.socket.write(frame(1, JSON.stringify({ id, call: name, args })));
    });
  }

  /** Resolves with what `check` finds in the models once that is something true. */
  when(check) {
    return new Promise((done, fail) => {
      const end = (how) => {
        clearTimeout(timer);
        this.#watchers.delete(look);
        how();
      };
      const look = () => {
        const found = this.#updates > 0 && check(this.models);
        if (found) return end(() => done(found));
        if (this.closed) end(() => fail(new Error('The connection was closed.')));
      };
      const timer = setTimeout(() => end(() => fail(new Error(`This never came: ${check}`))), patience);
      this.#watchers.add(look);
      look();
    });
  }

  get(path) {
    return send({ ...this.where, path, headers: this.identity });
  }

  close() {
    this.socket.destroy();
  }
}
