// An outside service from the list of the preferences to its sign-in page and back, over a restart, and away again.
import assert from 'node:assert/strict';
import { chmodSync, existsSync, readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { once } from 'node:events';
import { delimiter, join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, row, startBrowser, until } from './support/browser.mjs';
import { ifThere, wholeLines } from './support/files.mjs';
import { runHost, startHost, temporaryFolder, writeSettings } from './support/host.mjs';
import { LivePage } from './support/live.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const secrets = ['C0DE-4711', 'ACCESS-4711', 'REFRESH-4711', 'ACCESS-4712', 'REFRESH-4712'];

/** Signs everybody in; each token is good for a second, so that it must be renewed. */
async function startProvider(t) {
  const provider = { asked: [], folders: [] };
  let round = 4711;
  const server = createServer(async (request, response) => {
    let body = '';
    for await (const part of request) body += part;
    const { pathname } = new URL(request.url, 'http://provider');
    provider.asked.push({ path: pathname, body, authorization: request.headers.authorization });
    const answers = {
      '/oauth2/token': () => ({ access_token: `ACCESS-${round}`, refresh_token: `REFRESH-${round++}`, token_type: 'bearer', expires_in: 1 }),
      '/2.0/folders/0/items': () => ({ entries: [{ type: 'folder', name: 'Quillstead', id: '7' }] }),
      '/oauth2/revoke': () => null,
    };
    const answer = answers[pathname]?.();
    response.writeHead(answer === undefined ? 404 : 200, { 'Content-Type': 'application/json' });
    response.end(answer ? JSON.stringify(answer) : '');
  }).listen(0, '127.0.0.1');
  await once(server, 'listening');
  t.after(() => server.close());
  provider.address = `http://127.0.0.1:${server.address().port}`;
  return provider;
}

/** What stands in for the desktop: notes which address is opened. */
function pretendDesktop(t) {
  const folder = temporaryFolder(t);
  const opened = join(folder, 'opened');
  writeFileSync(join(folder, 'xdg-open'), `#!/bin/sh\nprintf '%s\\n' "$1" >>'${opened}'\n`);
  chmodSync(join(folder, 'xdg-open'), 0o755);
  const path = process.env.PATH;
  process.env.PATH = `${folder}${delimiter}${path}`;
  t.after(() => (process.env.PATH = path));
  return () => wholeLines(opened);
}

function configuration(address) {
  const values = { ClientID: 'journey', ClientSecret: 'of ours', AccountHost: address, APIHost: address, UploadHost: address };
  const lines = Object.entries(values).map(([key, value]) => `<key>${key}</key><string>${value}</string>`);
  return `<key>QSServiceConfiguration</key><dict><key>Box</key><dict>${lines.join('')}</dict></dict>`;
}

function filesBelow(folder) {
  return readdirSync(folder, { withFileTypes: true, recursive: true })
    .filter((each) => each.isFile())
    .map((each) => join(each.path, each.name));
}

test('a service is added, linked in the browser, renewed after a restart, unlinked and removed', async (t) => {
  const provider = await startProvider(t);
  const opened = pretendDesktop(t);
  const host = await startHost(t, {
    prepare: (data) => writeSettings(data, configuration(provider.address)),
  });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  await page.keyboard.press('Control+,');
  await page.getByRole('tab', { name: 'Quillstead' }).click();
  const services = page.getByRole('listbox', { name: 'Services' });
  await services.getByText('Reminders', { exact: true }).waitFor();
  await page.getByRole('button', { name: 'Add…' }).click();
  await page.getByRole('dialog', { name: 'Add a Service' }).getByRole('button', { name: 'Add', exact: true }).click();
  const box = services.getByRole('option', { name: 'Box' });
  await box.getByText('Not linked').waitFor();
  assert.deepEqual(await axeFaults(page), []);

  await page.getByRole('button', { name: 'Link', exact: true }).click();
  await until(() => opened().length > 0, 'the sign-in page');
  assert.equal(
    opened()[0], `${provider.address}/api/oauth2/authorize?response_type=code&client_id=journey&state=authenticated`,
  );
  await box.getByText('Linking…').waitFor();
  const handedOver = await runHost(
    ['--demo', '--data', host.data, '--no-browser', '--open-url', `quillstead://box-redirect?code=${secrets[0]}&state=authenticated`],
    { home: host.home },
  );
  assert.equal(handedOver.code, 0, handedOver.errors);
  await box.getByText('Linked', { exact: true }).waitFor();
  assert.deepEqual(page.faults, []);

  await host.restart();
  await until(() => provider.asked.some(({ body }) => body.includes('refresh_token=REFRESH-4711')), 'a fresh token');
  const live = await LivePage.open(await host.link());
  await live.call('preferences.show', { module: 'Quillstead' });
  const rows = ({ preferences }) =>
    preferences.form?.groups.flatMap((group) => group.controls).find((control) => control.id === 'services')?.options ?? [];
  const shown = (models) => rows(models).find((each) => each.title === 'Box');
  const linked = await live.when((models) => shown(models)?.state === 'Linked' && shown(models));
  for (const file of filesBelow(host.data)) {
    const content = ifThere(() => readFileSync(file, 'latin1')) ?? '';
    for (const secret of secrets) assert.ok(!content.includes(secret), `${secret} stands in ${file}`);
  }
  assert.ok(existsSync(join(host.data, 'Keychain', 'Vault')));

  const press = (control) => live.call('preferences.set', { control, value: null });
  await live.call('preferences.set', { control: 'services', value: [linked.value] });
  await press('linkService');
  await live.when((models) => shown(models)?.state === 'Not linked');
  await until(() => provider.asked.some(({ path, body }) => path === '/oauth2/revoke' && /token=ACCESS-471/.test(body)), 'the revocation');
  await press('removeService');
  await live.when((models) => rows(models).length > 0 && !shown(models));
  live.close();
});
