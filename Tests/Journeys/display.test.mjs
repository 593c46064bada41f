// What strangers send: their markup does nothing, and their pictures on the web come when the person wants them.
import assert from 'node:assert/strict';
import { mkdirSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { axeFaults, row, shownText, startBrowser, until } from './support/browser.mjs';
import { startHost } from './support/host.mjs';
import { LivePage } from './support/live.mjs';

const { hostileMails } = await import(pathToFileURL(join(process.env.QS_PAGE_DIR, 'test/hostile.mjs')));
const picture = Buffer.from('iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAIAAAB7QOjdAAAADUlEQVR4nGP4zwAE/wEHAAH/4iOeWQAAAABJRU5ErkJggg==', 'base64');

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

async function startWeb(t, answer) {
  const asked = [];
  const server = createServer((request, response) => {
    asked.push(request);
    answer(request, response);
  });
  await new Promise((done) => server.listen(0, '127.0.0.1', done));
  t.after(() => server.close());
  return { name: `127.0.0.1:${server.address().port}`, address: `http://127.0.0.1:${server.address().port}`, asked };
}

/** The person names servers on this machine; without that none of them is ever asked. */
function nameServers(names) {
  return (data) => {
    mkdirSync(join(data, 'Settings'), { recursive: true, mode: 0o700 });
    writeFileSync(
      join(data, 'Settings', 'standard.plist'),
      `<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict><key>LocalPictureServers</key>
        <array>${names.map((name) => `<string>${name}</string>`).join('')}</array></dict></plist>`,
    );
  };
}

test('pictures on the web: held back, shown, always shown, forgotten again', async (t) => {
  const send = (request, response) => response.writeHead(200, { 'Set-Cookie': 'id=7; Path=/' }).end(picture);
  const web = await startWeb(t, send);
  const unnamed = await startWeb(t, send);
  const host = await startHost(t, { args: ['--demo', '--no-plugin'], prepare: nameServers([web.name]) });
  const page = await browser.open(t, host);
  const outside = [];
  page.on('request', (request) => [web.name, unnamed.name].some((name) => request.url().includes(name)) && outside.push(request.url()));
  await row(page, 'Ten years').waitFor();
  host.deliver('Autumn list', `<p>New paper</p><img id="near" src="${web.address}/near"><img src="${unnamed.address}/far">`);
  await row(page, 'Autumn list').click();
  const bar = page.getByRole('group', { name: 'Remote pictures' });
  await bar.getByText('Remote pictures are not shown.').waitFor();
  await shownText(page).getByText('New paper').waitFor();
  assert.deepEqual(await axeFaults(page), []);
  assert.equal(web.asked.length, 0);

  await bar.getByRole('button', { name: 'Show pictures' }).click();
  await bar.getByText('1 picture could not be loaded.').waitFor();
  const width = (id) => page.frameLocator('.body-frame').locator(id).evaluate((image) => image.naturalWidth);
  assert.equal(await width('#near'), 2);
  assert.deepEqual(web.asked.map(({ method, url }) => `${method} ${url}`), ['GET /near']);
  assert.deepEqual(Object.keys(web.asked[0].headers).sort(), ['accept', 'accept-encoding', 'host', 'user-agent']);
  assert.equal(unnamed.asked.length, 0, 'nothing on this machine that nobody named');

  host.deliver('Winter list', `<p>Ink</p><img id="near" src="${web.address}/winter">`);
  await row(page, 'Winter list').click();
  await bar.getByRole('button', { name: 'Always for this sender' }).click();
  await until(async () => (await width('#near').catch(() => 0)) === 2, 'the picture');
  await host.restart();
  const again = await browser.open(t, host);
  host.deliver('Spring list', `<p>Brushes</p><img id="near" src="${web.address}/spring">`, '"The shop" <NEWS@shop.example>');
  await row(again, 'Spring list').click();
  await until(async () =>
    (await again.frameLocator('.body-frame').locator('#near').evaluate((image) => image.naturalWidth).catch(() => 0)) === 2, 'the picture, unasked');
  assert.equal(await again.getByRole('group', { name: 'Remote pictures' }).count(), 0);
  assert.equal(web.asked.at(-1).headers.cookie, undefined);

  await again.keyboard.press('Control+,');
  await again.getByRole('button', { name: 'Remove “news@shop.example”' }).click();
  await again.getByRole('button', { name: 'Remove “news@shop.example”' }).waitFor({ state: 'detached' });
  await again.keyboard.press('Escape');
  host.deliver('Summer list', `<p>Fans</p><img src="${web.address}/summer">`);
  await row(again, 'Summer list').click();
  await again.getByText('Remote pictures are not shown.').waitFor();
  assert.ok(!web.asked.some(({ url }) => url === '/summer'));
  assert.deepEqual([outside, page.faults, again.faults], [[], [], []]);
});

test('what the host makes of hostile mail does nothing, even where nothing else protects', async (t) => {
  const web = await startWeb(t, (request, response) => response.writeHead(200, { 'Content-Type': 'text/html' }).end(''));
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const live = await LivePage.open(await host.link());
  t.after(() => live.close());
  hostileMails.forEach((mail, at) => host.deliver(`Hostile ${at}: ${mail.name}`, `<p>before</p>${mail.html(web.address)}`));
  await live.call('list.window', { offset: 0, limit: 500 });
  const hostile = ({ list }) => list.rows.filter(({ subject }) => subject.startsWith('Hostile'));
  await live.when((models) => hostile(models).length === hostileMails.length);
  const bare = await browser.bare(t);
  await bare.goto(`${web.address}/bare`);
  web.asked.length = 0;
  for (const { id, subject } of hostile(live.models)) {
    const { html } = JSON.parse((await live.get(`/messages/${id}/body?remote=0`)).body);
    assert.match(html, /before/, subject);
    await bare.evaluate(async (text) => {
      const frame = document.createElement('iframe');
      const loaded = new Promise((done) => (frame.onload = done));
      frame.srcdoc = text;
      document.body.replaceChildren(frame);
      await loaded;
      await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
      await fetch('/end', { method: 'POST' });
    }, html);
    assert.deepEqual(web.asked.splice(0).map(({ url }) => url).filter((url) => url !== '/end' && url !== '/favicon.ico'), [], `${subject} as ${html}`);
  }
});
