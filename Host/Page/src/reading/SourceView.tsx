// The message as it came over the wire.
import { useEffect, useState } from 'preact/hooks';
import { download } from '../base/download';
import { useStore } from '../base/Store';
import { Dialog } from '../overlay/Dialog';
import { request } from '../session';
import { ui } from '../state';

const longest = 2_000_000; // characters that are shown; the whole can be saved

export function SourceView() {
  const id = useStore(ui, (value) => value.source);
  const [text, setText] = useState('');
  const [failure, setFailure] = useState('');
  useEffect(() => {
    setText('');
    setFailure('');
    if (id === null) return undefined;
    let wanted = true;
    request(`/messages/${id}/source`)
      .then((answer) => answer.text())
      .then((found) => wanted && setText(found))
      .catch((error: unknown) => wanted && setFailure(error instanceof Error ? error.message : String(error)));
    return () => {
      wanted = false;
    };
  }, [id]);
  if (id === null) return null;
  const close = (): void => ui.set({ source: null });
  return (
    <Dialog title="Source of the message" wide onClose={close}>
      {failure ? <p class="note warning">{failure}</p> : <pre class="source" tabIndex={0}>{text.slice(0, longest) || 'Loading…'}</pre>}
      {text.length > longest && <p class="quiet">Only the beginning is shown. Save the message to see all of it.</p>}
      <p class="form-buttons">
        <button type="button" class="button" onClick={() => void download(`/messages/${id}/source`, `message-${id}.eml`)}>
          Save…
        </button>
        <button type="button" class="button default" onClick={close}>Close</button>
      </p>
    </Dialog>
  );
}
