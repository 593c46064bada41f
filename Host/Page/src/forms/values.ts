// Values of forms, without any drawing.
import type { Value } from '../protocol';

export function sameValue(one: Value, other: Value): boolean {
  return one === other || JSON.stringify(one) === JSON.stringify(other);
}

const two = (value: number): string => String(value).padStart(2, '0');

/** As an input of type datetime-local wants it, in the browser's time zone. */
export function toLocalInput(date: Date): string {
  return `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())}T${toTimeInput(date)}`;
}

export function toTimeInput(date: Date): string {
  return `${two(date.getHours())}:${two(date.getMinutes())}`;
}

/** Null for a text that is no whole date and time yet. */
export function fromLocalInput(text: string): Value {
  const found = /^(\d{4,6})-(\d\d)-(\d\d)T(\d\d):(\d\d)/.exec(text);
  if (!found) return null;
  const [year = 0, month = 0, day = 0, hour = 0, minute = 0] = found.slice(1).map(Number);
  const date = new Date(2000, month - 1, day, hour, minute);
  date.setFullYear(year, month - 1, day); // a number below 100 would mean a year of the last century
  return { $date: date.getTime() / 1000 };
}

/** The same day as `day` at that hour and minute; only these two count. */
export function fromTimeInput(text: string, day: Date): Value {
  const found = /^(\d\d):(\d\d)/.exec(text);
  if (!found) return null;
  const date = new Date(day);
  date.setHours(Number(found[1]), Number(found[2]), 0, 0);
  return { $date: date.getTime() / 1000 };
}

export function textsOf(value: Value): string[] {
  return Array.isArray(value) ? value.filter((each): each is string => typeof each === 'string') : [];
}
