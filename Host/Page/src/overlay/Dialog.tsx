// A panel of the page's own that lies over everything until it is closed.
import type { ComponentChildren } from 'preact';
import { useId, useRef } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { useFocusTrap } from './focusTrap';

interface Props {
  title: string;
  wide?: boolean;
  onClose(): void;
  children: ComponentChildren;
}

export function Dialog({ title, wide, onClose, children }: Props) {
  const dialog = useRef<HTMLDivElement>(null);
  const heading = useId();
  useFocusTrap(dialog);
  return (
    <div class="overlay" onPointerDown={(event) => event.target === event.currentTarget && onClose()}>
      <div
        ref={dialog} class={`dialog${wide ? ' wide' : ''}`} role="dialog" aria-modal="true" aria-labelledby={heading}
        data-blocks="page" tabIndex={-1}
        onKeyDown={(event) => {
          if (event.key !== 'Escape' || event.defaultPrevented) return;
          event.preventDefault();
          onClose();
        }}
      >
        <div class="dialog-header">
          <h2 id={heading}>{title}</h2>
          <button type="button" class="plain-button" aria-label="Close" onClick={onClose}>
            <Icon name="close" size={16} />
          </button>
        </div>
        {children}
      </div>
    </div>
  );
}
