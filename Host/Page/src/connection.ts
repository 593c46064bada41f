// The live connection: updates come in, calls go out and get one answer each. When it is lost the page tries again with
// growing pauses; after each connecting the host sends everything anew.
import { retryDelay } from './base/backOff';
import type { Calls } from './calls';
import type { ServerMessage, Value } from './protocol';
import { sessionIsKnown, socketProtocol } from './session';

export interface Listener {
  opened(): void;
  received(message: ServerMessage): void;
  lost(): void;
  sessionEnded(): void;
}

export class ConnectionLost extends Error {
  constructor() {
    super('The mail program does not answer. What you just did was not carried out.');
  }
}

interface Waiting {
  resolve(result: Value): void;
  reject(error: Error): void;
}

export class Connection {
  private socket: WebSocket | null = null;
  private readonly waiting = new Map<number, Waiting>();
  private lastCall = 0;
  private attempt = 0;
  private timer = 0;

  constructor(private readonly listener: Listener) {}

  connect(): void {
    window.clearTimeout(this.timer);
    this.socket?.close();
    const scheme = location.protocol === 'https:' ? 'wss:' : 'ws:';
    const socket = new WebSocket(`${scheme}//${location.host}/live`, socketProtocol());
    this.socket = socket;
    socket.onopen = () => {
      this.attempt = 0;
      this.listener.opened();
    };
    socket.onmessage = (event) => this.receive(String(event.data));
    socket.onclose = () => {
      if (this.socket === socket) void this.closed();
    };
  }

  /** Rejects with the host's sentence, or with ConnectionLost. */
  call<K extends keyof Calls>(call: K, args: Calls[K]): Promise<Value> {
    if (this.socket?.readyState !== WebSocket.OPEN) return Promise.reject(new ConnectionLost());
    const id = ++this.lastCall;
    this.socket.send(JSON.stringify({ id, call, args }));
    return new Promise((resolve, reject) => this.waiting.set(id, { resolve, reject }));
  }

  private receive(text: string): void {
    const message = JSON.parse(text) as ServerMessage;
    if (message.type === 'reply' || message.type === 'error') {
      const waiting = this.waiting.get(message.id);
      this.waiting.delete(message.id);
      if (message.type === 'reply') waiting?.resolve(message.result);
      else waiting?.reject(new Error(message.text));
      return;
    }
    this.listener.received(message);
  }

  private async closed(): Promise<void> {
    this.socket = null;
    for (const each of this.waiting.values()) each.reject(new ConnectionLost());
    this.waiting.clear();
    this.listener.lost();
    if ((await sessionIsKnown()) === 'no') {
      this.listener.sessionEnded();
      return;
    }
    this.timer = window.setTimeout(() => this.connect(), retryDelay(this.attempt++));
  }
}
