// A server of the test's own that is like Gmail's (Tests/Support/GmailServer.h), and an account there. Ends with the
// test, which fails when the program said something that Gmail would not take.
//
//     const gmail = await startGmail(t);
//     const number = await gmail.ask('deliver', 'Paper', 'INBOX,Mills');
//     const host = await startHost(t, { args: ['--no-plugin'], prepare: gmail.writeAccount });
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

export async function startGmail(t) {
  const child = spawn(join(process.env.QS_BUILD_DIR, 'tests', 'gmail-server'), { stdio: ['pipe', 'pipe', 'pipe'] });
  const ended = once(child, 'close');
  let complaints = '';
  child.stderr.setEncoding('utf8').on('data', (text) => (complaints += text));
  const lines = createInterface({ input: child.stdout })[Symbol.asyncIterator]();
  t.after(async () => {
    child.stdin.end();
    const [code] = await ended;
    assert.equal(code, 0, complaints);
  });
  const next = async () => {
    const { value, done } = await lines.next();
    if (done) throw new Error(`The server ended: ${complaints}`);
    return value;
  };
  const port = Number((await next()).replace('port ', ''));
  return {
    port,
    /** One question, and its answer; the server's header says which there are. */
    async ask(...words) {
      child.stdin.write(`${words.join('\t')}\n`);
      const answer = await next();
      assert.notEqual(answer, 'not understood');
      return answer;
    },
    /** Makes the account of Ada, "ada", before the program starts. */
    writeAccount(data) {
      mkdirSync(data, { recursive: true, mode: 0o700 });
      writeFileSync(join(data, 'Accounts.plist'), `<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
<key>Accounts</key><array><dict>
<key>Identifier</key><string>ada</string><key>DisplayName</key><string>Ada</string><key>Kind</key><string>imap</string>
<key>FullName</key><string>Ada Lovelace</string><key>Addresses</key><array><string>ada@example.org</string></array>
<key>Incoming</key><dict><key>Host</key><string>127.0.0.1</string><key>Port</key><integer>${port}</integer>
<key>Security</key><string>none</string><key>User</key><string>ada</string>
<key>PasswordCommand</key><array><string>/bin/echo</string><string>analytical</string></array></dict>
</dict></array></dict></plist>`, { mode: 0o600 });
    },
  };
}
