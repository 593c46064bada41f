// A field of a message being written: the person's word counts while the host does not know it yet, the host's otherwise.
import { useEffect, useState } from 'preact/hooks';
import type { Outgoing } from './Outgoing';

export function useSynced<T>(told: T, outgoing: Outgoing, stage: (value: T) => void): [T, (value: T) => void] {
  const [value, setValue] = useState(told);
  const key = JSON.stringify(told);
  useEffect(() => {
    if (!outgoing.isBehind()) setValue(told);
  }, [key]);
  return [
    value,
    (next) => {
      setValue(next);
      stage(next);
    },
  ];
}
