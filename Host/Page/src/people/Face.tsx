// The picture of somebody beside the name, round; initials until it is there. The name stands beside it, so screen readers
// are told nothing of it, and its place is the same with and without a picture.
import type { PersonModel } from '../protocol';
import { usePicture } from './pictures';

export function Face({ person }: { person: PersonModel }) {
  const picture = usePicture(person.address);
  return (
    <span class="face" aria-hidden="true">
      {picture ? <img class="face-picture" src={picture} alt="" draggable={false} /> : person.initials}
    </span>
  );
}
