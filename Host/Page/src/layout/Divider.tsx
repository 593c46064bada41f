// The line between two panes, to be dragged or moved with the arrow keys.
import { useRef } from 'preact/hooks';

interface Props {
  label: string;
  controls: string; // id of the pane before it
  size: number; // of that pane, in pixels
  minimum: number;
  maximum: number;
  onResize(size: number): void;
}

export function Divider({ label, controls, size, minimum, maximum, onResize }: Props) {
  const start = useRef<{ x: number; size: number } | null>(null);
  const set = (wanted: number): void => onResize(Math.round(Math.max(minimum, Math.min(maximum, wanted))));
  return (
    <div
      class="divider" role="separator" aria-orientation="vertical" aria-label={label} aria-controls={controls}
      aria-valuenow={Math.round(size)} aria-valuemin={minimum} aria-valuemax={maximum} tabIndex={0}
      onPointerDown={(event) => {
        event.currentTarget.setPointerCapture(event.pointerId);
        start.current = { x: event.clientX, size };
        event.preventDefault();
      }}
      onPointerMove={(event) => {
        if (start.current) set(start.current.size + event.clientX - start.current.x);
      }}
      onPointerUp={() => (start.current = null)}
      onPointerCancel={() => (start.current = null)}
      onKeyDown={(event) => {
        const by = { ArrowLeft: -16, ArrowRight: 16 }[event.key];
        if (!by) return;
        set(size + by);
        event.preventDefault();
      }}
    />
  );
}
