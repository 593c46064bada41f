import type { MessageRow } from '../protocol';

const flagNames = ['red', 'orange', 'yellow', 'green', 'blue', 'purple', 'grey'];

/** What a screen reader says for a row: the small pictures in words, most telling first. */
export function describeRow(row: MessageRow): string {
  const parts = [
    row.unread && 'Unread',
    row.count && `Conversation of ${row.count} messages`,
    row.from,
    row.subject || 'No subject',
    row.place && `in ${row.place}`,
    row.dateLong || row.date,
    row.flagged && `Flagged ${flagNames[row.colour] ?? ''}`.trim(),
    row.answered && 'Answered',
    row.forwarded && 'Forwarded',
    row.attachments > 0 && (row.attachments === 1 ? '1 attachment' : `${row.attachments} attachments`),
    ...row.icons.map((icon) => icon.label),
    !row.delivery && row.snippet,
  ];
  return parts.filter(Boolean).join(', ');
}
