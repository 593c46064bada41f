// A status item and the list that it opens, for the mock host.
const button = (id, title, image, more = {}) => ({ id, title, image, ...more });
const rowOf = (id, title, detail, more = {}) => ({
  id, kind: 'item', height: 84, title, detail, text: 'What stands at the beginning of the message, over as many lines as were asked for.', textLines: 2,
  date: '10:05', dateLong: 'Monday, 23 November 2026 at 10:05', icons: [],
  marks: [button('read', 'Mark as read', 'dot', { on: false }), button('flag', 'Flag', 'unflagged', { hasMenu: true, forPointedAt: true })],
  controls: [
    [button('reply', 'Reply', 'reply'), button('forward', 'Forward', 'forward')],
    [button('archive', 'Archive', 'TB_ArchiveTemplate'), button('junk', 'Junk', 'TB_JunkTemplate')],
  ],
  leading: [{ id: 'toRead', title: 'Mark as read', colour: '#2AAEF5' }],
  trailing: [{ id: 'toArchive', title: 'Archive', colour: '#4273A3' }],
  opens: true, unread: true, ...more,
});
const heading = (id, title, detail) => ({
  id, kind: 'heading', height: 24, title, detail, icons: [], marks: [], leading: [], trailing: [],
  controls: [[button('down', 'Move down', 'down'), button('hide', 'Hide this mailbox', 'close')]],
});

export const statusItem = { id: 'status:1', title: 'Small inbox', image: 'inbox' };
export const listPopover = {
  identifier: 'small', anchor: 'status:1', edge: 1, text: '', buttons: [], buttonIcons: [],
  list: {
    title: 'Small inbox',
    bar: [button('check', 'Get new mail', 'refresh'), button('unread', 'Only unread messages', 'unread', { on: true }), button('add', 'Add a mailbox', 'plus', { hasMenu: true })],
    rows: [
      heading('work', 'Inbox', 'Work'),
      rowOf('a', 'Ada Lovelace', 'Notes on the engine', { important: true, icons: [{ image: 'MessageListReplyTemplate', label: 'Replied to', size: 16 }] }),
      rowOf('b', 'Ben Nevis', 'A walk', { unread: undefined, marks: [button('read', 'Mark as unread', 'ring', { on: true }), button('flag', 'Flag', 'flagged', { hasMenu: true, colour: '#4DBD2E' })] }),
      heading('lists', 'Lists', 'Work'),
      { id: 'none', kind: 'note', height: 24, title: 'No messages in last 7 days', icons: [], marks: [], controls: [], leading: [], trailing: [] },
    ],
  },
};
export const flagItems = [
  { id: '0', title: 'Red', enabled: true, image: 'flagged', imageColour: '#FC3D39' },
  { id: '1', title: 'Green', enabled: true, state: 1, image: 'flagged', imageColour: '#4DBD2E' },
  { id: '2', title: '', separator: true },
  { id: '3', title: 'None', enabled: true, image: 'unflagged' },
];
