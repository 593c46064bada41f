// A mail server that keeps what it accepts: [{ recipients, content }]. It forgets nothing when the other side dies, and
// answers the final dot only after it has kept the message, as servers do. `answers` to recipients may be changed any time:
// { 'eve@example.net': '550 5.1.1 Nobody of that name' }.
import { once } from 'node:events';
import { createServer } from 'node:net';

export async function startRecordingSmtp({ answers = {} } = {}) {
  const received = [];
  const server = createServer((socket) => {
    let mode = 'commands';
    let rest = '';
    let recipients = [];
    let lines = [];
    const say = (line) => socket.writable && socket.write(`${line}\r\n`);
    const command = (line) => {
      const word = line.split(/[ :]/)[0].toUpperCase();
      if (word === 'EHLO' || word === 'HELO') return say('250 recorder.example');
      if (word === 'RCPT') {
        const recipient = /<([^>]*)>/.exec(line)?.[1] ?? line;
        if (answers[recipient]) return say(answers[recipient]);
        recipients.push(recipient);
      }
      if (word === 'DATA') {
        mode = 'data';
        return say('354 Go on');
      }
      if (word === 'QUIT') {
        say('221 Bye');
        return socket.end();
      }
      if (!['MAIL', 'RCPT', 'RSET', 'NOOP'].includes(word)) return say('502 Not here');
      if (word === 'MAIL' || word === 'RSET') recipients = [];
      return say('250 Fine');
    };
    const dataLine = (line) => {
      if (line !== '.') return lines.push(line.startsWith('.') ? line.slice(1) : line);
      received.push({ recipients, content: lines.join('\r\n') });
      mode = 'commands';
      lines = [];
      return say('250 Kept');
    };
    socket.on('error', () => undefined);
    socket.setEncoding('utf8').on('data', (part) => {
      rest += part;
      for (let end = rest.indexOf('\r\n'); end >= 0; end = rest.indexOf('\r\n')) {
        const line = rest.slice(0, end);
        rest = rest.slice(end + 2);
        if (mode === 'data') dataLine(line);
        else command(line);
      }
    });
    say('220 recorder.example');
  });
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  return { port: server.address().port, received, answers, close: () => server.close() };
}
