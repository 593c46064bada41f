// What may be typed into the search field besides words, offered where the word under way could become one of them.

interface Operator {
  text: string; // "from:" wants a value behind it, "has:attachment" is whole
  means: string;
}

export const operators: Operator[] = [
  { text: 'from:', means: 'who wrote it' },
  { text: 'to:', means: 'who got it' },
  { text: 'subject:', means: 'a word of the subject' },
  { text: 'has:attachment', means: 'with a file' },
  { text: 'is:unread', means: 'not read yet' },
  { text: 'is:flagged', means: 'with a flag' },
  { text: 'after:', means: 'since a day, 2026-11-01 or 7d' },
  { text: 'before:', means: 'until a day, 2026-11-01 or yesterday' },
  { text: 'on:', means: 'on a day' },
  { text: 'in:', means: 'in a mailbox, in:all looks everywhere' },
];

const people = /^-?(from|to):(.*)$/i;

/** The word at the end of the text: an open quotation mark keeps blanks in it. */
export function lastWord(text: string): string {
  return /(?:[^\s"]|"[^"]*"?)*$/.exec(text)?.[0] ?? '';
}

export interface Suggestion {
  text: string; // the whole field afterwards
  label: string;
  means: string;
}

/** Operators that the word under way is a beginning of; all of them where none has begun. */
export function suggestOperators(text: string): Suggestion[] {
  const word = lastWord(text);
  const minus = word.startsWith('-') ? '-' : '';
  const typed = word.slice(minus.length).toLowerCase();
  const head = text.slice(0, text.length - word.length);
  return operators
    .filter((each) => each.text !== typed && each.text.startsWith(typed))
    .map((each) => ({
      text: head + minus + each.text + (each.text.endsWith(':') ? '' : ' '), label: minus + each.text, means: each.means,
    }));
}

/** What of a person has been typed behind "from:" or "to:"; null when nothing has. */
export function personTyped(text: string): string | null {
  const found = people.exec(lastWord(text));
  return found?.[2] ? found[2].replaceAll('"', '') : null;
}

/** The field with that address as the person. */
export function withPerson(text: string, address: string): string {
  const word = lastWord(text);
  return `${text.slice(0, text.length - word.length)}${word.slice(0, word.indexOf(':') + 1)}${address} `;
}
