// The demo's own backend and read tracking: an account by sign-up, letter and confirmation; a tracked message that the
// other person opens, and what its sender learns; the backend's end with the program.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { get } from 'node:http';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseMailbox, row, shownText, startBrowser, until, write } from './support/browser.mjs';
import { textsIn } from './support/files.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const thunderbird = 'Mozilla/5.0 (X11; Linux x86_64; rv:115.0) Gecko/20100101 Thunderbird/115.4.1';

async function accountSettings(page) {
  await page.keyboard.press('Control+,');
  const preferences = page.locator('.preferences');
  await preferences.getByText('Quillstead', { exact: true }).first().click();
  return preferences;
}

const closed = (preferences) => preferences.getByRole('button', { name: 'Close the preferences' }).click();

async function send(page, compose, { tracked }) {
  if (tracked) {
    await compose.getByLabel('Track').click();
    await compose.getByRole('checkbox', { name: 'Track', checked: true }).waitFor();
  }
  await compose.locator('.subject-input').focus();
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });
  await chooseMailbox(page, 'mira/INBOX');
}

/** The messages of that subject in an inbox, as they lie there. */
function messagesIn(inbox, subject) {
  const texts = ['new', 'cur'].flatMap((part) => textsIn(join(inbox, part)));
  return texts.filter((text) => text.includes(`Subject: ${subject}\r\n`));
}

/** What somebody else's mail program asks for when it shows the picture. */
const fetchPicture = (address) =>
  new Promise((done, fail) => {
    get(address, { headers: { 'User-Agent': thunderbird } }, (answer) => {
      answer.resume().on('end', () => done(answer.statusCode));
    }).on('error', fail);
  });

/** The plug-in's records, as its store keeps them. */
const records = (host, entity) =>
  JSON.parse(
    execFileSync(
      join(process.env.QS_BUILD_DIR, 'bin', 'quillstead-store'),
      [join(host.data, 'Documents', 'QuillsteadData.sqlite'), '--dump', entity],
      { encoding: 'utf8' },
    ),
  )[entity];

test('signing up: a letter comes, its link confirms, and the account works', async (t) => {
  const host = await startHost(t);
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  const preferences = await accountSettings(page);
  await preferences.getByText(/Signed in as .*mira@quillstead\.example/).waitFor();
  await preferences.getByRole('button', { name: 'Sign out' }).click();
  await preferences.getByText('Nobody is signed in.').waitFor();

  await preferences.getByRole('button', { name: 'Register…' }).click();
  const registration = page.getByRole('dialog', { name: 'Create a Quillstead account' });
  await registration.getByLabel('Email').fill('tobias@quillstead.example');
  await registration.getByLabel('Password', { exact: true }).fill('first try');
  await registration.getByLabel('Password again').fill('first try');
  assert.deepEqual(await axeFaults(page), []);
  await page.keyboard.press('Enter');
  const hint = page.getByRole('dialog', { name: /^To validate your email address/ });
  await hint.locator('.popover-buttons button').first().click(); // its words change
  await registration.waitFor({ state: 'detached' });
  await closed(preferences);

  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'Please confirm your address').click();
  const opened = page.context().waitForEvent('page');
  await shownText(page).getByRole('link', { name: /\/confirm\?token=/ }).click();
  const confirmation = await opened;
  await confirmation.getByRole('button', { name: 'Confirm' }).click();
  await confirmation.getByRole('heading', { name: 'Your account is ready' }).waitFor();
  await confirmation.close();

  await chooseMailbox(page, 'mira/INBOX');
  await accountSettings(page);
  await preferences.getByRole('button', { name: 'Sign in…' }).click();
  const sheet = page.getByRole('dialog', { name: 'Sign in to Quillstead' });
  await sheet.getByLabel('Email').fill('tobias@quillstead.example');
  await sheet.getByLabel('Password').fill('another one');
  await page.keyboard.press('Enter');
  const alert = page.getByRole('alertdialog').filter({ hasText: 'Sign in Error' });
  await alert.getByText('The email address or the password is wrong.').waitFor();
  await page.keyboard.press('Enter');
  await alert.waitFor({ state: 'detached' });
  await becomes(() => sheet.getByLabel('Password').inputValue(), '');
  await sheet.getByLabel('Password').fill('first try');
  await page.keyboard.press('Enter');
  await sheet.waitFor({ state: 'detached' });
  await preferences.getByText('Signed in as tobias@quillstead.example.').waitFor();
  assert.deepEqual(page.faults, []);
});

test('where nobody is signed in, nobody is offered to track', async (t) => {
  const host = await startHost(t);
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  const preferences = await accountSettings(page);
  await preferences.getByRole('button', { name: 'Sign out' }).click();
  await preferences.getByText('Nobody is signed in.').waitFor();
  await closed(preferences);
  const compose = await write(page, 'Before');
  assert.equal(await compose.getByLabel('Track').count(), 0);
});

test('a tracked message: its sender learns who opened it, and not of looking at it himself', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--virtual-clock', String(Math.floor(Date.now() / 1000))] });
  const page = await browser.open(t, host);
  for (const [subject, tracked] of [['Untold', false], ['Did you see?', true], ['Answer me', true]])
    await send(page, await write(page, subject, 'Have a look.'), { tracked });
  const inbox = join(host.data, 'Mail', 'tobias');
  const message = await until(() => messagesIn(inbox, 'Did you see?')[0], 'the message');
  const [uuid] = /^[0-9A-F-]{36}$/m.exec(/^X-Quillstead-Tracking-UUID: (.*)\r$/m.exec(message)[1]);
  const [pixel] = new RegExp(`http://[0-9.:]+/tracking/${uuid}`).exec(message.replaceAll('=\r\n', ''));

  // One's own copy, first in the list of what was sent, with its pictures; and a mail that hides the pixel's address from
  // whoever looks through the text: that request is dropped on its way.
  await chooseMailbox(page, 'mira/Sent');
  await row(page, 'Did you see?').click();
  await shownText(page).getByText('Have a look.').waitFor();
  const bar = page.getByRole('group', { name: 'Remote pictures' });
  await bar.getByRole('button', { name: 'Show pictures' }).click();
  await bar.waitFor({ state: 'detached' });
  writeFileSync(
    join(host.data, 'Mail', 'mira', 'new', `1900000000.M1P${process.pid}.journey`),
    `From: Tobias <tobias@quillstead.example>\r\nTo: mira@quillstead.example\r\nSubject: Hidden\r\n` +
      `Content-Type: text/html\r\n\r\n<p>Hello</p><img src="${pixel.replaceAll('/tracking/', '&#47;tracking&#47;')}">\r\n`,
  );
  await chooseMailbox(page, 'mira/INBOX');
  await row(page, 'Hidden').click();
  await bar.getByRole('button', { name: 'Show pictures' }).click();
  await bar.getByText('1 picture could not be loaded.').waitFor();
  // The other person's mail program shows the picture, twice.
  assert.equal(await fetchPicture(pixel), 200);
  assert.equal(await fetchPicture(pixel), 200);
  // This person blocks pictures, and answers.
  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'Answer me').click();
  await shownText(page).getByText('Have a look.').waitFor();
  await page.keyboard.press('r');
  const answer = page.locator('.compose');
  await answer.waitFor();
  await send(page, answer, { tracked: false });
  await row(page, 'Re: Answer me').waitFor();

  assert.equal(await host.ask('advance 61'), 'done');
  await chooseMailbox(page, 'mira/Sent');
  await row(page, 'Did you see?').click();
  const banner = page.locator('.banner');
  await banner.getByText(/^This email has been opened 1 times since its first open at /).waitFor();
  await banner.getByRole('button', { name: 'Show Details' }).click();
  const details = page.getByRole('dialog', { name: 'Opens of this message' });
  await details.getByText('Thunderbird 115').first().waitFor();
  await becomes(() => details.getByRole('listitem').count(), 2);
  assert.deepEqual(await axeFaults(page), []);
  await row(page, 'Untold').click();
  await details.waitFor({ state: 'detached' });
  await becomes(() => banner.count(), 0);
  await chooseMailbox(page, 'mira/Sent');
  await row(page, 'Answer me').click();
  await banner.getByText(/^This email was first opened at /).waitFor();
  assert.deepEqual(page.faults, []);
  assert.equal(host.errors, '');
  await host.stop();

  const pixels = records(host, 'TrackingPixel');
  assert.equal(pixels.length, 2, 'the first one was not tracked');
  assert.ok(pixels.every(({ isRemote, messageID }) => isRemote && messageID));
  const opensOf = (id) => {
    const { _id } = pixels.find((each) => each.uuid === id);
    return records(host, 'TrackingPixelOpen').filter((open) => open.pixel === _id);
  };
  const opens = opensOf(uuid);
  assert.equal(opens.length, 2, 'those of the other person alone');
  assert.deepEqual(new Set(opens.map(({ userAgent }) => userAgent)), new Set(['Linux | Thunderbird 115']));
  assert.equal(new Set(opens.map(({ date }) => date)).size, 2);
  const answered = opensOf(pixels.find((each) => each.uuid !== uuid).uuid);
  assert.equal(answered.length, 1, 'who answers has read it');
  assert.equal(answered[0].userAgent, null);
});

test('the backend ends with the program, also when that is killed, and comes back at the same place', async (t) => {
  const host = await startHost(t);
  const address = `http://127.0.0.1:${readFileSync(join(host.data, 'Backend', 'port'), 'utf8')}/`;
  const answers = () => fetchPicture(address).then(() => true, () => false);
  assert.ok(await answers());
  await host.stop('SIGKILL');
  await becomes(answers, false);
  await host.start();
  assert.ok(await answers());
  assert.deepEqual(await host.stop(), { code: 0, signal: null }, host.errors);
  assert.equal(await answers(), false);
  host.args = ['--demo', '--no-plugin'];
  await host.start();
  assert.equal(await answers(), false, 'without the plug-in there is nobody to ask it');
});
