// A real IMAP server (Dovecot) of the test's own, on a loopback port, without TLS: { port, maildir }. Run by root it
// works as its own user. Ends with the test.
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { chmodSync, mkdirSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { join } from 'node:path';
import { temporaryFolder } from './host.mjs';

async function freePort() {
  const server = createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const { port } = server.address();
  server.close();
  await once(server, 'close');
  return port;
}

const idOf = (user, flag) => execFileSync('id', user ? [flag, user] : [flag], { encoding: 'utf8' }).trim();

export async function startDovecot(t, { user = 'ada', password = 'analytical' } = {}) {
  const folder = temporaryFolder(t);
  const port = await freePort();
  const asRoot = process.getuid() === 0;
  const runAs = asRoot ? 'dovecot' : '';
  const [name, group] = [idOf(runAs, '-un'), idOf(runAs, '-gn')];
  const [uid, gid] = [Number(idOf(runAs, '-u')), Number(idOf(runAs, '-g'))];
  writeFileSync(join(folder, 'users'), `${user}:{PLAIN}${password}::::::\n`);
  writeFileSync(join(folder, 'dovecot.conf'), `base_dir = ${folder}/run
state_dir = ${folder}/state
log_path = /dev/stderr
protocols = imap
listen = 127.0.0.1
default_internal_user = ${name}
default_internal_group = ${group}
default_login_user = ${name}
ssl = no
disable_plaintext_auth = no
auth_failure_delay = 0
auth_mechanisms = plain login
passdb {
  driver = passwd-file
  args = ${folder}/users
}
userdb {
  driver = static
  args = uid=${uid} gid=${gid} home=${folder}/home/%u
}
first_valid_uid = 1
first_valid_gid = 1
mail_location = maildir:~/Maildir
namespace inbox {
  inbox = yes
}
service anvil {
  chroot =
  unix_listener anvil-auth-penalty {
    mode = 0
  }
}
service imap-login {
  chroot =
  inet_listener imap {
    port = ${port}
  }
  inet_listener imaps {
    port = 0
  }
}
`);
  mkdirSync(join(folder, 'home'));
  if (asRoot) execFileSync('chown', ['-R', `${uid}:${gid}`, folder]);
  chmodSync(folder, 0o700);
  const child = spawn('/usr/sbin/dovecot', ['-F', '-c', join(folder, 'dovecot.conf')], {
    stdio: ['ignore', 'ignore', 'pipe'], ...(asRoot ? { uid, gid } : {}),
  });
  let said = '';
  child.stderr.setEncoding('utf8');
  const ended = once(child, 'exit');
  t.after(async () => {
    child.kill('SIGTERM');
    await ended;
  });
  await new Promise((done, fail) => {
    child.stderr.on('data', (part) => {
      said += part;
      if (said.includes('starting up')) done();
    });
    void ended.then(() => fail(new Error(`Dovecot did not start: ${said}`)));
  });
  return { port, maildir: join(folder, 'home', user, 'Maildir') };
}
