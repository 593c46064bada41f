// Buttons for the looks of the text.
import type Squire from 'squire-rte';
import { useEffect, useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { LinkField } from './LinkField';

interface Format {
  image: string;
  label: string;
  isOn?(path: string): boolean;
  apply(editor: Squire, on: boolean): void;
}

const has = (tag: RegExp) => (path: string): boolean => tag.test(path);

const formats: (Format | 'line')[] = [
  { image: 'bold', label: 'Bold', isOn: has(/(^|>)(B|STRONG)\b/), apply: (editor, on) => (on ? editor.removeBold() : editor.bold()) },
  { image: 'italic', label: 'Italic', isOn: has(/(^|>)(I|EM)\b/), apply: (editor, on) => (on ? editor.removeItalic() : editor.italic()) },
  {
    image: 'underline', label: 'Underline', isOn: has(/(^|>)U\b/),
    apply: (editor, on) => (on ? editor.removeUnderline() : editor.underline()),
  },
  {
    image: 'strike', label: 'Strike through', isOn: has(/(^|>)(S|DEL|STRIKE)\b/),
    apply: (editor, on) => (on ? editor.removeStrikethrough() : editor.strikethrough()),
  },
  'line',
  { image: 'bullets', label: 'Bulleted list', isOn: has(/(^|>)UL\b/), apply: (editor, on) => (on ? editor.removeList() : editor.makeUnorderedList()) },
  { image: 'numbers', label: 'Numbered list', isOn: has(/(^|>)OL\b/), apply: (editor, on) => (on ? editor.removeList() : editor.makeOrderedList()) },
  'line',
  { image: 'quote', label: 'Increase quote level', apply: (editor) => editor.increaseQuoteLevel() },
  { image: 'unquote', label: 'Decrease quote level', apply: (editor) => editor.decreaseQuoteLevel() },
  { image: 'clear', label: 'Remove formatting', apply: (editor) => editor.removeAllFormatting() },
];

export function FormatBar({ editor, disabled }: { editor: Squire; disabled: boolean }) {
  const [path, setPath] = useState('');
  const [linking, setLinking] = useState(false);
  useEffect(() => {
    const follow = (): void => setPath(editor.getPath());
    for (const event of ['pathChange', 'select', 'cursor']) editor.addEventListener(event, follow);
    return () => {
      for (const event of ['pathChange', 'select', 'cursor']) editor.removeEventListener(event, follow);
    };
  }, [editor]);
  const isOn = (format: Format): boolean => format.isOn?.(path) ?? false;
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
              aria-pressed={format.isOn ? isOn(format) : undefined} tabIndex={index === 0 ? 0 : -1}
              onMouseDown={(event) => event.preventDefault()}
              onClick={() => {
                format.apply(editor, isOn(format));
                editor.focus();
              }}
            >
              <Icon name={format.image} size={16} />
            </button>
          ),
        )}
        <span class="format-line" />
        <button
          type="button" class="format" title="Link" aria-label="Link" aria-pressed={/(^|>)A\b/.test(path)} disabled={disabled}
          tabIndex={-1} onMouseDown={(event) => event.preventDefault()} onClick={() => setLinking(!linking)}
        >
          <Icon name="link" size={16} />
        </button>
      </div>
      {linking && <LinkField editor={editor} linked={/(^|>)A\b/.test(path)} onClose={() => setLinking(false)} />}
    </div>
  );
}
