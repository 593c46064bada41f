/** "830 bytes", "12 KB", "3.4 MB". */
export function describeSize(bytes: number): string {
  if (bytes < 1000) return bytes === 1 ? '1 byte' : `${bytes} bytes`;
  const units = ['KB', 'MB', 'GB', 'TB'];
  let value = bytes;
  let unit = -1;
  do {
    value /= 1000;
    ++unit;
  } while (value >= 999.5 && unit < units.length - 1);
  return `${value < 9.95 && unit > 0 ? value.toFixed(1) : Math.round(value)} ${units[unit]}`;
}
