// Sizes of panes that this browser remembers. Storage may be switched off or hold anything.

export function savedNumber(key: string, fallback: number): number {
  try {
    const value = Number(localStorage.getItem(`quillstead.${key}`));
    return Number.isFinite(value) && value > 0 ? value : fallback;
  } catch {
    return fallback;
  }
}

export function saveNumber(key: string, value: number): void {
  try {
    localStorage.setItem(`quillstead.${key}`, String(Math.round(value)));
  } catch {
    // remembered for this load only
  }
}
