// The real program, killed at random moments while messages are written and sent, by local delivery and by a mail
// server. What the page was told had left its window is never lost, and nothing arrives twice.
//
// 20 kills, or 200 with QUILLSTEAD_FULL_TESTS=1, or as many as QS_KILLS says. QS_SEED repeats a run's moments, as far as
// a machine does the same twice.
import assert from 'node:assert/strict';
import { existsSync, mkdirSync, readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { startHost } from '../../Journeys/support/host.mjs';
import { LivePage } from '../../Journeys/support/live.mjs';
import { startRecordingSmtp } from '../../Journeys/support/smtp.mjs';

const kills = Number(process.env.QS_KILLS ?? (process.env.QUILLSTEAD_FULL_TESTS ? 200 : 20));
const seed = Number(process.env.QS_SEED ?? Date.now() % 1_000_000);

/** Numbers in [0, 1), the same for the same seed. */
function random(start) {
  let state = start >>> 0;
  return () => {
    state = (state + 0x6d2b79f5) >>> 0;
    let mixed = Math.imul(state ^ (state >>> 15), state | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return ((mixed ^ (mixed >>> 14)) >>> 0) / 2 ** 32;
  };
}

function writeAccounts(data, smtpPort) {
  const account = (name, server = '') => `<dict>
    <key>Identifier</key><string>${name}</string><key>DisplayName</key><string>${name}</string>
    <key>FullName</key><string>${name}</string><key>Addresses</key><array><string>${name}@kill.example</string></array>${server}</dict>`;
  const server = `<key>Server</key><dict><key>Host</key><string>127.0.0.1</string><key>Port</key><integer>${smtpPort}</integer>
    <key>Security</key><string>none</string><key>User</key><string></string><key>PasswordCommand</key><array/></dict>`;
  mkdirSync(data, { recursive: true, mode: 0o700 });
  writeFileSync(
    join(data, 'Accounts.plist'),
    `<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict><key>Accounts</key><array>
${account('mira')}${account('tobias')}${account('relay', server)}</array></dict></plist>\n`,
  );
}

/** The subjects of all messages in a folder of the Maildir tree. */
function subjectsIn(data, account, folder) {
  const subjects = [];
  for (const part of ['cur', 'new']) {
    const path = join(data, 'Mail', account, folder, part);
    if (!existsSync(path)) continue;
    for (const name of readdirSync(path))
      subjects.push(/^Subject: (.*)$/m.exec(readFileSync(join(path, name), 'utf8'))?.[1].trim());
  }
  return subjects;
}

const count = (subjects, subject) => subjects.filter((each) => each === subject).length;

/** Writes and sends a message; resolves when the page has seen its window go. */
async function sendOne(page, message) {
  const known = new Set(page.models.compose.map((each) => each.window));
  const opened = (models) => models.compose.find((each) => !known.has(each.window));
  await page.call('compose.new', {});
  const { window, bodyRevision } = await page.when(opened);
  await page.call('compose.update', {
    window, account: message.from, to: [message.to], subject: message.subject, bodyHtml: `<div>${message.subject}</div>`, bodyRevision,
  });
  await page.call('compose.send', { window });
  await page.when((models) => {
    if (models.alerts.length > 0) throw new Error(`An alert: ${models.alerts[0].text}`);
    return !models.compose.some((each) => each.window === window);
  });
}

/** Sends until the program dies under it. */
async function sendUntilDead(host, next, acknowledged) {
  try {
    const page = await LivePage.open(await host.link());
    for (;;) {
      const message = next();
      await sendOne(page, message);
      acknowledged.push(message);
    }
  } catch (error) {
    if (!/connection was closed|socket hang up|ECONNRE|EPIPE|ENOENT/.test(String(error))) throw error;
  }
}

test(`nothing is lost and nothing leaves twice, however often the program is killed (${kills} times, seed ${seed})`, async (t) => {
  const chance = random(seed);
  const smtp = await startRecordingSmtp();
  t.after(() => smtp.close());
  const started = [];
  const acknowledged = [];
  const next = () => {
    const number = started.length + 1;
    const far = chance() < 0.5;
    const message = {
      number, far, subject: `Message number ${String(number).padStart(5, '0')}`,
      from: far ? 'relay' : 'mira', to: far ? 'far@away.example' : 'tobias@kill.example',
    };
    started.push(message);
    return message;
  };

  const host = await startHost(t, { args: ['--no-plugin'], prepare: (data) => writeAccounts(data, smtp.port) });
  for (let killed = 0; killed < kills; ++killed) {
    if (killed > 0) await host.start();
    const death = new Promise((done) => setTimeout(() => host.stop('SIGKILL').then(done), chance() * 900));
    await Promise.all([sendUntilDead(host, next, acknowledged), death]);
  }

  // A last start settles what can be settled; the rest is shown to the person as "perhaps sent".
  await host.start();
  const page = await LivePage.open(await host.link());
  await page.when(
    ({ taken, accounts }) =>
      taken.every((each) => each.delivery.state === 'inDoubt') &&
      accounts.every((account) => account.mailboxes.every((each) => each.kind !== 'outbox' || each.count === 0)),
  );
  const inDoubt = page.models.taken.map((each) => each.subject);
  page.close();
  assert.equal((await host.stop()).code, 0, host.errors);

  const inbox = subjectsIn(host.data, 'tobias', '');
  const recorded = smtp.received.map(({ content }) => /^Subject: (.*)$/m.exec(content)?.[1].trim());
  const sent = { mira: subjectsIn(host.data, 'mira', '.Sent'), relay: subjectsIn(host.data, 'relay', '.Sent') };
  const lost = acknowledged.filter(({ subject, far }) => count(far ? recorded : inbox, subject) + count(inDoubt, subject) === 0);
  const twice = started.filter(({ subject }) => count(inbox, subject) + count(recorded, subject) > 1);
  const copiedTwice = started.filter(({ subject, from }) => count(sent[from], subject) > 1);
  const withoutCopy = acknowledged.filter(({ subject, from }) => count(sent[from], subject) === 0 && count(inDoubt, subject) === 0);
  const drafts = ['mira', 'relay'].flatMap((account) => subjectsIn(host.data, account, '.Drafts'));
  const leftover = acknowledged.filter(({ subject }) => count(drafts, subject) > 0);
  t.diagnostic(
    `${kills} kills, ${started.length} messages begun, ${acknowledged.length} acknowledged; ${inbox.length} delivered here, ` +
      `${recorded.length} by the server, ${inDoubt.length} in doubt; ${lost.length} lost, ${twice.length} twice`,
  );
  assert.ok(acknowledged.length > kills / 4, 'hardly any message got through: the kills show nothing');
  const numbers = (messages) => messages.map(({ number }) => number);
  assert.deepEqual(numbers(lost), [], 'lost');
  assert.deepEqual(numbers(twice), [], 'delivered twice');
  assert.deepEqual(numbers(copiedTwice), [], 'two copies among the sent mail');
  assert.deepEqual(numbers(withoutCopy), [], 'no copy among the sent mail');
  assert.deepEqual(numbers(leftover), [], 'sent, and still a draft');
});
