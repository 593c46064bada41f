// Shown instead of everything while there is nothing to draw: before the first models, and without a session.
import { retryConnection } from '../actions';
import { Icon } from '../base/Icon';
import type { Link } from '../state';

export function Welcome({ link }: { link: Link }) {
  return (
    <main class="welcome">
      <div class="welcome-card">
        <span class="welcome-mark">
          <Icon name="mark" size={44} />
        </span>
        {link === 'noSession' ? <NoSession /> : <Connecting lost={link === 'lost'} />}
      </div>
    </main>
  );
}

function NoSession() {
  return (
    <>
      <h1>Your mail is not open in this tab</h1>
      <p>
        To keep your mail to yourself, this page opens only through a link that your mail program makes for you. It works
        once, and for a minute.
      </p>
      <ol>
        <li>
          Start the program with <code>./run</code>, or go to the terminal where it runs.
        </li>
        <li>Open the link that it printed. It begins with the address of this page and ends with “#start=…”.</li>
      </ol>
      <p class="quiet">Is the mail open in another tab? Then simply go on there.</p>
    </>
  );
}

function Connecting({ lost }: { lost: boolean }) {
  return (
    <>
      <h1 role="status">{lost ? 'Waiting for the mail program' : 'Opening your mail'}</h1>
      <p class="quiet">{lost ? 'It does not answer yet; this page goes on trying.' : 'One moment.'}</p>
      {lost && (
        <button type="button" class="button" onClick={retryConnection}>Try now</button>
      )}
    </>
  );
}
