// A mail server takes a message for some of its recipients only: what the person is told, and what is left to be done.
import assert from 'node:assert/strict';
import { mkdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseMailbox, row, startBrowser } from './support/browser.mjs';
import { startHost } from './support/host.mjs';
import { startRecordingSmtp } from './support/smtp.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

function writeAccount(data, port) {
  mkdirSync(data, { recursive: true, mode: 0o700 });
  writeFileSync(join(data, 'Accounts.plist'), `<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
<key>Accounts</key><array><dict><key>Identifier</key><string>ada</string><key>DisplayName</key><string>Ada</string>
<key>Kind</key><string>local</string><key>Identities</key><array><dict><key>Name</key><string>Ada Lovelace</string>
<key>Address</key><string>ada@example.org</string></dict></array><key>Outgoing</key><dict><key>Host</key><string>127.0.0.1</string>
<key>Port</key><integer>${port}</integer><key>Security</key><string>none</string><key>User</key><string></string></dict></dict></array>
</dict></plist>`);
}

async function send(page, subject, recipients) {
  await page.getByRole('button', { name: 'New', exact: true }).click();
  const compose = page.locator('.compose');
  await compose.waitFor();
  for (const each of recipients) {
    await page.getByLabel('To', { exact: true }).fill(`${each},`);
    await compose.locator('.token', { hasText: each }).waitFor();
  }
  await compose.locator('.subject-input').fill(subject);
  await compose.locator('.editor').click();
  await page.keyboard.type('All agreed.');
  await page.getByRole('button', { name: 'Send', exact: true }).click();
}

test('those refused for good get a draft, those refused for now are tried again', async (t) => {
  const smtp = await startRecordingSmtp({
    answers: { 'eve@example.net': '550 5.1.1 Nobody of that name here', 'joe@example.net': '451 4.7.1 Greylisted, come back later' },
  });
  t.after(() => smtp.close());
  const host = await startHost(t, { args: ['--no-plugin'], prepare: (data) => writeAccount(data, smtp.port) });
  const page = await browser.open(t, host);
  const notices = page.locator('.notice');

  await send(page, 'Minutes', ['ben@example.net', 'eve@example.net']);
  await notices.filter({ hasText: 'did not reach everybody' }).waitFor();
  assert.match(await notices.innerText(), /eve@example.net.*Nobody of that name here/s);
  assert.deepEqual(smtp.received.map((each) => each.recipients), [['ben@example.net']]);
  assert.deepEqual(await axeFaults(page), []);
  await chooseMailbox(page, 'ada/Drafts');
  await row(page, 'Minutes').dblclick();
  const compose = page.locator('.compose');
  await compose.locator('.token', { hasText: 'eve@example.net' }).waitFor();
  assert.equal(await compose.locator('.token').count(), 1, 'not to those who have it');
  smtp.answers['eve@example.net'] = '';
  await page.getByRole('button', { name: 'Send', exact: true }).click();
  await becomes(() => smtp.received.length, 2);
  assert.deepEqual(smtp.received[1].recipients, ['eve@example.net']);

  await send(page, 'Agenda', ['ben@example.net', 'joe@example.net']);
  await notices.filter({ hasText: '“Agenda” has not reached everybody yet' }).waitFor();
  await chooseMailbox(page, 'ada/Outbox');
  await row(page, 'Agenda').click();
  await page.locator('.row', { hasText: 'Agenda' }).getByText(/^Sent to some .*Greylisted/).waitFor();
  await page.getByRole('button', { name: 'Try again' }).waitFor();
  assert.equal(await page.getByRole('button', { name: 'Edit draft' }).count(), 0, 'some have it already');
  assert.deepEqual(await axeFaults(page), []);
});
