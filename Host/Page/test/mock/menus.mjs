// The menus and toolbars of the mock host.
const line = { title: '', separator: true };
const item = (title, key, modifiers, more = {}) => ({ title, enabled: true, ...(key ? { key, modifiers } : {}), ...more });
const both = ['option', 'command'];

function numbered(items, prefix = '') {
  return items.map((each, index) => ({
    ...each, id: `${prefix}${index}`,
    ...(each.submenu ? { submenu: numbered(each.submenu, `${prefix}${index}.`) } : {}),
  }));
}

const flags = ['Red', 'Orange', 'Yellow', 'Green', 'Blue', 'Purple', 'Grey'].map((name, index) => item(name, '', [], { state: index === 0 ? 1 : 0 }));
const dated = (title, date) => item(`${title} (${date})`, '', [], { faintEnd: ` (${date})` });
const picker = {
  identifier: 'CustomDate', title: '', buttons: [],
  groups: [{ title: '', controls: [{ id: 'date', kind: 'dateTime', label: 'Custom Date', enabled: true, value: { $date: 1795500000 } }] }],
};
const snooze = [
  item('Snooze until', '', [], { heading: true }), dated('+1 hour', 'Today, 11:00'), dated('Tomorrow morning', 'Tomorrow, 09:00'),
  dated('+1 month', '22/12/2026, 09:00'), line, item('Custom Date', '', [], { form: picker }), dated('Use custom date', '24/11/2026, 03:20'),
];

export const mainMenu = numbered([
  item('Mail', '', [], { submenu: [item('About this program'), line, item('Preferences…', ',', ['command']), line, item('Quit', 'q', both)] }),
  item('File', '', [], { submenu: [item('New Message', 'n', both), item('New Mailbox…'), line, item('Open', 'o', both), item('Save Draft', 's', ['command'], { enabled: false }), line, item('Print…', 'p', both)] }),
  item('Edit', '', [], { submenu: [item('Undo Move', 'z', ['command']), item('Select All Messages'), line, item('Find…', 'f', ['shift', 'command'])] }),
  item('View', '', [], { submenu: [item('Next Message', 'ArrowDown', ['option']), item('Previous Message', 'ArrowUp', ['option']), line, item('Message Source', 'u', both)] }),
  item('Mailbox', '', [], { submenu: [item('Get New Mail', 'm', both), line, item('Mark All as Read')] }),
  item('Message', '', [], {
    submenu: [
      item('Send', 'Enter', ['command'], { enabled: false }), line, item('Reply', 'r', both), item('Reply All', 'r', ['shift', ...both]), item('Forward', 'f', both), line,
      item('Snooze', '', [], { submenu: snooze }), item('Flag', '', [], { submenu: flags }), line,
      item('Archive', 'a', both), item('Junk', 'j', both), item('Move to Trash', 'Delete', []),
    ],
  }),
  item('Window', '', [], { submenu: [item('Message Viewer', '0', both)] }),
  item('Help', '', [], { submenu: [item('Keyboard Shortcuts')] }),
]);

export const contextMenu = numbered([
  item('Open'), line, item('Reply'), item('Reply All'), item('Forward'), line, item('Mark as Unread'),
  item('Flag', '', [], { submenu: flags }), item('Snooze', '', [], { submenu: snooze }), line, item('Archive'), item('Junk'), item('Move to Trash'),
]);

const tool = (identifier, label, image, more = {}) => ({ kind: 'item', identifier, label, image, toolTip: label, enabled: true, ...more });
const space = { kind: 'space', identifier: 'NSToolbarSpaceItem', label: '', toolTip: '', image: '', enabled: true };
const flexible = { ...space, kind: 'flexibleSpace', identifier: 'NSToolbarFlexibleSpaceItem' };

export const viewerToolbar = [
  tool('showComposeWindow:', 'New', 'compose'), tool('replyMessage:', 'Reply', 'reply'), tool('replyAllMessage:', 'Reply All', 'replyAll'),
  tool('forwardMessage:', 'Forward', 'forward'), space, tool('Snooze', 'Snooze', 'plugin:TB_Snooze1', { hasMenu: true, toolTip: 'Snooze message.' }),
  tool('archiveMessages:', 'Archive', 'archive'), tool('junkMessages:', 'Junk', 'junk', { enabled: false }), tool('deleteMessages:', 'Trash', 'trash'),
  tool('FlaggedStatus', 'Flag', 'flag', { hasMenu: true }), flexible, tool('checkNewMail:', 'Get Mail', 'getMail'),
];

export const composeToolbar = [
  tool('send:', 'Send', 'send'), tool('SendLater', 'Schedule', 'plugin:TB_SendLaterTemplate', { toolTip: 'Schedule this email to be sent later.' }),
  space, tool('insertFile:', 'Attach', 'attach'), tool('orderFrontCharacterPalette:', 'Symbols', 'emoji'),
];

const toolbarMenus = { Snooze: numbered(snooze), FlaggedStatus: numbered(flags) };

/** A toolbar item's menu; what was set in a form is seen in it. */
export const toolbarMenu = (identifier, date) => toolbarMenus[identifier].map((each) =>
  each.form && date ? { ...each, form: { ...picker, groups: [{ title: '', controls: [{ ...picker.groups[0].controls[0], value: date }] }] } } : each);
