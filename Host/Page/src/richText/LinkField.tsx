// Asks where a link in the text should go.
import type Squire from 'squire-rte';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { completeLink } from './links';

interface Props {
  editor: Squire;
  linked: boolean; // the cursor is in a link
  onClose(): void;
}

export function LinkField({ editor, linked, onClose }: Props) {
  const field = useRef<HTMLInputElement>(null);
  const [text, setText] = useState('');
  const [wrong, setWrong] = useState(false);
  useLayoutEffect(() => field.current?.focus(), []);
  const finish = (): void => {
    onClose();
    editor.focus();
  };
  const make = (): void => {
    const address = completeLink(text);
    if (!address) {
      setWrong(true);
      return;
    }
    finish();
    editor.makeLink(address);
  };
  return (
    <div
      class="link-field" role="group" aria-label="Link"
      onKeyDown={(event) => {
        if (event.key === 'Escape') finish();
        else if (event.key === 'Enter' && event.target === field.current) make();
        else return;
        event.preventDefault();
        event.stopPropagation();
      }}
    >
      <input
        ref={field} type="url" aria-label="Address of the link" placeholder="Web or mail address" value={text}
        aria-invalid={wrong} spellcheck={false}
        onInput={(event) => {
          setText(event.currentTarget.value);
          setWrong(false);
        }}
      />
      <button type="button" class="small-button" onClick={make}>Set link</button>
      {linked && (
        <button
          type="button" class="small-button"
          onClick={() => {
            finish();
            editor.removeLink();
          }}
        >
          Remove link
        </button>
      )}
      {wrong && <span class="field-error" role="alert">This is no web or mail address.</span>}
    </div>
  );
}
