// Items at the end of the title bar, as models tell them. Popovers point at them by their ids.
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { useStore } from '../base/Store';
import { host } from '../state';

export function StatusItems() {
  const items = useStore(host, (model) => model.status);
  if (items.length === 0) return null;
  return (
    <div class="status-items" role="toolbar" aria-label="Status" data-part>
      {items.map((item) => (
        <button
          key={item.id} type="button" class="plain-button status-item" title={item.title} aria-label={item.title}
          data-anchor={item.id} onClick={() => act('status.choose', { id: item.id })}
        >
          <Icon name={item.image} fallback={item.title} size={20} />
        </button>
      ))}
    </div>
  );
}
