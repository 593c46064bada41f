// Tells the host which modifier keys are held down, while something there wants to know.
import { act } from '../actions';
import { host, ui } from '../state';
import { isMac } from './platform';
import { flagsFrom } from './shortcuts';

let told = 0;

function tell(flags: number): void {
  if (flags === told || !host.get().app.watchesModifiers || ui.get().link !== 'open') return;
  told = flags;
  act('app.modifiers', { flags });
}

export function watchModifiers(): void {
  const look = (event: KeyboardEvent | PointerEvent): void => tell(flagsFrom(event, isMac));
  window.addEventListener('keydown', look, true);
  window.addEventListener('keyup', look, true);
  // A key that went down while the text of a message had the focus is seen when the pointer comes.
  window.addEventListener('pointerover', look, true);
  window.addEventListener('blur', () => tell(0));
}
