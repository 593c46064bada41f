// Who wrote to whom and when. Long lists of recipients are folded.
import { useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { parseAddress } from '../compose/addresses';
import type { MessageModel } from '../protocol';
import { Person } from './Person';

const shownAtOnce = 3;

export function Headers({ message }: { message: MessageModel }) {
  const showAddress = message.fromAddress !== '' && message.from !== message.fromAddress;
  return (
    <div class="headers">
      <div class="headers-from">
        <Person person={message.sender} title={message.fromAddress || message.from} strong>
          {message.from || message.fromAddress || 'Unknown sender'}
        </Person>
        {showAddress && <span class="headers-address">{message.fromAddress}</span>}
        <div class="headers-end">
          <time class="headers-date">{message.date}</time>
          {message.icons.length > 0 && (
            <span class="headers-status">
              {message.icons.map((icon) => (
                <Icon key={icon.label} name={icon.image} label={icon.label} size={icon.size} />
              ))}
            </span>
          )}
        </div>
      </div>
      <People label="To" people={message.to} />
      <People label="Cc" people={message.cc} />
      <People label="Bcc" people={message.bcc} />
    </div>
  );
}

function People({ label, people }: { label: string; people: string[] }) {
  const [all, setAll] = useState(false);
  if (people.length === 0) return null;
  const shown = all ? people : people.slice(0, shownAtOnce);
  const rest = people.length - shown.length;
  return (
    <div class="people">
      <span class="people-label">{label}</span>
      <span class="people-list">
        {shown.map((person, index) => {
          const { name, address } = parseAddress(person);
          return (
            <Person key={`${index} ${person}`} person={person} title={address}>
              {all && name ? `${name} <${address}>` : name || address}
              {index < shown.length - 1 ? ',' : ''}
            </Person>
          );
        })}
        {rest > 0 && (
          <button type="button" class="person more" onClick={() => setAll(true)}>and {rest} more</button>
        )}
      </span>
    </div>
  );
}
