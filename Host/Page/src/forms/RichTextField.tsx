// A text with looks in a form. Like other fields it is sent after a rest and before any button acts; what the host says
// replaces it only while nobody has changed it here.
import { useEffect, useRef } from 'preact/hooks';
import type Squire from 'squire-rte';
import { replaceContent, RichTextArea } from '../richText/RichTextArea';
import { type ControlProps, nameOf } from './Control';
import { useDraft } from './useDraft';

interface Shown {
  editor: Squire;
  root: HTMLElement;
  told: string; // by the host
  html: string; // what the editor made of it
}

const rest = 600; // milliseconds

export function RichTextField({ control, onChange }: ControlProps) {
  const told = typeof control.value === 'string' ? control.value : '';
  const draft = useDraft(told, onChange, rest);
  const shown = useRef<Shown | null>(null);
  const state = useRef({ isPersons: false, change: draft.change, told });
  Object.assign(state.current, { change: draft.change, told });

  // The editor may stand sooner or later than a new text is known here.
  const show = (editor: Squire, root: HTMLElement): void => {
    const latest = state.current.told;
    replaceContent(editor, root, latest);
    shown.current = { editor, root, told: latest, html: editor.getHTML() };
  };
  useEffect(() => {
    const now = shown.current;
    if (now && now.told !== told && !state.current.isPersons) show(now.editor, now.root);
  }, [told]);

  const onReady = (editor: Squire, root: HTMLElement) => {
    show(editor, root);
    editor.addEventListener('input', () => {
      const html = editor.getHTML();
      // The editor also tells, later, of what was put into it from here.
      if (!state.current.isPersons && html === shown.current?.html) return;
      state.current.isPersons = true;
      state.current.change(html);
    });
    return () => {
      shown.current = null;
    };
  };
  return (
    <div class="rich-text" onFocusOut={(event) => !event.currentTarget.contains(event.relatedTarget as Node | null) && draft.leave()}>
      <RichTextArea label={control.label || nameOf(control) || 'Text'} disabled={!control.enabled} onReady={onReady} />
    </div>
  );
}
