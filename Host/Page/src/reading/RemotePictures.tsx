// The bar over a message that names pictures on the web: they are not loaded until the person wants to see them.
import { act } from '../actions';
import { Icon } from '../base/Icon';
import type { Body, MessageModel } from '../protocol';

interface RemotePicturesProps {
  message: MessageModel;
  body: Body;
  asked: boolean; // the person, or a rule for the sender, wanted to see them
  loading: boolean;
  onShow(): void;
}

export function RemotePictures({ message, body, asked, loading, onShow }: RemotePicturesProps) {
  if (body.remoteBlocked === 0) return null;
  const isJunk = body.remote === 'never';
  const always = (): void => {
    act('message.alwaysShowPictures', { id: message.id });
    onShow();
  };
  return (
    <div class="note remote-note" role="group" aria-label="Remote pictures">
      <Icon name="image" />
      <p role="status">{sentence(body, asked, loading)}</p>
      {!asked && !isJunk && (
        <span class="note-buttons">
          <button type="button" class="small-button" onClick={onShow}>Show pictures</button>
          {message.fromAddress && (
            <button type="button" class="small-button" title={message.fromAddress} onClick={always}>
              Always for this sender
            </button>
          )}
        </span>
      )}
    </div>
  );
}

function sentence(body: Body, asked: boolean, loading: boolean): string {
  if (body.remote === 'never') return 'Remote pictures are not shown. In junk they never are.';
  if (!asked) return 'Remote pictures are not shown.';
  if (loading) return 'Loading pictures…';
  return body.remoteBlocked === 1 ? '1 picture could not be loaded.' : `${body.remoteBlocked} pictures could not be loaded.`;
}
