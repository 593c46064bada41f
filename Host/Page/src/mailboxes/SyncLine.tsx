// How an account stands with its mail server: what is being fetched, or why nothing can be.
import { act } from '../actions';
import type { SyncModel } from '../protocol';

export function SyncLine({ account, sync }: { account: string; sync: SyncModel }) {
  return (
    <div class="sync-line">
      <span role="status">{sync.text}</span>
      {sync.total > 0 && <progress value={sync.done} max={sync.total} aria-hidden="true" />}
      {sync.canRetry && (
        <button type="button" class="link-like" onClick={() => act('account.sync', { account })}>Try now</button>
      )}
    </div>
  );
}
