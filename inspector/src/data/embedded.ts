// A report: the comparison and its curves stand in the page itself, in elements that are data and
// nothing else. Each holds the base64 of what deflate made. The curves of a pair are read when the
// pair is looked at.

import { readComparison } from "./numbers";
import { PackedPair } from "./packed";
import type { PairLooks } from "./packed";
import type { Comparison, Dash, Look, PairCurves, PairRequest, Source } from "./source";

const COMPARISON = "kvr-comparison";
const PAIR = "kvr-pair-";
const NEWEST = 1; // form of the report

/**
 * The comparison as the report holds it. Verdicts are rows of `fields`; settings and looks count from
 * 0 in their tables. `curves` are the numbers of the blocks, null for a pair that has none.
 */
interface Held {
  form: number;
  comparison: Record<string, unknown>;
  fields: string[];
  verdicts: unknown[][];
  tolerances: unknown[];
  syncs: unknown[];
  looks: [string | null, Dash | null][];
  pairs: { curves: number | null; looks: [number | null, number | null]; unit: string | null; is_date: boolean }[];
}

/** Whether the page carries a report. */
export function hasReport(page: Document): boolean {
  return page.getElementById(COMPARISON) !== null;
}

export class EmbeddedSource implements Source {
  private held: Promise<{ held: Held; comparison: Comparison }> | null = null;
  private newest: { number: number; pair: Promise<PackedPair> } | null = null;

  constructor(private readonly page: Document) {}

  async comparison(): Promise<Comparison> {
    return (await this.read()).comparison;
  }

  async pair(index: number, request: PairRequest): Promise<PairCurves | null> {
    const { held, comparison } = await this.read();
    const pair = held.pairs[index];
    if (pair === undefined || pair.curves === null) return null;
    const looks: PairLooks = {
      baseline_look: lookOf(held, pair.looks[0]),
      other_look: lookOf(held, pair.looks[1]),
      is_date: pair.is_date,
      unit: pair.unit,
    };
    const worst = comparison.verdicts[index]?.worst?.component ?? null;
    return (await this.block(pair.curves)).curves(request.component ?? worst, looks);
  }

  private read(): Promise<{ held: Held; comparison: Comparison }> {
    this.held ??= this.readHeld();
    return this.held;
  }

  private async readHeld(): Promise<{ held: Held; comparison: Comparison }> {
    const bytes = await inflated(this.text(COMPARISON));
    const held = JSON.parse(new TextDecoder().decode(bytes)) as Held;
    if (held.form !== NEWEST) throw new Error(`this report has form ${held.form}, the page reads ${NEWEST}`);
    const verdicts = held.verdicts.map((row) => {
      const record = Object.fromEntries(held.fields.map((name, place) => [name, row[place]]));
      const { tolerance, sync } = record as { tolerance: number | null; sync: number | null };
      return {
        ...record,
        tolerance: tolerance === null ? null : held.tolerances[tolerance],
        sync: sync === null ? null : held.syncs[sync],
      };
    });
    const is_date = held.pairs.map((pair) => pair.is_date);
    return { held, comparison: readComparison({ ...held.comparison, verdicts, is_date }) };
  }

  /** The newest block stays read: zooming and stepping ask for it again and again. */
  private block(number: number): Promise<PackedPair> {
    if (this.newest?.number !== number) {
      const pair = inflated(this.text(`${PAIR}${number}`)).then((bytes) => new PackedPair(bytes));
      this.newest = { number, pair };
    }
    return this.newest.pair;
  }

  private text(id: string): string {
    const text = this.page.getElementById(id)?.textContent;
    if (text === null || text === undefined) throw new Error(`this report has lost a part of its data, ${id}`);
    return text;
  }
}

function lookOf(held: Held, number: number | null): Look | null {
  const [color, dash] = (number === null ? undefined : held.looks[number]) ?? [null, null];
  return color === null ? null : { color, dash: dash ?? "-" };
}

/** The bytes of base64 and deflate, without a header. */
export async function inflated(base64: string): Promise<Uint8Array> {
  const text = atob(base64.trim());
  const packed = new Uint8Array(text.length);
  for (let place = 0; place < text.length; place++) packed[place] = text.charCodeAt(place);
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate-raw"));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}
