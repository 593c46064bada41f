// A value that the page draws from, and the hook that redraws a component when its part of the value changed.
import { useLayoutEffect, useReducer, useRef } from 'preact/hooks';

export class Store<T extends object> {
  private readonly listeners = new Set<() => void>();

  constructor(private value: T) {}

  get(): T {
    return this.value;
  }

  set(part: Partial<T>): void {
    this.value = { ...this.value, ...part };
    for (const listener of [...this.listeners]) listener();
  }

  /** Answers the function that ends it. */
  subscribe(listener: () => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }
}

/** `select` must answer a part of the value, not a new object each time: parts are compared by identity. */
export function useStore<T extends object, S>(store: Store<T>, select: (value: T) => S): S {
  const [, redraw] = useReducer((count: number) => count + 1, 0);
  const selected = select(store.get());
  const latest = useRef({ select, selected });
  latest.current = { select, selected };
  useLayoutEffect(() => {
    const check = (): void => {
      if (!Object.is(latest.current.select(store.get()), latest.current.selected)) redraw(0);
    };
    check(); // what changed between drawing and now
    return store.subscribe(check);
  }, [store]);
  return selected;
}
