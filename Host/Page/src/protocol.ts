// What the page and the host say to each other. The host describes models (menus, toolbars, lists, forms); the page draws
// whatever arrives and sends back what the person did (calls.ts). Host/Server is the other side: change both together.
//
// HTTP, all on loopback:
//   GET  /                      the page (and its files)
//   POST /session               {"ticket"}: the single-use ticket from the start link's fragment (/#start=<ticket>);
//                               sets the cookie and answers {"token"}. Everything below needs the cookie and the token:
//                               as the header X-Quillstead-Token, or, for the WebSocket, as the subprotocol "qs.<token>"
//   GET  /live                  the WebSocket
//   GET  /messages/<id>/body?remote=0|1     Body; 1: with the pictures that it names on the web, which the host fetches
//   GET  /messages/<id>/source              text/plain
//   GET  /messages/<id>/parts/<part>        an attachment, as a download
//   POST /compose/<window>/attachments      the file as the body; its name, percent-encoded, as X-File-Name;
//                                           X-Inline: 1 for a picture that was pasted into the text. Answers {"id"}
//   GET  /compose/<window>/attachments/<id> its content, as a download
//   GET  /images/<name>         SVG pictures of the program and its plug-ins ("plugin:TB_SendLaterTemplate")

export type Id = number; // a message's library id; below zero: a conversation's row

export interface MenuItemModel {
  id: string; // for "menu.choose"; path of indexes, such as "5.3"
  title: string;
  separator?: boolean;
  enabled?: boolean;
  state?: number; // 1: ticked
  key?: string; // one character or a name such as "Delete", "ArrowUp"
  // Keys without command, control and option count only while no text is being edited.
  modifiers?: ('shift' | 'control' | 'option' | 'command')[]; // command is Ctrl (or Cmd) in the page
  toolTip?: string;
  image?: string;
  imageColour?: string; // "#AABBCC"; else that of the title
  submenu?: MenuItemModel[];
  faintEnd?: string; // of the title: its end that is drawn fainter
  heading?: boolean; // stands over what follows and cannot be chosen
  indentation?: number; // how far the title is set in
  form?: FormModel; // in place of the title; what is set in it goes to "menu.set"
}

/** What an open menu shows next. */
export interface MenuAnswer {
  items?: MenuItemModel[];
  close?: boolean;
}

/** Where a menu hangs, for "menu.choose" and the like. */
export type MenuPlace =
  | { menu: 'main' | 'context' }
  | { menu: 'toolbar'; window: string; identifier: string }
  | { menu: 'popover'; identifier: string; row: string; button: string };

export interface ToolbarItemModel {
  identifier: string;
  label: string;
  toolTip: string;
  image: string;
  enabled: boolean;
  hasMenu?: boolean; // which "toolbar.menu" answers
  kind: 'item' | 'space' | 'flexibleSpace';
}

export type Value = null | boolean | number | string | Value[] | { [key: string]: Value };
// Dates travel as {"$date": seconds since 1970}.

export interface FormOptionModel {
  title: string;
  value: Value;
  image?: string;
  separator?: boolean;
  controls?: string[];
  detail?: string;
  state?: string;
  stateColor?: string;
  facts?: { image: string; text: string }[]; // of a table's row, between its title and its detail
}
export interface FormControlModel {
  id: string;
  kind:
    | 'text' | 'textField' | 'secret' | 'number' | 'checkBox' | 'popUp' | 'segmented' | 'radio' | 'dateTime' | 'timeOfDay'
    | 'shortcut' | 'textList' | 'tokens' | 'richText' | 'list' | 'table' | 'button' | 'separator';
  label: string;
  toolTip?: string;
  placeholder?: string;
  error?: string; // what is wrong with the value
  value: Value;
  enabled: boolean;
  hidden?: boolean;
  // controls: of a radio's option, by id, the controls of the same group that stand in its line
  // detail, state: of a list's row, a second line, and a word about its state with its colour ("#AABBCC")
  options?: FormOptionModel[];
  controls?: string[]; // of a list, by id, the controls of the same group that stand below it in a row
  rowButton?: { title: string; image: string }; // of a table: the button in each row; its value goes to the host
  earliest?: Value; // of a dateTime
  minimum?: number;
  maximum?: number;
  step?: number;
  unit?: string;
}
export interface FormModel {
  identifier: string;
  title: string;
  message?: string;
  groups: { title: string; note?: string; controls: FormControlModel[] }[];
  buttons: { title: string; isDefault?: boolean; isCancel?: boolean; enabled?: boolean }[];
  firstResponder?: string; // the control that gets the keys when the form is shown
  refusals?: number; // how often what was entered was not accepted
  shownGroup?: string; // the title of the group that is brought into sight
}

export interface AlertModel {
  id: number;
  window: string; // a sheet of that window; empty: of the application
  title: string;
  text: string;
  icon?: string;
  buttons: string[]; // the first is the default
  cancel: number; // the button that Escape presses
  suppression?: boolean; // with a check box "Do not show this message again", ticked at first or not
}
export interface PopoverModel {
  identifier: string;
  anchor: string; // "toolbar:<window>:<item identifier>", "title:<window>", "preferences:<item>", ...
  edge: number; // 0 left, 1 below, 2 right, 3 above
  text: string;
  image?: string;
  countdown?: string;
  buttons: string[];
  buttonIcons: string[];
  form?: FormModel;
  list?: RowListModel;
}

/** A button of a list in a popover. */
export interface RowButtonModel {
  id: string; // unique in its row
  title: string;
  image?: string;
  colour?: string; // "#AABBCC", of the picture, or of what a swipe uncovers
  on?: boolean; // of a switch
  destructive?: boolean;
  forPointedAt?: boolean; // in sight only while its row is pointed at or has the focus
  hasMenu?: boolean; // which "popover.menu" answers
}
export interface ListRowModel {
  id: string;
  kind: 'heading' | 'item' | 'note';
  height: number; // at least
  title: string;
  detail?: string;
  text?: string;
  textLines?: number; // of text, at most
  picture?: string; // a data URL
  date?: string;
  dateLong?: string;
  unread?: boolean;
  important?: boolean;
  icons: StatusIcon[];
  marks: RowButtonModel[]; // the first stands before the row
  controls: RowButtonModel[][]; // in groups; while the row is pointed at or has the focus
  leading: RowButtonModel[]; // uncovered by a swipe from that edge
  trailing: RowButtonModel[];
  opens?: boolean; // by a double click or Return
}
export interface RowListModel {
  title: string;
  bar: RowButtonModel[];
  rows: ListRowModel[];
}
/** An item at the end of the title bar. */
export interface StatusItemModel {
  id: string; // also its anchor
  title: string;
  image: string;
}

export interface MailboxModel {
  id: string;
  name: string; // of its own level
  path: string; // of all levels, parted by "/"
  // group: a level that is no mailbox itself, and only holds some
  kind: 'inbox' | 'drafts' | 'outbox' | 'sent' | 'archive' | 'junk' | 'trash' | 'user' | 'group';
  depth: number;
  unread: number;
  count: number;
  badge: number; // beside its name; 0: none
  image: string; // empty: the one of its kind
  takesDrops: boolean; // of messages; and, where mailboxes can be put into it at all, of those
}
/** How an account stands with its mail server and its folders, when there is something to tell. */
export interface SyncModel {
  text: string;
  done: number;
  total: number; // messages to be fetched or read; 0: nothing to be counted
  canRetry: boolean;
}
export interface AccountModel {
  id: string;
  name: string;
  address: string;
  sync?: SyncModel;
  mailboxes: MailboxModel[];
}

export interface Delivery {
  state: 'waiting' | 'sending' | 'failed' | 'inDoubt';
  attempts: number;
  lastAnswer: string; // a sentence; empty before the first attempt
  reachedSome: boolean; // the others are waited for
  until?: string; // waiting: held until then; failed: tried again then; a text
}
export interface StatusIcon {
  image: string;
  label: string;
  size: number; // points
}
/** Somebody whose picture stands beside a name. The picture itself is asked for by "people.pictures". */
export interface PersonModel {
  address: string; // in lower case
  initials: string; // stand for the picture until it is there, or for good
}

/** A message; in a list grouped by conversation also a conversation of several, with what is so of any of them. */
export interface MessageRow {
  id: Id; // of a conversation below zero; wherever ids are asked for, it stands for all of its messages
  count?: number; // of a conversation: its messages
  open?: boolean; // likewise: they stand below it
  parent?: Id; // of a message below an open conversation: that row
  from: string; // display name, or the recipients in Sent, Drafts and Outbox
  person?: PersonModel; // the first of them, where the person wants pictures
  subject: string;
  snippet: string;
  place?: string; // the mailbox that it lies in, where that is not the shown one
  date: string; // as the list shows it
  dateLong: string;
  unread: boolean;
  answered: boolean;
  forwarded: boolean;
  flagged: boolean;
  colour: number;
  attachments: number;
  icons: StatusIcon[]; // what plug-ins add
  ground?: string; // the row's colour, "#AABBCC"
  delivery?: Delivery;
}
export interface ListModel {
  mailbox: string;
  title: string;
  total: number; // rows
  conversations?: number; // in a list grouped by them: how many there are
  pictures?: boolean; // rows have room for the pictures of people
  more?: boolean; // a search found more than it counted; `total` grows as one goes down
  offset: number; // of rows[0]; the page asks for others by "list.window"
  rows: MessageRow[];
  selected: Id[]; // in the window or not
  search: string;
  emptyText: string;
}

export interface AttachmentModel {
  part: string; // for /messages/<id>/parts/<part>
  name: string;
  type: string;
  size: number; // bytes
}
export interface BannerModel {
  id: string; // "banner:viewer:2", also its anchor
  image: string; // empty: none
  text: string; // empty: only its buttons
  colour: string; // "#AABBCC"
  trailing?: { text: string; late: boolean }; // at the far end
  // with "checked": a check box
  buttons: { id: string; title: string; checked?: boolean; disabled?: boolean }[];
}
/** A message of the selected one's conversation. */
export interface ConversationRow {
  id: Id;
  from: string;
  person?: PersonModel; // where the person wants pictures
  snippet: string;
  date: string;
  dateLong: string;
  unread: boolean;
  attachments: number;
  mailbox: string; // its name when it lies elsewhere than in the shown one; else empty
}
export interface MessageModel {
  id: Id;
  subject: string;
  from: string;
  fromAddress: string;
  sender: string; // both of these, for "person.open"
  to: string[];
  cc: string[];
  bcc: string[];
  date: string;
  icons: StatusIcon[]; // below the date, from left to right
  flags: { unread: boolean; flagged: boolean; colour: number };
  banners: BannerModel[];
  attachments: AttachmentModel[];
  waiting?: string; // what to show instead of the text, as long as the message is still at its server
  damaged?: string; // a sentence when the message could not be read whole
  delivery?: Delivery;
  canEditDraft: boolean;
  conversation?: ConversationRow[]; // oldest first, this message among them; empty when it stands alone
}
export interface Body {
  html: string; // already sanitized; goes into a frame without scripts and without our origin
  remoteBlocked: number; // pictures on the web, and the like, that are not in it
  // ask: they come with remote=1; always: likewise, and the person wants them of this sender; never: they do not come
  remote: 'ask' | 'always' | 'never';
  plain: boolean;
}

export interface ComposeModel {
  window: string; // "compose-1"
  title: string;
  toolbar: ToolbarItemModel[];
  accounts: { id: string; label: string }[]; // whom it can be from: each address of each account
  account: string;
  to: string[];
  cc: string[];
  bcc: string[];
  subject: string;
  bodyHtml: string; // of that revision; the page applies it only when the revision is above its own
  // A picture of the message stands in bodyHtml as <img data-cid="<attachment id>" src="data:..."> (no src when it is too
  // large to show), and goes back with the same data-cid, whatever its src; a newly pasted one likewise, once it is
  // uploaded as an inline attachment. Pictures without a known data-cid are taken out, unless src is data:, which becomes
  // an inline attachment.
  bodyRevision: number;
  plainText: boolean;
  attachments: { id: string; name: string; type: string; size: number; inline: boolean }[];
  rows: { identifier: string; place: 'subject' | 'content' | 'status'; controls: FormControlModel[] }[];
  status: string; // "Draft saved 12:30"
  busy: boolean; // sending; fields are locked
  sheet?: FormModel;
}

export interface PreferencesModel {
  visible: boolean;
  modules: { name: string; image: string }[];
  selected: string;
  form?: FormModel;
  sheet?: FormModel;
}

/** A message that a delivery has taken out of the outbox: being sent, or perhaps sent. Shown above the outbox's list. */
export interface TakenMessage {
  uniqueID: string; // for message.resolveDoubt, when the state is "inDoubt"
  subject: string;
  to: string;
  delivery: Delivery;
}

export interface Sections {
  app: {
    title: string; icon: string; notices: { id: number; text: string }[]; waiting: number; version: string;
    watchesModifiers: boolean; // tell of modifier keys that go down or up
    notifies: boolean; // the person wants to be told of new mail
  };
  menu: MenuItemModel[]; // the main menu; each has a submenu
  accounts: AccountModel[];
  list: ListModel;
  message: MessageModel | null; // the one selected message
  viewer: {
    toolbar: ToolbarItemModel[]; selectedCount: number; sheet?: FormModel;
    lastMove?: { number: number; text: string }; // can be taken back; the number grows with each move
  };
  compose: ComposeModel[];
  taken: TakenMessage[];
  alerts: AlertModel[];
  popovers: PopoverModel[];
  status: StatusItemModel[];
  preferences: PreferencesModel;
}

export type ServerMessage =
  | { type: 'update'; sections: Partial<Sections> } // only what changed; everything after connecting
  | { type: 'reply'; id: number; result: Value }
  | { type: 'error'; id: number; text: string } // a sentence for the person
  | { type: 'beep' }
  | { type: 'chooseFile'; window: string } // open the file chooser for attachments
  | { type: 'characterPalette'; window: string }
  | { type: 'focus'; window: string } // this compose window came to the front
  | { type: 'find'; window: string } // put the cursor into the search field
  | { type: 'print'; window: string } // print the selected message, or the message that is being written
  | { type: 'read'; window: string } // show the selected message, on a page that shows one pane at a time
  | { type: 'source'; window: string } // show /messages/<id>/source of the selected message
  // Mail came into an inbox. The newest one; its sender and subject only where the person wants them told.
  | { type: 'newMail'; count: number; id: Id; from?: string; subject?: string }
  | { type: 'picture'; address: string } // of somebody: there is one now, or another one
  | { type: 'goodbye'; text: string }; // the host stops
