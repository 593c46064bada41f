// Addresses as people type and read them: "Ada Lovelace <ada@example.org>", "ada@example.org".

export interface Address {
  name: string; // empty when only the address was given
  address: string;
  valid: boolean; // looks as if mail could be sent to it; the host judges finally
}

/** Cuts a typed or pasted list at commas, semicolons and line ends that stand outside of quotes, brackets, comments. */
export function splitAddresses(text: string): string[] {
  const parts: string[] = [];
  let part = '';
  let quoted = false;
  let angle = false;
  let depth = 0; // of comments
  for (let at = 0; at < text.length; ++at) {
    const letter = text[at] ?? '';
    if (letter === '\\' && quoted) {
      part += letter + (text[++at] ?? '');
      continue;
    }
    if (letter === '"') quoted = !quoted;
    else if (!quoted && letter === '<') angle = true;
    else if (!quoted && letter === '>') angle = false;
    else if (!quoted && letter === '(') ++depth;
    else if (!quoted && letter === ')') depth = Math.max(0, depth - 1);
    const separates = letter === '\n' || letter === '\r' || ((letter === ',' || letter === ';') && !quoted && !angle && depth === 0);
    if (separates) {
      parts.push(part);
      part = '';
      if (letter === '\n') quoted = angle = false; // nothing goes on over a line's end
    } else part += letter;
  }
  parts.push(part);
  return parts.map((each) => each.trim()).filter(Boolean);
}

const plausible = /^[^\s@<>(),;:"\\[\]]+@[\p{L}\p{N}](?:[\p{L}\p{N}.-]*[\p{L}\p{N}])?$|^"[^"]+"@[\p{L}\p{N}.-]+$/u;

export function parseAddress(text: string): Address {
  const trimmed = text.trim();
  const angle = /^(.*)<([^<>]*)>$/s.exec(trimmed);
  if (angle) {
    const address = (angle[2] ?? '').trim();
    return { name: unquoted((angle[1] ?? '').trim()), address, valid: plausible.test(address) };
  }
  const comment = /^(\S+@\S+)\s+\((.*)\)$/.exec(trimmed);
  if (comment) {
    const address = comment[1] ?? '';
    return { name: (comment[2] ?? '').trim(), address, valid: plausible.test(address) };
  }
  return { name: '', address: trimmed, valid: plausible.test(trimmed) };
}

function unquoted(name: string): string {
  const inner = /^"(.*)"$/s.exec(name)?.[1];
  return (inner ?? name).replace(/\\(.)/g, '$1').trim();
}

/** Adds what is new; the same address twice in a field is once too often. */
export function withAdded(addresses: string[], added: string[]): string[] {
  const known = new Set(addresses.map((each) => parseAddress(each).address.toLowerCase()));
  const result = [...addresses];
  for (const each of added) {
    const key = parseAddress(each).address.toLowerCase();
    if (known.has(key)) continue;
    known.add(key);
    result.push(each);
  }
  return result;
}

/**
 * How far a typed text is finished: what ends with a separator becomes addresses, the rest stays in the field. A comma
 * after a name ("Lovelace, Ada <ada@…>") belongs to it, so nothing is finished before each part has an address.
 */
export function takeFinished(text: string): { finished: string[]; rest: string } {
  const parts = splitAddresses(text);
  // A letter at the end shows whether the text is behind a separator: then it becomes a part of its own.
  const open = splitAddresses(`${text}x`).length > parts.length ? '' : (parts.pop() ?? '');
  if (parts.length === 0 || !parts.every((part) => part.includes('@'))) return { finished: [], rest: text };
  return { finished: parts, rest: open };
}
