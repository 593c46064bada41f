// Which branches of the tree of mailboxes this browser shows folded. Storage may be switched off or hold anything.
import { useState } from 'preact/hooks';

const key = 'quillstead.foldedMailboxes';

function saved(): Set<string> {
  try {
    const value: unknown = JSON.parse(localStorage.getItem(key) ?? '[]');
    return new Set(Array.isArray(value) ? value.filter((each): each is string => typeof each === 'string') : []);
  } catch {
    return new Set();
  }
}

export interface Folded {
  has(id: string): boolean;
  set(id: string, folded: boolean): void;
}

export function useFolded(): Folded {
  const [ids, setIds] = useState(saved);
  return {
    has: (id) => ids.has(id),
    set(id, folded) {
      if (ids.has(id) === folded) return;
      const next = new Set(ids);
      if (folded) next.add(id);
      else next.delete(id);
      setIds(next);
      try {
        localStorage.setItem(key, JSON.stringify([...next]));
      } catch {
        // remembered for this load only
      }
    },
  };
}
