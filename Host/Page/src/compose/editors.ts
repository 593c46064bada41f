// The open message editors by window, for what acts on them from elsewhere: the symbol panel, the window's focus.
export interface OpenEditor {
  focus(): void;
  insertText(text: string): void;
}

const open = new Map<string, OpenEditor>();

export function registerEditor(window: string, editor: OpenEditor): () => void {
  open.set(window, editor);
  return () => open.get(window) === editor && open.delete(window);
}

export function insertIntoEditor(window: string, text: string): void {
  const editor = open.get(window);
  editor?.focus();
  editor?.insertText(text);
}

export function focusEditor(window: string): void {
  open.get(window)?.focus();
}
