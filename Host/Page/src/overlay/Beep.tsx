// The host's beep, for the eye: the edge of the page lights up for a moment.
import { useEffect } from 'preact/hooks';
import { useStore } from '../base/Store';
import { announce, ui } from '../state';

export function Beep() {
  const beeps = useStore(ui, (value) => value.beeps);
  useEffect(() => {
    if (beeps > 0) announce(beeps % 2 ? 'That is not possible here.' : 'That is not possible here, either.');
  }, [beeps]);
  return beeps > 0 ? <div key={beeps} class="beep" aria-hidden="true" /> : null;
}
