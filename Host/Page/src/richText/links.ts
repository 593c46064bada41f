/** What was typed as a whole address, "https://" or "mailto:" added where it is missing; null for anything else. */
export function completeLink(typed: string): string | null {
  const text = typed.trim();
  if (!text || /\s/.test(text)) return null;
  if (/^[^/:?#\s]+@[^/:?#\s]+\.[^/:?#\s]+$/.test(text)) return `mailto:${text}`;
  const whole = /^[a-z][a-z0-9+.-]*:(?!\d)/i.test(text) ? text : `https://${text}`;
  try {
    const url = new URL(whole);
    if (url.protocol === 'mailto:') return url.pathname ? url.href : null;
    const web = url.protocol === 'https:' || url.protocol === 'http:';
    return web && (url.hostname.includes('.') || url.hostname === 'localhost') ? url.href : null;
  } catch {
    return null;
  }
}
