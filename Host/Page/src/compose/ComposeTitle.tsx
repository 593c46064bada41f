// The title bar of a compose window. Closing asks the host, which asks the person when there is something to lose.
import { act } from '../actions';
import { Icon } from '../base/Icon';
import type { ComposeModel } from '../protocol';
import type { ComposeShape } from '../state';
import { setShape } from './ComposeDock';
import { focusEditor } from './editors';

export function ComposeTitle({ model, shape }: { model: ComposeModel; shape: ComposeShape }) {
  const owner = model.window;
  const title = model.title || 'New message';
  const toggleMinimised = (): void => {
    setShape(owner, shape === 'minimised' ? 'normal' : 'minimised');
    if (shape === 'minimised') requestAnimationFrame(() => focusEditor(owner));
  };
  return (
    <div class="compose-title" data-anchor={`title:${owner}`}>
      <button
        type="button" class="compose-name" aria-expanded={shape !== 'minimised'} title={title}
        onClick={toggleMinimised}
        onDblClick={() => setShape(owner, shape === 'maximised' ? 'normal' : 'maximised')}
      >
        {title}
      </button>
      <button
        type="button" class="plain-button" aria-label={shape === 'minimised' ? 'Open' : 'Minimise'}
        title={shape === 'minimised' ? 'Open' : 'Minimise'} onClick={toggleMinimised}
      >
        <Icon name={shape === 'minimised' ? 'maximise' : 'minimise'} size={14} />
      </button>
      {shape !== 'minimised' && (
        <button
          type="button" class="plain-button wide-only" aria-label={shape === 'maximised' ? 'Make smaller' : 'Maximise'}
          title={shape === 'maximised' ? 'Make smaller' : 'Maximise'}
          onClick={() => setShape(owner, shape === 'maximised' ? 'normal' : 'maximised')}
        >
          <Icon name={shape === 'maximised' ? 'restore' : 'maximise'} size={14} />
        </button>
      )}
      <button
        type="button" class="plain-button" aria-label="Close" title="Close"
        onClick={() => {
          if (shape === 'minimised') setShape(owner, 'normal'); // the question is asked in the window
          act('compose.close', { window: owner, keep: 'ask' });
        }}
      >
        <Icon name="close" size={14} />
      </button>
    </div>
  );
}
