/** Milliseconds to wait before the attempt of that number, counted from 0: quick at first, then every 15 seconds. */
export function retryDelay(attempt: number): number {
  return [300, 1000, 2000, 4000, 8000][attempt] ?? 15000;
}
