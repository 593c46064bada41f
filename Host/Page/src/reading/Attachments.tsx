import { download } from '../base/download';
import { Icon } from '../base/Icon';
import { describeSize } from '../base/size';
import type { AttachmentModel, Id } from '../protocol';

/** The type of data that a dragged attachment carries: an AttachmentModel, and "message" with its message's id. */
export const attachmentType = 'application/x-quillstead-attachment';

export function Attachments({ id, attachments }: { id: Id; attachments: AttachmentModel[] }) {
  return (
    <ul class="attachments" aria-label="Attachments">
      {attachments.map((attachment) => (
        <li key={attachment.part}>
          <button
            type="button" class="attachment" title={`Save ${attachment.name} (${attachment.type})`} draggable
            onDragStart={(event) => {
              event.dataTransfer?.setData(attachmentType, JSON.stringify({ message: id, ...attachment }));
              if (event.dataTransfer) event.dataTransfer.effectAllowed = 'copy';
            }}
            onClick={() => download(`/messages/${id}/parts/${encodeURIComponent(attachment.part)}`, attachment.name)}
          >
            <Icon name={attachment.type.startsWith('image/') ? 'image' : 'file'} />
            <span class="attachment-name">{attachment.name || 'Unnamed'}</span>
            <span class="attachment-size">{describeSize(attachment.size)}</span>
            <Icon name="download" size={14} />
          </button>
        </li>
      ))}
    </ul>
  );
}
