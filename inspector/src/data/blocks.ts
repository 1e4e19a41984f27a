// Curves as the server sends them: little-endian bytes, each block aligned so that its numbers are
// read in place. The form is described in docs/inspector.md.

import type { Curve } from "./source";

export interface Block {
  name: string;
  curve: Curve;
}

const THINNED = 1;

/** The blocks of an answer. Throws for bytes that are not of this form. */
export function readBlocks(bytes: ArrayBuffer): Block[] {
  const view = new DataView(bytes);
  let place = 0;
  const number = (): number => {
    const read = view.getUint32(place, true);
    place += 4;
    return read;
  };
  const numbers = (count: number): Float64Array => {
    const read = new Float64Array(bytes, place, count);
    place += 8 * count;
    return read;
  };
  const count = number();
  const blocks: Block[] = [];
  for (let i = 0; i < count; i++) {
    const length = number();
    const name = new TextDecoder().decode(new Uint8Array(bytes, place, length));
    place = aligned(place + length, 4);
    const flags = number();
    const samples = number();
    place = aligned(place, 8);
    const times = numbers(samples);
    blocks.push({ name, curve: { times, values: numbers(samples), thinned: (flags & THINNED) !== 0 } });
  }
  return blocks;
}

function aligned(place: number, multiple: number): number {
  return Math.ceil(place / multiple) * multiple;
}
