// Files that a program is at work on: what is read is whole, whenever one looks.
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';

/** What the file or folder holds, or nothing where it is not there (yet, or any more). */
export function ifThere(read) {
  try {
    return read();
  } catch (error) {
    if (error.code === 'ENOENT') return undefined;
    throw error;
  }
}

/** The lines of a file that is written on at its end; one that has no line break yet is not there. */
export function wholeLines(file) {
  const text = ifThere(() => readFileSync(file, 'utf8')) ?? '';
  return text.split('\n').slice(0, -1);
}

/** The texts of the files in a folder, which may be renamed and removed meanwhile. */
export function textsIn(folder) {
  const names = ifThere(() => readdirSync(folder)) ?? [];
  return names.map((name) => ifThere(() => readFileSync(join(folder, name), 'utf8'))).filter((text) => text !== undefined);
}
