// Buttons for the looks of the text.
import type Squire from 'squire-rte';
import { useEffect, useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { LinkField } from './LinkField';

interface Format {
  image: string;
  label: string;
  tag?: string; // the element that text with this look stands in
  apply(editor: Squire, on: boolean): void;
}

const formats: (Format | 'line')[] = [
  { image: 'bold', label: 'Bold', tag: 'B', apply: (editor, on) => (on ? editor.removeBold() : editor.bold()) },
  { image: 'italic', label: 'Italic', tag: 'I', apply: (editor, on) => (on ? editor.removeItalic() : editor.italic()) },
  { image: 'underline', label: 'Underline', tag: 'U', apply: (editor, on) => (on ? editor.removeUnderline() : editor.underline()) },
  {
    image: 'strike', label: 'Strike through', tag: 'S',
    apply: (editor, on) => (on ? editor.removeStrikethrough() : editor.strikethrough()),
  },
  'line',
  { image: 'bullets', label: 'Bulleted list', tag: 'UL', apply: (editor, on) => (on ? editor.removeList() : editor.makeUnorderedList()) },
  { image: 'numbers', label: 'Numbered list', tag: 'OL', apply: (editor, on) => (on ? editor.removeList() : editor.makeOrderedList()) },
  'line',
  { image: 'quote', label: 'Increase quote level', apply: (editor) => editor.increaseQuoteLevel() },
  { image: 'unquote', label: 'Decrease quote level', apply: (editor) => editor.decreaseQuoteLevel() },
  { image: 'clear', label: 'Remove formatting', apply: (editor) => editor.removeAllFormatting() },
];

const tags = [...formats.flatMap((format) => (format !== 'line' && format.tag ? [format.tag] : [])), 'A'];

/** The looks of the selected text, as one text so that equal ones draw nothing anew. */
function useLooks(editor: Squire): (tag: string | undefined) => boolean {
  const [looks, setLooks] = useState('');
  useEffect(() => {
    const follow = (): void => setLooks(tags.filter((tag) => editor.hasFormat(tag)).join(' '));
    const events = ['pathChange', 'select', 'cursor', 'input'];
    for (const event of events) editor.addEventListener(event, follow);
    return () => {
      for (const event of events) editor.removeEventListener(event, follow);
    };
  }, [editor]);
  return (tag) => tag !== undefined && looks.split(' ').includes(tag);
}

export function FormatBar({ editor, disabled }: { editor: Squire; disabled: boolean }) {
  const isOn = useLooks(editor);
  const [linking, setLinking] = useState(false);
  const onKeyDown = (event: KeyboardEvent): void => {
    const direction = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (!direction) return;
    const all = [...(event.currentTarget as HTMLElement).querySelectorAll<HTMLElement>('button')];
    all[(all.indexOf(document.activeElement as HTMLElement) + direction + all.length) % all.length]?.focus();
    event.preventDefault();
  };
  return (
    <div class="format-bar-place">
      <div class="format-bar" role="toolbar" aria-label="Formatting" onKeyDown={onKeyDown}>
        {formats.map((format, index) =>
          format === 'line' ? (
            <span key={index} class="format-line" />
          ) : (
            <button
              key={format.image} type="button" class="format" title={format.label} aria-label={format.label} disabled={disabled}
              aria-pressed={format.tag ? isOn(format.tag) : undefined} tabIndex={index === 0 ? 0 : -1}
              onMouseDown={(event) => event.preventDefault()}
              onClick={() => {
                format.apply(editor, isOn(format.tag));
                editor.focus();
              }}
            >
              <Icon name={format.image} size={16} />
            </button>
          ),
        )}
        <span class="format-line" />
        <button
          type="button" class="format" title="Link" aria-label="Link" aria-pressed={isOn('A')} disabled={disabled}
          tabIndex={-1} onMouseDown={(event) => event.preventDefault()} onClick={() => setLinking(!linking)}
        >
          <Icon name="link" size={16} />
        </button>
      </div>
      {linking && <LinkField editor={editor} linked={isOn('A')} onClose={() => setLinking(false)} />}
    </div>
  );
}
