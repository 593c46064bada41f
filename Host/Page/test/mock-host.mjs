// A host that is none: serves the built page with believable models, so that the page can be seen and tested alone.
//
//   node test/mock-host.mjs <folder of the built page> [port]     prints the start link
//
// As a module: `const host = await startMockHost(folder)` answers {url, calls, push, close}; `calls` are all that the page
// asked for so far, push(sections) changes models.
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, join, resolve } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { generalPane, sendingPane, servicesPane, scheduleSheet, composeRows } from './mock/forms.mjs';
import { addresses, longBody, makeInbox, makeOutbox, newsBody, taken } from './mock/mail.mjs';
import { composeToolbar, contextMenu, mainMenu, toolbarMenu, viewerToolbar } from './mock/menus.mjs';
import { flagItems } from './mock/rows.mjs';
import { acceptSocket } from './mock/socket.mjs';

const types = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript', '.css': 'text/css', '.svg': 'image/svg+xml', '.json': 'application/json', '.map': 'application/json' };
const onePixel = Buffer.from('R0lGODlhAQABAIAAAAAAAP///yH5BAEAAAAALAAAAAABAAEAAAIBRAA7', 'base64');
const here = fileURLToPath(new URL('.', import.meta.url));

export async function contentPolicy(hostName) {
  const text = await readFile(join(here, '../CSP.txt'), 'utf8');
  return text.split('\n').filter((line) => line && !line.startsWith('#')).join('; ').replaceAll('{host}', hostName);
}

function mailbox(id, name, kind, unread, count, depth = 0) {
  const badge = kind === 'drafts' || kind === 'outbox' ? count : unread;
  const path = id.includes('/') ? `Books/${name}` : name;
  return { id, name, path, kind, unread, count, depth, badge, image: '', takesDrops: kind !== 'outbox' };
}

function firstModels(inbox) {
  return {
    app: { title: 'Quillstead Mail', icon: '', notices: [], waiting: 2, version: '1.0', notifies: false },
    menu: mainMenu,
    accounts: [
      {
        id: 'work', name: 'Analytical Society', address: 'charles@engine.example',
        mailboxes: [
          mailbox('inbox', 'Inbox', 'inbox', 3, inbox.length), mailbox('drafts', 'Drafts', 'drafts', 0, 2), mailbox('outbox', 'Outbox', 'outbox', 0, 3),
          mailbox('sent', 'Sent', 'sent', 0, 812), mailbox('archive', 'Archive', 'archive', 0, 9120), mailbox('junk', 'Junk', 'junk', 12, 40),
          mailbox('trash', 'Trash', 'trash', 0, 7), mailbox('books', 'Books', 'user', 1, 60), mailbox('books/proofs', 'Proofs', 'user', 0, 14, 1),
        ],
      },
      { id: 'home', name: 'Home', address: 'cb@dorset.example', mailboxes: [mailbox('home-inbox', 'Inbox', 'inbox', 0, 18), mailbox('home-sent', 'Sent', 'sent', 0, 3)] },
    ],
    list: null,
    message: null,
    viewer: { toolbar: viewerToolbar, selectedCount: 0 },
    compose: [],
    taken,
    alerts: [],
    popovers: [],
    status: [],
    preferences: { visible: false, modules: [{ name: 'General', image: 'preferences' }, { name: 'Accounts', image: 'accounts' }, { name: 'Sending', image: 'send' }, { name: 'Plug-ins', image: 'plugin' }], selected: 'Sending', form: sendingPane() },
  };
}

class MockHost {
  inbox = makeInbox(2400);
  calls = [];
  uploads = [];
  expected = {}; // names of files that pages said are still to come, by window
  bodies = []; // addresses of texts that were fetched
  remote = 'ask'; // what becomes of pictures on the web
  pictures = null; // by address; null: the person wants none
  sockets = new Set();
  models = firstModels(this.inbox);
  view = { mailbox: 'inbox', offset: 0, limit: 40, search: '', selected: [this.inbox[0].id] };
  lastWindow = 0;
  lastAlert = 0;

  constructor(folder) {
    this.folder = resolve(folder);
    this.ticket = 'ticket-1';
    this.token = 'token-1';
  }

  rows() {
    const { mailbox: id, search } = this.view;
    const all = id === 'outbox' ? makeOutbox() : id === 'inbox' ? this.inbox : id === 'drafts' ? this.inbox.slice(40, 42) : [];
    const wanted = search.toLowerCase();
    return wanted ? all.filter((row) => `${row.from} ${row.subject}`.toLowerCase().includes(wanted)) : all;
  }

  list() {
    const rows = this.rows();
    const { mailbox: id, offset, limit, selected, search } = this.view;
    const names = this.models.accounts.flatMap((account) => account.mailboxes);
    return {
      mailbox: id, title: search ? `“${search}”` : (names.find((each) => each.id === id)?.name ?? ''), total: rows.length, offset,
      rows: rows.slice(offset, offset + limit).map(({ address, ...row }) => ({ ...row, ...this.personOf(row.from, address) })), selected, search,
      ...(this.pictures ? { pictures: true } : {}),
      emptyText: search ? 'Nothing found' : 'No messages here',
    };
  }

  personOf(name, address) {
    const initials = name.split(' ').map((word) => word[0]);
    return this.pictures ? { person: { address, initials: `${initials[0]}${initials.length > 1 ? initials.at(-1) : ''}` } } : {};
  }

  message() {
    const { selected } = this.view;
    const row = selected.length === 1 ? [...this.inbox, ...makeOutbox()].find((each) => each.id === selected[0]) : null;
    if (!row) return null;
    return {
      id: row.id, subject: row.subject, from: row.from, fromAddress: row.address,
      sender: `${row.from} <${row.address}>`, to: ['Charles Babbage <charles@engine.example>'],
      cc: row.id === this.inbox[0].id ? addresses.slice(2, 7) : [], bcc: [], date: row.dateLong, icons: [], flags: { unread: false, flagged: row.flagged, colour: row.colour },
      attachments: row.attachments ? [{ part: '2', name: 'chapter three — remarks.pdf', type: 'application/pdf', size: 482133 }, { part: '3', name: 'page 41.png', type: 'image/png', size: 92011 }] : [],
      banners: [], canEditDraft: this.view.mailbox === 'drafts', ...(row.delivery ? { delivery: row.delivery } : {}),
      ...(row.id === 1003 ? { damaged: 'The end of this message is missing.' } : {}),
    };
  }

  /** Sends the named sections to every page. */
  tell(...names) {
    const sections = Object.fromEntries(names.map((name) => [name, this.section(name)]));
    for (const socket of this.sockets) socket.send(JSON.stringify({ type: 'update', sections }));
  }
  section(name) {
    if (name === 'list') return this.list();
    if (name === 'message') return this.message();
    if (name === 'viewer') return { ...this.models.viewer, selectedCount: this.view.selected.length };
    return this.models[name];
  }
  push(sections) {
    Object.assign(this.models, sections);
    this.tell(...Object.keys(sections));
  }
  send(message) {
    for (const socket of this.sockets) socket.send(JSON.stringify(message));
  }

  compose(name) {
    return this.models.compose.find((each) => each.window === name);
  }
  openCompose(fields = {}) {
    const window = `compose-${++this.lastWindow}`;
    const model = {
      window, title: fields.subject || 'New Message', toolbar: composeToolbar, account: 'work', to: [], cc: [], bcc: [], subject: '',
      accounts: [{ id: 'work', label: 'Charles <charles@engine.example>' }, { id: 'home', label: 'Charles <cb@dorset.example>' }],
      bodyHtml: '<div><br></div><div>Charles</div>', bodyRevision: 1, plainText: false, attachments: [], rows: composeRows(),
      status: '', busy: false, ...fields,
    };
    this.send({ type: 'focus', window });
    this.models.compose.push(model);
    setTimeout(() => this.tell('compose'), 30);
    return window;
  }
  sendCompose(window) {
    if (this.expected[window]?.length) this.alert({ window, title: `“${this.expected[window][0]}” is not attached yet` });
    else this.closeCompose(window);
  }
  closeCompose(name) {
    this.push({ compose: this.models.compose.filter((each) => each.window !== name) });
  }
  alert(fields) {
    const alert = { id: ++this.lastAlert, window: '', title: '', text: '', buttons: ['OK'], cancel: (fields.buttons?.length ?? 1) - 1, ...fields };
    this.push({ alerts: [...this.models.alerts, alert] });
    return alert.id;
  }

  answer(call, args) {
    switch (call) {
      case 'list.window':
        Object.assign(this.view, args);
        this.tell('list');
        return null;
      case 'list.select':
        this.view.selected = args.ids;
        this.inbox.forEach((row) => args.ids.length === 1 && row.id === args.ids[0] && (row.unread = false));
        this.tell('list', 'message', 'viewer');
        return null;
      case 'list.search':
        Object.assign(this.view, { search: args.text, offset: 0 });
        this.tell('list');
        return null;
      case 'mailbox.select':
        Object.assign(this.view, { mailbox: args.id, search: '', offset: 0, selected: [] });
        this.tell('list', 'message', 'viewer');
        return null;
      case 'message.move':
        this.inbox = this.inbox.filter((row) => !args.ids.includes(row.id));
        this.view.selected = [];
        this.tell('list', 'message', 'viewer');
        return null;
      case 'context.open':
        return { items: contextMenu };
      case 'addresses.complete':
        return { addresses: addresses.filter((each) => each.toLowerCase().includes(args.prefix.toLowerCase())).slice(0, 8) };
      case 'people.pictures':
        return { pictures: Object.fromEntries(args.addresses.map((each) => [each, this.pictures?.[each] ?? ''])) };
      case 'toolbar.menu':
        return { items: toolbarMenu(args.identifier) };
      case 'menu.set':
        return { items: toolbarMenu(args.identifier, args.value) };
      case 'toolbar.choose':
        return this.chooseTool(args);
      case 'menu.choose':
        if (args.item === '0.2') this.push({ preferences: { ...this.models.preferences, visible: true } });
        else if (args.item === '1.0') this.openCompose();
        else if (args.item === '2.1') throw new Error('“Select All Messages” can’t be used right now.');
        return null;
      case 'compose.new':
        this.openCompose({ to: args.to ?? [] });
        return null;
      case 'compose.update':
        return this.update(args);
      case 'compose.close':
        if (args.keep === 'ask') this.alert({ window: args.window, title: 'Save this message as a draft?', text: 'You can finish it later from the Drafts mailbox.', buttons: ['Save draft', 'Discard', 'Cancel'] });
        else this.closeCompose(args.window);
        return null;
      case 'compose.uploads':
        this.expected[args.window] = args.names;
        return null;
      case 'compose.send':
        this.sendCompose(args.window);
        return null;
      case 'compose.removeAttachment':
        this.changeCompose(args.window, (model) => ({ attachments: model.attachments.filter((each) => each.id !== args.id) }));
        return null;
      case 'alert.answer': {
        const alert = this.models.alerts.find((each) => each.id === args.id);
        this.push({ alerts: this.models.alerts.filter((each) => each.id !== args.id) });
        if (['Save draft', 'Discard'].includes(alert?.buttons[args.button])) this.closeCompose(alert.window);
        return null;
      }
      case 'sheet.button':
        this.changeCompose(args.window, () => ({ sheet: undefined }));
        return null;
      case 'popover.close':
      case 'popover.button':
        this.push({ popovers: this.models.popovers.filter((each) => each.identifier !== args.identifier) });
        return null;
      case 'popover.menu':
        return { items: flagItems };
      case 'preferences.show':
        this.push({ preferences: { ...this.models.preferences, visible: true, selected: args.module ?? 'Sending', form: args.module === 'General' ? generalPane() : args.module === 'Sending' ? sendingPane() : args.module === 'Plug-ins' ? servicesPane() : undefined } });
        return null;
      case 'preferences.close':
        this.push({ preferences: { ...this.models.preferences, visible: false } });
        return null;
      case 'app.dismissNotice':
        this.push({ app: { ...this.models.app, notices: this.models.app.notices.filter((each) => each.id !== args.id) } });
        return null;
      default:
        return null;
    }
  }

  chooseTool({ window, identifier }) {
    if (identifier === 'showComposeWindow:') this.openCompose();
    else if (identifier === 'replyMessage:') this.openCompose({ to: ['Ada Lovelace <ada@analytical.example>'], subject: 'Re: Draft of chapter three', title: 'Re: Draft of chapter three', bodyHtml: `<div><br></div><div>Charles</div><blockquote type="cite">${longBody}</blockquote>` });
    else if (identifier === 'insertFile:') this.send({ type: 'chooseFile', window });
    else if (identifier === 'orderFrontCharacterPalette:') this.send({ type: 'characterPalette', window });
    else if (identifier === 'SendLater') this.changeCompose(window, () => ({ sheet: scheduleSheet() }));
    else if (identifier === 'send:') this.sendCompose(window);
    else if (identifier === 'checkNewMail:') this.send({ type: 'beep' });
    return null;
  }
  changeCompose(name, change) {
    this.push({ compose: this.models.compose.map((each) => (each.window === name ? { ...each, ...change(each) } : each)) });
  }
  update({ window, bodyHtml, bodyRevision, ...fields }) {
    this.changeCompose(window, (model) => ({ ...fields, ...(bodyHtml !== undefined && bodyRevision === model.bodyRevision ? { bodyHtml } : {}), status: 'Draft saved 11:34' }));
    return null;
  }

  received(socket, text) {
    const { id, call, args } = JSON.parse(text);
    this.calls.push({ call, args });
    try {
      const result = this.answer(call, args);
      socket.send(JSON.stringify({ type: 'reply', id, result }));
    } catch (error) {
      socket.send(JSON.stringify({ type: 'error', id, text: error.message }));
    }
  }

  async serve(request, response) {
    const { pathname, searchParams } = new URL(request.url, 'http://mock');
    const json = (value) => response.setHeader('Content-Type', 'application/json').end(JSON.stringify(value));
    if (request.method === 'POST' && pathname === '/session') {
      const { ticket } = JSON.parse(await bodyOf(request));
      if (ticket !== this.ticket) return response.writeHead(403).end();
      return json({ token: this.token });
    }
    if (/^\/(messages|compose|images)\//.test(pathname) && request.headers['x-quillstead-token'] !== this.token) return response.writeHead(403).end();
    const message = /^\/messages\/(\d+)\/(.+)$/.exec(pathname);
    if (message?.[2] === 'body') {
      this.bodies.push(request.url);
      const news = Number(message[1]) % 5 === 3;
      const remote = searchParams.get('remote') === '1';
      return json({ html: news ? newsBody : longBody, remoteBlocked: news && !remote ? 3 : 0, remote: this.remote, plain: false });
    }
    if (message?.[2] === 'source') return response.setHeader('Content-Type', 'text/plain').end('From: Ada\r\nSubject: x\r\n\r\nHello\r\n'.repeat(60));
    if (message) return response.end('attachment');
    const upload = /^\/compose\/([^/]+)\/attachments$/.exec(pathname);
    if (upload && request.method === 'POST') {
      const content = await bodyOf(request);
      const id = `a${this.uploads.length + 1}`;
      const name = decodeURIComponent(request.headers['x-file-name']);
      this.uploads.push({ id, name, size: content.length, inline: request.headers['x-inline'] === '1' });
      this.changeCompose(upload[1], (model) => ({ attachments: [...model.attachments, { ...this.uploads.at(-1), type: request.headers['content-type'] }] }));
      return json({ id });
    }
    if (/^\/compose\/[^/]+\/attachments\/./.test(pathname)) return response.setHeader('Content-Type', 'application/octet-stream').end(onePixel);
    if (/^\/images\/(TB|MV)_/.test(pathname))
      return response.setHeader('Content-Type', 'image/svg+xml').end('<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 20 20"><circle cx="10" cy="10" r="7" fill="none" stroke="#777" stroke-width="1.5"/><path d="M10 6v4l3 2" fill="none" stroke="#777" stroke-width="1.5"/></svg>');
    return this.file(pathname === '/' ? '/index.html' : pathname, request, response);
  }

  async file(path, request, response) {
    try {
      const content = await readFile(join(this.folder, path.replaceAll('..', '')));
      response.setHeader('Content-Type', types[extname(path)] ?? 'application/octet-stream');
      response.setHeader('Content-Security-Policy', await contentPolicy(request.headers.host));
      response.end(content);
    } catch {
      response.writeHead(404).end();
    }
  }

  connect(request, raw) {
    if (request.headers['sec-websocket-protocol'] !== `qs.${this.token}`) return raw.end('HTTP/1.1 403 Forbidden\r\n\r\n');
    const socket = acceptSocket(request, raw, (text) => this.received(socket, text), () => this.sockets.delete(socket));
    this.sockets.add(socket);
    socket.send(JSON.stringify({ type: 'update', sections: Object.fromEntries(Object.keys(this.models).map((name) => [name, this.section(name)])) }));
  }
}

async function bodyOf(request) {
  const pieces = [];
  for await (const piece of request) pieces.push(piece);
  return Buffer.concat(pieces).toString('utf8');
}

export async function startMockHost(folder, port = 0) {
  const host = new MockHost(folder);
  const server = createServer((request, response) => {
    host.serve(request, response).catch((error) => response.writeHead(500).end(String(error)));
  });
  server.on('upgrade', (request, socket) => (host.isAway ? socket.destroy() : host.connect(request, socket)));
  await new Promise((done) => server.listen(port, '127.0.0.1', done));
  host.url = `http://127.0.0.1:${server.address().port}/`;
  host.startLink = `${host.url}#start=${host.ticket}`;
  host.hangUp = () => host.sockets.forEach((socket) => socket.close());
  // Until told to come back, so that a page in haste doesn't have it back before anybody has looked.
  host.goAway = () => {
    host.isAway = true;
    host.hangUp();
  };
  host.comeBack = () => {
    host.isAway = false;
  };
  host.close = () => {
    host.hangUp();
    server.close();
    server.closeAllConnections();
  };
  return host;
}

if (process.argv[1] && import.meta.url === pathToFileURL(resolve(process.argv[1])).href) {
  const [folder, port] = process.argv.slice(2);
  if (!folder) {
    console.error('usage: node test/mock-host.mjs <folder of the built page> [port]');
    process.exit(2);
  }
  console.log((await startMockHost(folder, Number(port ?? 0))).startLink);
}
