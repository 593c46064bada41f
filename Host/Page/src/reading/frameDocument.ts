// The whole document that goes into a message's frame: policy, our few styles, and the mail's markup.
import { forFrame } from './sanitize';

export const framePolicy = "default-src 'none'; style-src 'unsafe-inline'; img-src data:; form-action 'none'; base-uri 'none'";
export const frameSandbox = 'allow-popups allow-popups-to-escape-sandbox';
/** While the person selects a part of the message (selectedText.ts). */
export const selectableSandbox = `${frameSandbox} allow-same-origin`;

/** Mail that names no colours follows the page's; other mail was made for white paper. */
export function usesOwnColours(html: string): boolean {
  return /<style|\sbgcolor\s*=|<font[^>]*\scolor\s*=|style\s*=\s*["'][^"']*(?:color|background)\s*[:-]/i.test(html);
}

const styles = `
  html { height: 100%; scrollbar-width: thin; }
  body { margin: 0; padding: 18px 28px 40px; font: 15px/1.55 system-ui, -apple-system, "Segoe UI", "Noto Sans", sans-serif;
    overflow-wrap: anywhere; position: relative; min-height: calc(100% - 58px); }
  @media (max-width: 420px) { body { padding: 14px 16px 32px; } }
  :root { color-scheme: light; background: #fff; color: #22211f; }
  :root.plain { background: #fdfcfa; }
  a { color: #175057; }
  img { max-width: 100%; height: auto; }
  table { max-width: 100%; }
  pre, .plain body { white-space: pre-wrap; font-variant-numeric: tabular-nums; }
  .plain body { max-width: 46em; }
  blockquote { margin: .6em 0; padding: 0 0 0 1em; border-left: 2px solid #b9c9c7; color: #55605f; }
  body > :first-child { margin-top: 0; }
  #qs-pages { position: absolute; inset: 0; overflow: clip; pointer-events: none; z-index: -1; }
  #qs-pages i { position: absolute; width: 1px; height: 1px; }
  @media (prefers-color-scheme: dark) {
    :root.plain { color-scheme: dark; background: #1b1c1d; color: #e6e3dd; }
    .plain a { color: #8cc9c8; }
    .plain blockquote { border-color: #41605f; color: #a5b0ae; }
  }
  @media print { body { padding: 0; } #qs-pages { display: none; } }
`;

// Where a link leads, whatever the mail's own rules say: important rules in a layer go before all that are in none, and
// the host lets no layer of a mail through.
const linkStyles = `
  @layer protection {
    .qs-real-host { all: revert !important; display: inline-block !important; margin-left: 4px !important; font: 600 12px/1.2 system-ui, sans-serif !important; color: #6b4a00 !important;
      background: #fdf0cf !important; border-radius: 3px !important; padding: 0 4px !important; white-space: nowrap !important;
      text-indent: 0 !important; }
    a[data-qs-place]:is(:hover, :focus-visible)::after { all: revert !important; content: attr(data-qs-place) !important;
      position: fixed !important; left: 0 !important; bottom: 0 !important; z-index: 2147483647 !important; box-sizing: border-box;
      max-width: 100% !important; overflow: hidden !important; padding: 4px 10px !important; border-radius: 0 6px 0 0 !important;
      color: #f6f4ef !important; background: #26292b !important; font: 12px/1.4 system-ui, sans-serif !important;
      text-overflow: ellipsis !important; white-space: nowrap !important; text-decoration: none !important; }
    @media print { a[data-qs-place]::after { display: none !important; } }
  }
`;

/** How many screens of a message can be reached by scrolling with a key. */
export const pageCount = 120;

// The page cannot scroll a frame of another origin, but it can send it to a place in its own document: these mark every
// screen, less a little so that the last lines are seen again. What lies beyond the end scrolls to the end.
function pageMarks(): string {
  let marks = '';
  for (let page = 0; page < pageCount; ++page) marks += `<i id="qs-page-${page}" style="top:${page * 88}vh"></i>`;
  return `<div id="qs-pages" aria-hidden="true">${marks}</div>`;
}

export function frameDocument(html: string, options: { plain: boolean; heading?: string }): string {
  const body = forFrame(html);
  const kind = options.plain || !usesOwnColours(body) ? ' class="plain"' : '';
  const space = options.plain ? '' : '<style>.plain body { white-space: normal; max-width: none; }</style>';
  return `<!doctype html><html${kind}><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="${framePolicy}"><meta name="referrer" content="no-referrer">
<style>${linkStyles}${styles}</style>${space}</head><body dir="auto">${options.heading ?? ''}${body}${options.heading ? '' : pageMarks()}</body></html>`;
}
