// What the page asks of the host: {id, call, args}. Every call gets one reply or error with its id.
import type { Id, MenuPlace, Value } from './protocol';

export interface Calls {
  'app.active': { active: boolean }; // the page got or lost the focus
  'app.modifiers': { flags: number }; // the modifier keys that are down now; only where the host watches them
  'app.dismissNotice': { id: number };
  'menu.choose': MenuPlace & { item: string }; // by id; validated again by the host
  'menu.set': MenuPlace & { item: string; control: string; value: Value }; // replies MenuAnswer
  'menu.press': MenuPlace & { item: string; press: number }; // a button of an item's form, by index; likewise
  'menu.validate': Record<string, never>; // before a menu opens: fresh enabled states come as an update
  'context.open': { ids: Id[] }; // replies {items: MenuItemModel[]}
  'person.open': { person: string }; // the menu of somebody, by display form; replies as context.open
  'people.pictures': { addresses: string[] }; // at most 200; replies {pictures: {<address>: data URL, or "" for none yet}}
  'toolbar.choose': { window: string; identifier: string };
  'toolbar.menu': { window: string; identifier: string }; // replies {items: MenuItemModel[]}
  'mailbox.select': { id: string };
  'mailbox.menu': { id: string }; // as context.open
  'mailbox.rename': { id: string; name: string }; // a path
  'mailbox.create': { account: string; name: string };
  'account.sync': { account: string };
  'list.window': { offset: number; limit: number };
  'message.selectText': { id: Id; html: string }; // of the message that is read; empty: nothing is selected
  'list.select': { ids: Id[] }; // replies nothing; "message" follows
  'list.open': { id: Id; open: boolean }; // a conversation: its messages below it
  'list.search': { text: string };
  'message.open': { id: Id }; // a double click: drafts open for editing
  'message.showInConversation': { id: Id }; // of "conversation"
  'message.setFlags': { ids: Id[]; seen?: boolean; flagged?: boolean; colour?: number };
  'message.alwaysShowPictures': { id: Id }; // those on the web, of whoever sent this message
  'message.move': { ids: Id[]; mailbox: string };
  'banner.press': { button: string }; // of the selected message, by id
  'message.undoMove': { number: number }; // of viewer.lastMove
  'message.tryAgain': { id: Id }; // in an outbox
  'message.resolveDoubt': { uniqueID: string; choice: 'sendAgain' | 'markSent' };
  'compose.new': { to?: string[] };
  'compose.update': {
    window: string;
    account?: string; to?: string[]; cc?: string[]; bcc?: string[]; subject?: string;
    bodyHtml?: string; bodyRevision?: number; plainText?: boolean;
  };
  'compose.send': { window: string }; // send every update first; the toolbar item "send" does the same
  'compose.close': { window: string; keep: 'save' | 'discard' | 'ask' };
  'compose.uploads': { window: string; names: string[] }; // the files that the window is still to get from this page
  'compose.front': { window: string }; // "" when the viewer is in front
  'compose.removeAttachment': { window: string; id: string };
  'compose.control': { window: string; row: string; control: string; value: Value };
  'sheet.set': { window: string; form: string; control: string; value: Value };
  'sheet.button': { window: string; form: string; button: number; title: string }; // refused when another stands there
  'alert.answer': { id: number; button: number; suppression: boolean };
  'popover.button': { identifier: string; button: number };
  'popover.close': { identifier: string };
  'popover.press': { identifier: string; row: string; button: string }; // of its list; an empty row is the bar
  'popover.menu': { identifier: string; row: string; button: string }; // replies {items: MenuItemModel[]}
  'popover.open': { identifier: string; row: string };
  'status.choose': { id: string };
  'preferences.show': { module?: string };
  'preferences.set': { control: string; value: Value };
  'preferences.close': Record<string, never>;
  'addresses.complete': { prefix: string }; // replies {addresses: string[]}, best first, at most 8
}
