// What a link in a mail says and where it really goes.

/** The host that a piece of text seems to name, in lower case and without "www."; null when it names none. */
export function hostNamedBy(text: string): string | null {
  const found = /^\s*(?:https?:\/\/)?(?:[^\s/@]*@)?((?:[\p{L}\p{N}](?:[\p{L}\p{N}-]*[\p{L}\p{N}])?\.)+[\p{L}]{2,})(?::\d+)?(?:[/?#]\S*)?\s*$/iu.exec(text);
  return found?.[1] ? withoutWww(found[1].toLowerCase()) : null;
}

function withoutWww(host: string): string {
  return host.replace(/^www\./, '');
}

export interface LinkFacts {
  href: string; // as it may be opened
  title: string; // where it goes, for the tool tip
  hint: string; // the real host where the text names another; else empty
}

/** Null for a link that must not be opened: only web pages and mail addresses are. */
export function factsOfLink(href: string, text: string): LinkFacts | null {
  let url: URL;
  try {
    url = new URL(href.trim());
  } catch {
    return null;
  }
  if (url.protocol === 'mailto:') {
    const address = decoded(url.pathname);
    const shown = /^\S+@\S+$/.test(text.trim()) ? text.trim() : '';
    const differs = shown !== '' && shown.toLowerCase() !== address.toLowerCase();
    return { href: url.href, title: `Mail to ${address}`, hint: differs ? address : '' };
  }
  if (url.protocol !== 'https:' && url.protocol !== 'http:') return null;
  const named = hostNamedBy(text);
  // In the frame a name in foreign letters is shown as it is on the wire ("xn--…"), which betrays look-alikes.
  const hint = named !== null && named !== withoutWww(url.hostname) ? url.hostname : '';
  return { href: url.href, title: `${url.hostname} — ${url.href.slice(0, 300)}`, hint };
}

function decoded(text: string): string {
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}
