// As much of a WebSocket server as the mock host needs: unfragmented text frames under 2^31 bytes (RFC 6455).
import { createHash } from 'node:crypto';

export function acceptSocket(request, socket, onText, onClose) {
  const accept = createHash('sha1')
    .update(`${request.headers['sec-websocket-key']}258EAFA5-E914-47DA-95CA-C5AB0DC85B11`)
    .digest('base64');
  const lines = ['HTTP/1.1 101 Switching Protocols', 'Upgrade: websocket', 'Connection: Upgrade'];
  lines.push(`Sec-WebSocket-Accept: ${accept}`, `Sec-WebSocket-Protocol: ${request.headers['sec-websocket-protocol']}`);
  socket.write(`${lines.join('\r\n')}\r\n\r\n`);

  let buffer = Buffer.alloc(0);
  socket.on('data', (data) => {
    buffer = Buffer.concat([buffer, data]);
    for (let frame = takeFrame(buffer); frame; frame = takeFrame(buffer)) {
      buffer = buffer.subarray(frame.length);
      if (frame.opcode === 1) onText(frame.payload.toString('utf8'));
      if (frame.opcode === 8) socket.end();
      if (frame.opcode === 9) socket.write(makeFrame(10, frame.payload));
    }
  });
  socket.on('error', () => socket.destroy());
  socket.on('close', onClose);
  return { send: (text) => socket.write(makeFrame(1, Buffer.from(text))), close: () => socket.destroy() };
}

function takeFrame(buffer) {
  if (buffer.length < 2) return null;
  let at = 2;
  let length = buffer[1] & 127;
  if (length === 126) {
    if (buffer.length < 4) return null;
    length = buffer.readUInt16BE(2);
    at = 4;
  } else if (length === 127) {
    if (buffer.length < 10) return null;
    length = Number(buffer.readBigUInt64BE(2));
    at = 10;
  }
  if (buffer.length < at + 4 + length) return null;
  const mask = buffer.subarray(at, at + 4);
  const payload = Buffer.from(buffer.subarray(at + 4, at + 4 + length));
  for (let i = 0; i < length; ++i) payload[i] ^= mask[i & 3];
  return { opcode: buffer[0] & 15, payload, length: at + 4 + length };
}

function makeFrame(opcode, payload) {
  const { length } = payload;
  const head = Buffer.alloc(length < 126 ? 2 : length < 65536 ? 4 : 10);
  head[0] = 128 | opcode;
  if (length < 126) head[1] = length;
  else if (length < 65536) {
    head[1] = 126;
    head.writeUInt16BE(length, 2);
  } else {
    head[1] = 127;
    head.writeBigUInt64BE(BigInt(length), 2);
  }
  return Buffer.concat([head, payload]);
}
