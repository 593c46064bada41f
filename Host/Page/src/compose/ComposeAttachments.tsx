import { act } from '../actions';
import { download } from '../base/download';
import { Icon } from '../base/Icon';
import { describeSize } from '../base/size';
import type { ComposeModel } from '../protocol';

interface Props {
  window: string;
  attachments: ComposeModel['attachments'];
  disabled: boolean;
}

export function ComposeAttachments({ window: owner, attachments, disabled }: Props) {
  // Pictures in the text are seen there.
  const listed = attachments.filter((attachment) => !attachment.inline);
  if (listed.length === 0) return null;
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
    </ul>
  );
}
