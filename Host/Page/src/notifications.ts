// New mail as notifications of the browser, for a person who looks elsewhere. Whether there are any, and what they tell, is
// chosen in the preferences; the browser asks for its own permission once they are switched on here.
import { act, type NewMail, signals } from './actions';
import { host, toast } from './state';

const refused = 'The browser does not let this page notify you. Its settings for this page can change that.';

async function askBrowser(): Promise<void> {
  if (!('Notification' in window)) return toast('This browser knows no notifications.');
  const answer = Notification.permission === 'default' ? await Notification.requestPermission() : Notification.permission;
  if (answer !== 'granted') toast(refused);
}

function tell(mail: NewMail): void {
  if (!('Notification' in window) || Notification.permission !== 'granted' || document.hasFocus()) return;
  const heading = mail.from || (mail.count === 1 ? 'New message' : `${mail.count} new messages`);
  // One at a time: the next one takes its place.
  const notification = new Notification(heading, { body: mail.subject ?? '', tag: 'quillstead-mail', icon: '/favicon.svg' });
  notification.onclick = () => {
    window.focus();
    act('message.open', { id: mail.id });
    notification.close();
  };
}

export function watchNewMail(): void {
  signals.newMail = tell;
  let before: boolean | null = null; // until the host has told how things stand
  host.subscribe(() => {
    const { notifies, version } = host.get().app;
    if (!version) return;
    // Asked when the person switches them on, and never at the start.
    if (before === false && notifies) void askBrowser();
    before = notifies;
  });
}
