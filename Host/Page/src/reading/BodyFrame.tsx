// The frame that shows a message's body: no scripts, no origin of ours (but while a part is to be selected), nothing
// loaded from anywhere.
import { useEffect, useLayoutEffect, useMemo, useRef } from 'preact/hooks';
import type { Body, Id } from '../protocol';
import { frameDocument, frameSandbox, selectableSandbox } from './frameDocument';
import { setScrolledFrame } from './frameScroll';
import { selectedMarkup, tellSelection } from './selectedText';

interface Props {
  message: Id;
  body: Body;
  subject: string;
  selecting: boolean;
}

export function BodyFrame({ message, body, subject, selecting }: Props) {
  const content = useMemo(() => frameDocument(body.html, { plain: body.plain }), [body]);
  const frame = useRef<HTMLIFrameElement>(null);
  useLayoutEffect(() => {
    setScrolledFrame(frame.current);
    return () => setScrolledFrame(null);
  }, [content, selecting]);
  useEffect(() => {
    if (!selecting) return undefined;
    return tellSelection(message, () => selectedMarkup(frame.current?.contentDocument ?? null));
  }, [message, body, selecting]);
  return (
    <iframe
      ref={frame} class="body-frame" title={`Text of the message “${subject || 'No subject'}”`} srcdoc={content}
      sandbox={selecting ? selectableSandbox : frameSandbox} referrerpolicy="no-referrer"
      key={`${body.remoteBlocked} ${body.html.length} ${selecting}`}
    />
  );
}
