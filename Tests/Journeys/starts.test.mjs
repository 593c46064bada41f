// Starts that can't go well, or not as they were meant: each ends in a sentence, and nothing is lost.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { once } from 'node:events';
import { join } from 'node:path';
import { test } from 'node:test';
import { runHost, startHost, temporaryFolder } from './support/host.mjs';
import { LivePage } from './support/live.mjs';

const oneSentence = /^[A-Z][^\n]*[.]\n$/;

async function refused(args, home, what) {
  const { code, output, errors } = await runHost(['--no-browser', ...args], { home });
  assert.equal(code, 1, errors);
  assert.match(errors, oneSentence);
  assert.match(errors, what);
  assert.equal(output, '');
}

test('a port that is taken, and nothing is made of the demo', async (t) => {
  const home = temporaryFolder(t);
  const server = createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  t.after(() => server.close());
  const { port } = server.address();
  await refused(['--demo', '--data', join(home, 'mail'), '--port', String(port)], home, new RegExp(`Port ${port} is in use`));
});

test('damaged accounts are told of and left as they are', async (t) => {
  const home = temporaryFolder(t);
  const file = join(home, 'Accounts.plist');
  writeFileSync(file, '<plist><dict><key>Accounts</key>');
  await refused(['--data', home, '--port', '0'], home, /list of accounts.*can't be read.*left as it is/);
  assert.equal(readFileSync(file, 'utf8'), '<plist><dict><key>Accounts</key>');
});

test('a page or a plug-in that is not there', async (t) => {
  const home = temporaryFolder(t);
  await refused(['--demo', '--data', home, '--page', join(home, 'none')], home, /The page is not at .*none.*--page/);
  await refused(['--demo', '--data', home, '--port', '0', '--bundles', join(home, 'none')], home, /The plug-in is not at .*--no-plugin/);
});

test('a data folder that is a file', async (t) => {
  const home = temporaryFolder(t);
  writeFileSync(join(home, 'file'), '');
  await refused(['--data', join(home, 'file')], home, /data folder .*file can't be made/);
});

// A disk of so many KiB in a mount namespace of the program's own, which systems may forbid.
const onSmallDisk = (folder, size) => ['unshare', '-rm', 'sh', '-c', `mount -t tmpfs -o size=${size}k none '${folder}' && exec "$0" "$@"`];
const noNamespaces = spawnSync('unshare', ['-rm', 'true']).status !== 0 && 'mount namespaces are not allowed here';

test('a disk without room', { skip: noNamespaces }, async (t) => {
  const home = temporaryFolder(t);
  for (const size of [4, 64, 400]) {
    const { code, errors } = await runHost(['--demo', '--data', home, '--port', '0', '--no-browser'], {
      home, wrapper: onSmallDisk(home, size),
    });
    assert.equal(code, 1, `${size} KiB: ${errors}`);
    assert.match(errors, /no space left/i, `${size} KiB`);
  }
});

test('words that make no sense', async (t) => {
  const home = temporaryFolder(t);
  const { code, errors } = await runHost(['--colour'], { home });
  assert.equal(code, 2);
  assert.match(errors, /^There is no option '--colour'\./);
});

test('a second start on the same data leads to the first', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const args = ['--demo', '--data', host.data, '--no-browser'];
  const second = await runHost(args, { home: host.home });
  assert.equal(second.code, 0, second.errors);
  const link = /^Quillstead is already running with this data folder\. Open its page: (\S+)\n$/.exec(second.output)?.[1];
  assert.equal(new URL(link).port, String(host.port));
  const page = await LivePage.open(link);
  await assert.rejects(LivePage.open(link), /403/, 'a link works once');
  // An address that the desktop hands over reaches the program that runs.
  const third = await runHost([...args, '--open-url', 'mailto:ada@example.org?subject=Hello'], { home: host.home });
  assert.equal(third.code, 0, third.errors);
  await page.when(({ compose }) => compose.some(({ subject, to }) => subject === 'Hello' && to[0].includes('ada@example.org')));
  page.close();
});

test('a broken plug-in is told of, and mail goes on without it', async (t) => {
  const home = temporaryFolder(t);
  const broken = join(home, 'broken', 'Quillstead.mailbundle');
  mkdirSync(broken, { recursive: true });
  writeFileSync(join(broken, 'Info.plist'), 'no property list');
  const host = await startHost(t, { args: ['--demo', '--bundles', join(home, 'broken')] });
  const page = await LivePage.open(await host.link());
  const [notice] = page.models.app.notices.map(({ text }) => text);
  assert.match(notice, /^The plug-in Quillstead could not be loaded\..*damaged/);
  assert.equal(host.errors.split(notice).length, 2, `told once: ${host.errors}`);
  assert.ok(page.models.list.rows.length > 5);
  page.close();
});

test('a first start that is cut off goes on at the next', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  let page = await LivePage.open(await host.link());
  const whole = page.models.accounts;
  page.close();
  await host.stop('SIGKILL');
  writeFileSync(join(host.data, 'DemoMails.pending'), '');
  await host.start();
  page = await LivePage.open(await host.link());
  assert.deepEqual(page.models.accounts, whole, 'no demo mail comes twice');
  page.close();
});

test('the control socket does what it knows, and says so when it does not', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  assert.equal(await host.ask('advance 5'), 'error The clock is a real one.');
  assert.equal(await host.ask('open'), 'error There is no address to open.');
  assert.match(await host.ask('open mailto:ada@example.org'), /^link http/, 'no page is open that could show it');
  assert.equal(await host.ask('sing'), 'error There is no such command.');
  assert.equal(await host.ask('quit'), 'done');
  await host.closed;
  assert.deepEqual(host.end, { code: 0, signal: null });
});

test('a virtual clock stands, and moves when it is told to, while an alert waits for its answer', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin', '--virtual-clock', '1700000000'] });
  const page = await LivePage.open(await host.link());
  assert.match(page.models.list.rows[0].dateLong, /2023/);
  await page.call('compose.new', {});
  const [{ window }] = await page.when(({ compose }) => compose.length > 0 && compose);
  void page.call('compose.send', { window }).catch(() => undefined);
  const [{ id }] = await page.when(({ alerts }) => alerts.length > 0 && alerts);
  const [row] = page.models.list.rows;
  assert.equal((await page.get(`/messages/${row.id}/source`)).status, 200, 'the page goes on being answered');
  assert.equal(page.models.alerts[0].id, id, 'it waits');
  await page.call('alert.answer', { id, button: 0, suppression: false });
  await page.when(({ alerts }) => alerts.length === 0);
  assert.equal(await host.ask('advance 864000'), 'done');
  assert.equal(await host.ask('advance soon'), 'error That is no number of seconds.');
  page.close();
});
