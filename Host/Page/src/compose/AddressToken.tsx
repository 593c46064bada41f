// One address in a field.
import { Icon } from '../base/Icon';
import { parseAddress } from './addresses';

/** The type of data that a dragged address carries: {"address"}. */
export const addressesType = 'application/x-quillstead-address';

interface Props {
  text: string;
  disabled: boolean;
  onRemove(): void;
  onEdit(): void;
  onDragged(): void; // a drag begins
  onDraggedAway(): void; // and ended in another field
  onMove(direction: 1 | -1): void;
}

export function AddressToken({ text, disabled, onRemove, onEdit, onDragged, onDraggedAway, onMove }: Props) {
  const { name, address, valid } = parseAddress(text);
  const onKeyDown = (event: KeyboardEvent): void => {
    if (disabled || event.ctrlKey || event.metaKey) return;
    if (event.key === 'Backspace' || event.key === 'Delete') onRemove();
    else if (event.key === 'Enter' || event.key === 'F2') onEdit();
    else if (event.key === 'ArrowLeft') onMove(-1);
    else if (event.key === 'ArrowRight') onMove(1);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return (
    <span class={`token${valid ? '' : ' invalid'}`} tabIndex={-1} role="group" draggable={!disabled}
      aria-label={valid ? text : `${text}, not a valid address`} title={valid ? address : 'This does not look like an address'}
      onKeyDown={onKeyDown} onDblClick={() => !disabled && onEdit()}
      onDragStart={(event) => {
        onDragged();
        event.dataTransfer?.setData(addressesType, JSON.stringify({ address: text }));
        event.dataTransfer?.setData('text/plain', text);
        if (event.dataTransfer) event.dataTransfer.effectAllowed = 'move';
      }}
      onDragEnd={(event) => event.dataTransfer?.dropEffect === 'move' && onDraggedAway()}
    >
      <span class="token-text">{name || address}</span>
      <button type="button" class="token-remove" tabIndex={-1} aria-label={`Remove ${name || address}`} disabled={disabled} onClick={onRemove}>
        <Icon name="close" size={9} />
      </button>
    </span>
  );
}
