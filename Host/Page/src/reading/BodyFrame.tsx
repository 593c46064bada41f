// The frame that shows a message's body: no scripts, no origin of ours, nothing loaded from anywhere.
import { useLayoutEffect, useMemo, useRef } from 'preact/hooks';
import type { Body } from '../protocol';
import { frameDocument, frameSandbox } from './frameDocument';
import { setScrolledFrame } from './frameScroll';

export function BodyFrame({ body, subject }: { body: Body; subject: string }) {
  const content = useMemo(() => frameDocument(body.html, { plain: body.plain }), [body]);
  const frame = useRef<HTMLIFrameElement>(null);
  useLayoutEffect(() => {
    setScrolledFrame(frame.current);
    return () => setScrolledFrame(null);
  }, [content]);
  return (
    <iframe
      ref={frame} class="body-frame" title={`Text of the message “${subject || 'No subject'}”`} srcdoc={content}
      sandbox={frameSandbox} referrerpolicy="no-referrer" key={`${body.remoteBlocked} ${body.html.length}`}
    />
  );
}
