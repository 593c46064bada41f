// The account at a backend and read tracking: signed in after a refusal, a tracked message is registered when it was
// delivered, and untracked ones tell nothing.
import assert from 'node:assert/strict';
import { createServer } from 'node:http';
import { after, before, test } from 'node:test';
import { axeFaults, row, startBrowser, write } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

/** A backend that knows one person and notes what it is asked. */
async function startBackend(t) {
  const known = `Basic ${Buffer.from('mira@quillstead.example:s3cret!').toString('base64')}`;
  const asked = [];
  const server = createServer((request, answer) => {
    let body = '';
    request.on('data', (part) => (body += part));
    request.on('end', () => {
      const path = request.url.split('?')[0];
      asked.push({ what: `${request.method} ${path}`, body });
      const isKnown = request.headers.authorization === known;
      const profile = path === '/api/v1/profile' ? { id: 3, name: 'Mira Halloran' } : [];
      answer.writeHead(isKnown ? 200 : 401, { 'Content-Type': 'application/json' });
      answer.end(JSON.stringify(isKnown ? profile : { error: 'Email or password is wrong.' }));
    });
  });
  await new Promise((done) => server.listen(0, '127.0.0.1', done));
  t.after(() => server.close());
  return { address: `http://127.0.0.1:${server.address().port}`, asked };
}

test('signed in, tracked, registered', async (t) => {
  const backend = await startBackend(t);
  const host = await startHost(t, { args: ['--demo'] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  const before = await write(page, 'Before');
  assert.equal(await before.getByLabel('Track').count(), 0, 'nobody is offered what cannot work');
  await page.keyboard.press('Control+Enter');
  await before.waitFor({ state: 'detached' });

  await page.keyboard.press('Control+,');
  const preferences = page.locator('.preferences');
  await preferences.getByText('Quillstead', { exact: true }).first().click();
  await preferences.getByLabel('Backend').fill(backend.address);
  await preferences.getByLabel('Backend').press('Tab');
  await preferences.getByRole('button', { name: 'Sign in…' }).click();
  const sheet = page.getByRole('dialog', { name: 'Sign in to Quillstead' });
  await sheet.getByLabel('Email').fill('mira@quillstead.example');
  await sheet.getByLabel('Password').fill('wrong');
  await page.keyboard.press('Enter');
  const alert = page.getByRole('alertdialog').filter({ hasText: 'Sign in Error' });
  await alert.getByText('Email or password is wrong.').waitFor();
  await page.keyboard.press('Enter');
  await alert.waitFor({ state: 'detached' });
  assert.equal(await sheet.getByLabel('Password').inputValue(), '');
  assert.equal(await sheet.getByLabel('Email').inputValue(), 'mira@quillstead.example');
  assert.deepEqual(await axeFaults(page), []);
  await sheet.getByLabel('Password').fill('s3cret!');
  await page.keyboard.press('Enter');
  await sheet.waitFor({ state: 'detached' });
  await preferences.getByText('Signed in as Mira Halloran').waitFor();
  await preferences.getByRole('button', { name: 'Close the preferences' }).click();

  const compose = await write(page, 'Did you see?');
  await compose.getByLabel('Track').check();
  await compose.locator('.subject-input').focus();
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });
  const registered = () => backend.asked.filter(({ what }) => what === 'POST /api/v1/tracking');
  for (let tries = 0; tries < 300 && registered().length === 0; ++tries) await new Promise((done) => setTimeout(done, 100));
  assert.equal(registered().length, 1, 'the one before was not tracked');
  const [{ uuid, messageID }] = JSON.parse(registered()[0].body).pixels;
  assert.match(uuid, /^[0-9A-F-]{36}$/);
  assert.ok(messageID);
  assert.deepEqual(page.faults, []);
  assert.equal(host.errors, '');
});
