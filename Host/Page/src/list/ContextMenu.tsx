// The menu of the selected messages: plug-ins add to it.
import { call } from '../actions';
import { HostMenu, pointAt } from '../menus/HostMenu';
import type { Id } from '../protocol';

export interface ContextRequest {
  ids: Id[];
  x: number;
  y: number;
}

export function ContextMenu({ request, onClose }: { request: ContextRequest; onClose(): void }) {
  return (
    <HostMenu
      key={`${request.x} ${request.y} ${request.ids.join()}`} place={{ menu: 'context' }}
      ask={() => call('context.open', { ids: request.ids })} label="Actions for the selected messages"
      anchor={pointAt(request.x, request.y)} onClose={onClose}
    />
  );
}
