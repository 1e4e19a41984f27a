// Reads the blocks that hold the curves of a report. A block is, before deflate:
//
//   u32    length of the header
//   ...    the header, JSON in UTF-8, padded with blanks to a multiple of 4
//   ...    the bytes of the arrays, one after the other
//
// All numbers are little endian. The header lists the arrays and says which of them make which curve.
// The bytes of an array are shuffled: first the lowest byte of every element, then the next one.

import type { Curve, Look, PairCurves } from "./source";

/**
 * How an array of n doubles is written.
 *
 * plain    as they are
 * steps    as 64-bit integers, each less the one before: rising times differ in few bytes
 * like     combined by exclusive or with the array of that number
 * grid     time bases of equal steps: numbers i, each less the one before, as u32; the double is
 *          start + i * step, or i / rate
 */
type ArrayHeader =
  | { form: "plain"; n: number }
  | { form: "steps"; n: number }
  | { form: "like"; n: number; base: number }
  | { form: "grid"; n: number; start: number; step: number }
  | { form: "rate"; n: number; rate: number };

/** Numbers of arrays; null where there is none. */
interface CurveHeader {
  times: number;
  values: number;
  thinned: boolean;
}

/**
 * Of one component. `aligned` are the compared instants; `at` the baseline there. A difference of
 * null is |baseline - other|, value by value; a tolerance of null is max(absolute, relative * |at|).
 */
interface ComponentHeader {
  component: number;
  baseline: CurveHeader | null;
  other: CurveHeader | null;
  baseline_imaginary: CurveHeader | null;
  other_imaginary: CurveHeader | null;
  aligned: {
    times: number;
    at: number | null;
    difference: number | null;
    tolerance: number | null;
    absolute: number;
    relative: number;
    thinned: boolean;
  } | null;
}

interface BlockHeader {
  arrays: ArrayHeader[];
  components: ComponentHeader[];
  components_total: number;
}

/** What stands beside the block, for it differs between pairs with the same curves. */
export interface PairLooks {
  baseline_look: Look | null;
  other_look: Look | null;
  is_date: boolean;
  unit: string | null;
}

/** A block that was read: its arrays are made when a curve first needs them. */
export class PackedPair {
  private readonly header: BlockHeader;
  private readonly starts: number[] = [];
  private readonly made = new Map<number, Float64Array>();

  constructor(private readonly bytes: Uint8Array) {
    const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
    const length = view.getUint32(0, true);
    const text = new TextDecoder("utf-8", { fatal: true }).decode(bytes.subarray(4, 4 + length));
    this.header = JSON.parse(text) as BlockHeader;
    let start = 4 + length;
    for (const array of this.header.arrays) {
      this.starts.push(start);
      start += array.n * elementSize(array);
    }
    if (start !== bytes.length) throw new Error("the curves of this pair are damaged");
  }

  /** The curves of a component, or of the first one. */
  curves(component: number | null, looks: PairLooks): PairCurves | null {
    const { components, components_total } = this.header;
    const header = components.find((one) => one.component === component) ?? components[0];
    if (header === undefined) return null;
    return {
      component: header.component,
      components: components.map((one) => one.component),
      components_total,
      baseline: this.curve(header.baseline),
      other: this.curve(header.other),
      baseline_imaginary: this.curve(header.baseline_imaginary),
      other_imaginary: this.curve(header.other_imaginary),
      ...this.aligned(header),
      ...looks,
    };
  }

  private curve(header: CurveHeader | null): Curve | null {
    if (header === null) return null;
    return { times: this.array(header.times), values: this.array(header.values), thinned: header.thinned };
  }

  private aligned(
    header: ComponentHeader,
  ): Pick<PairCurves, "difference" | "tolerance" | "low" | "high"> {
    const { aligned } = header;
    if (aligned === null) return { difference: null, tolerance: null, low: null, high: null };
    const times = this.array(aligned.times);
    const curve = (values: Float64Array): Curve => ({ times, values, thinned: aligned.thinned });
    const at = aligned.at === null ? null : this.array(aligned.at);
    const difference =
      aligned.difference === null ? this.apart(header) : this.array(aligned.difference);
    const tolerance =
      aligned.tolerance === null
        ? (at ?? difference).map((value) => Math.max(aligned.absolute, aligned.relative * Math.abs(value)))
        : this.array(aligned.tolerance);
    return {
      difference: curve(difference),
      tolerance: curve(tolerance),
      low: at && curve(at.map((value, place) => value - tolerance[place]!)),
      high: at && curve(at.map((value, place) => value + tolerance[place]!)),
    };
  }

  private apart({ baseline, other }: ComponentHeader): Float64Array {
    if (baseline === null || other === null) throw new Error("the curves of this pair are damaged");
    const there = this.array(other.values);
    return this.array(baseline.values).map((value, place) => Math.abs(value - there[place]!));
  }

  private array(number: number): Float64Array {
    const known = this.made.get(number);
    if (known !== undefined) return known;
    const header = this.header.arrays[number];
    const start = this.starts[number];
    if (header === undefined || start === undefined) throw new Error("the curves of this pair are damaged");
    const array = this.unpack(header, unshuffled(this.bytes, start, header.n, elementSize(header)));
    this.made.set(number, array);
    return array;
  }

  private unpack(header: ArrayHeader, bytes: Uint8Array): Float64Array {
    if (header.form === "grid" || header.form === "rate") {
      const numbers = summed32(new Uint32Array(bytes.buffer));
      if (header.form === "rate") return Float64Array.from(numbers, (i) => i / header.rate);
      return Float64Array.from(numbers, (i) => header.start + i * header.step);
    }
    const bits = new BigUint64Array(bytes.buffer);
    if (header.form === "steps") {
      for (let place = 1; place < bits.length; place++) bits[place] = bits[place]! + bits[place - 1]!;
    } else if (header.form === "like") {
      const base = new BigUint64Array(this.array(header.base).buffer);
      for (let place = 0; place < bits.length; place++) bits[place] = bits[place]! ^ base[place]!;
    }
    return new Float64Array(bits.buffer);
  }
}

function elementSize({ form }: ArrayHeader): number {
  return form === "grid" || form === "rate" ? 4 : 8;
}

/** The elements whose bytes stand plane by plane, in memory of their own. */
export function unshuffled(bytes: Uint8Array, start: number, n: number, size: number): Uint8Array {
  const elements = new Uint8Array(n * size);
  for (let plane = 0; plane < size; plane++) {
    const from = start + plane * n;
    for (let place = 0; place < n; place++) elements[place * size + plane] = bytes[from + place]!;
  }
  return elements;
}

function summed32(steps: Uint32Array): Uint32Array {
  for (let place = 1; place < steps.length; place++) steps[place] = steps[place]! + steps[place - 1]!;
  return steps;
}
