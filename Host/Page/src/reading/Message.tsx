// One message: heading, notes about it, attachments, text.
import { useEffect, useState } from 'preact/hooks';
import { act, complain } from '../actions';
import { Icon } from '../base/Icon';
import { DeliveryLine } from '../list/DeliveryLine';
import type { Body, MessageModel } from '../protocol';
import { request } from '../session';
import { ui } from '../state';
import { Attachments } from './Attachments';
import { Banners } from './Banners';
import { BodyFrame } from './BodyFrame';
import { Conversation } from './Conversation';
import { Headers } from './Headers';
import { onPrint, printMessage } from './print';
import { RemotePictures } from './RemotePictures';

export function Message({ message }: { message: MessageModel }) {
  const [remote, setRemote] = useState(false);
  const [selecting, setSelecting] = useState(false);
  const { body, complete, failure } = useBody(message, remote);
  useEffect(() => {
    if (body?.remote === 'always' && body.remoteBlocked > 0) setRemote(true);
  }, [body]);
  const print = (): void => {
    if (body) printMessage(message, body);
  };
  useEffect(() => {
    onPrint('viewer', print);
    return () => onPrint('viewer', null);
  });
  return (
    <article class="message" aria-labelledby="message-subject">
      <div class="message-top">
        <div class="message-tools">
          {message.canEditDraft && (
            <button type="button" class="button default" onClick={() => act('message.open', { id: message.id })}>
              Edit draft
            </button>
          )}
          <button
            type="button" class="plain-button" title="Select a part of the text" aria-label="Select a part of the text"
            aria-pressed={selecting} disabled={!body} onClick={() => setSelecting(!selecting)}
          >
            <Icon name="select" />
          </button>
          <button
            type="button" class="plain-button" title="Print" aria-label="Print" disabled={!body}
            onClick={print}
          >
            <Icon name="print" />
          </button>
          <button
            type="button" class="plain-button" title="Show the source" aria-label="Show the source"
            onClick={() => ui.set({ source: message.id })}
          >
            <Icon name="source" />
          </button>
        </div>
        <h2 id="message-subject" class="message-subject" dir="auto" data-anchor="message:subject">
          {message.subject || 'No subject'}
        </h2>
        <Headers message={message} />
        <Banners banners={message.banners} />
        {message.conversation && message.conversation.length > 1 && (
          <Conversation rows={message.conversation} shown={message.id} />
        )}
        {message.damaged && <Note kind="warning" text={message.damaged} />}
        {message.delivery && (
          <div class="note">
            <DeliveryLine delivery={message.delivery} />
            {message.delivery.state === 'failed' && (
              <button type="button" class="small-button" onClick={() => act('message.tryAgain', { id: message.id })}>
                Try again
              </button>
            )}
          </div>
        )}
        {message.attachments.length > 0 && <Attachments id={message.id} attachments={message.attachments} />}
        {body && (
          <RemotePictures
            message={message} body={body} asked={remote} loading={!complete} onShow={() => setRemote(true)}
          />
        )}
      </div>
      {failure && <Note kind="warning" text={failure} />}
      {body && selecting && (
        <Note kind="info" text="Select what you need. Actions that take up the text of this message now take the part that you select." />
      )}
      {body && <BodyFrame message={message.id} body={body} subject={message.subject} selecting={selecting} />}
      {!body && !failure && <p class="body-loading" role="status">{message.waiting ?? 'Loading…'}</p>}
    </article>
  );
}

function Note({ kind, text }: { kind: 'warning' | 'info'; text: string }) {
  return (
    <div class={`note ${kind}`} role="note">
      <Icon name={kind} />
      <p>{text}</p>
    </div>
  );
}

interface Shown {
  body: Body | null;
  complete: boolean; // it is the answer to what was asked last
  failure: string;
}

function useBody(message: MessageModel, remote: boolean): Shown {
  const [body, setBody] = useState<Body | null>(null);
  const [complete, setComplete] = useState(false);
  const [failure, setFailure] = useState('');
  const isHere = message.waiting === undefined;
  useEffect(() => {
    if (!isHere) return;
    let wanted = true;
    setFailure('');
    setComplete(false);
    request(`/messages/${message.id}/body?remote=${remote ? 1 : 0}`)
      .then((answer) => answer.json())
      .then((found) => wanted && setBody(found as Body))
      .catch((error: unknown) => {
        if (!wanted) return;
        // The text without pictures stays when only the pictures could not be had.
        if (remote) complain(error);
        else setFailure(error instanceof Error ? error.message : String(error));
      })
      .finally(() => wanted && setComplete(true));
    return () => {
      wanted = false;
    };
  }, [message.id, remote, isHere]);
  return { body, complete, failure };
}
