import { act } from '../actions';
import { download } from '../base/download';
import { Icon } from '../base/Icon';
import { describeSize } from '../base/size';
import { useStore } from '../base/Store';
import type { ComposeModel } from '../protocol';
import { uploads, type Upload } from './uploads';

interface Props {
  window: string;
  attachments: ComposeModel['attachments'];
  disabled: boolean;
}

export function ComposeAttachments({ window: owner, attachments, disabled }: Props) {
  // Pictures in the text are seen there.
  const listed = attachments.filter((attachment) => !attachment.inline);
  const underWay = useStore(uploads, ({ all }) => all).filter((each) => each.window === owner);
  if (listed.length + underWay.length === 0) return null;
  return (
    <ul class="attachments compose-attachments" aria-label="Attachments" data-anchor={`attachments:${owner}`}>
      {listed.map(({ id, name, type, size }) => (
        <li key={id} class="attachment">
          <Icon name={type.startsWith('image/') ? 'image' : 'file'} />
          <button
            type="button" class="attachment-name link-like" title={`Save a copy of ${name}`}
            onClick={() => download(`/compose/${owner}/attachments/${encodeURIComponent(id)}`, name)}
          >
            {name}
          </button>
          <span class="attachment-size">{describeSize(size)}</span>
          <button
            type="button" class="plain-button" aria-label={`Remove ${name}`} disabled={disabled}
            onClick={() => act('compose.removeAttachment', { window: owner, id })}
          >
            <Icon name="close" size={12} />
          </button>
        </li>
      ))}
      {underWay.map((each) => <UnderWay key={`upload-${each.id}`} {...each} />)}
    </ul>
  );
}

function UnderWay({ name, sent, total, stop }: Upload) {
  const part = total > 0 ? Math.min(sent / total, 1) : 1;
  return (
    <li class="attachment under-way">
      <Icon name="file" />
      <span class="attachment-name">{name}</span>
      <progress class="attachment-progress" aria-label={`Attaching ${name}`} value={part} max={1} />
      <span class="attachment-size" aria-hidden="true">{Math.floor(part * 100)}% of {describeSize(total)}</span>
      <button type="button" class="plain-button" aria-label={`Stop attaching ${name}`} onClick={stop}>
        <Icon name="close" size={12} />
      </button>
    </li>
  );
}
