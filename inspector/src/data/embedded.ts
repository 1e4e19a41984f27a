// A page that carries its data: in elements that are data and nothing else. Each holds the base64 of
// what deflate made. The first is JSON that says what kind of page it is; of a comparison the others
// are the curves of pairs, each read when its pair is looked at.

import { readComparison } from "./numbers";
import { PackedPair } from "./packed";
import type { PairLooks } from "./packed";
import type { Comparison, Dash, Interval, Look, PairCurves, PairRequest, Source } from "./source";

const DATA = "kvr-data";
const BLOCK = "kvr-block-";

/** What a page carries; `kind` says what the other fields are. */
export interface EmbeddedData {
  kind: string;
}

/**
 * The comparison as the report holds it. Verdicts are rows of `fields`; settings and looks count from
 * 0 in their tables. `curves` are the numbers of the blocks, null for a pair that has none.
 */
interface ComparisonData extends EmbeddedData {
  comparison: Record<string, unknown>;
  fields: string[];
  verdicts: unknown[][];
  tolerances: unknown[];
  syncs: unknown[];
  looks: [string, Dash][];
  pairs: { curves: number | null; looks: [number | null, number | null]; unit: string | null; is_date: boolean }[];
}

/** Whether the page carries data. */
export function carriesData(page: Document): boolean {
  return page.getElementById(DATA) !== null;
}

/** Reads what the page carries. Rejected where a part of it is lost or damaged. */
export async function readEmbedded(page: Document): Promise<EmbeddedData> {
  const bytes = await inflated(textOf(page, DATA));
  return JSON.parse(new TextDecoder().decode(bytes)) as EmbeddedData;
}

export class EmbeddedSource implements Source {
  private readonly data: ComparisonData;
  private readonly read: Comparison;
  private newest: { number: number; pair: Promise<PackedPair> } | null = null;

  /** `data` of the kind "comparison". */
  constructor(
    private readonly page: Document,
    data: EmbeddedData,
  ) {
    this.data = data as ComparisonData;
    this.read = comparisonOf(this.data);
  }

  comparison(): Promise<Comparison> {
    return Promise.resolve(this.read);
  }

  async pair(index: number, request: PairRequest): Promise<PairCurves | null> {
    const pair = this.data.pairs[index];
    if (pair === undefined || pair.curves === null) return null;
    const looks: PairLooks = {
      baseline_look: lookOf(this.data, pair.looks[0]),
      other_look: lookOf(this.data, pair.looks[1]),
      is_date: pair.is_date,
      unit: pair.unit,
    };
    const worst = this.read.verdicts[index]?.worst?.component ?? null;
    return (await this.block(pair.curves)).curves(request.component ?? worst, looks);
  }

  /** The newest block stays read: zooming and stepping ask for it again and again. */
  private block(number: number): Promise<PackedPair> {
    if (this.newest?.number !== number) {
      const pair = inflated(textOf(this.page, `${BLOCK}${number}`)).then((bytes) => new PackedPair(bytes));
      this.newest = { number, pair };
    }
    return this.newest.pair;
  }
}

function textOf(page: Document, id: string): string {
  const text = page.getElementById(id)?.textContent;
  if (text === null || text === undefined) throw new Error(`it has lost a part of its data, ${id}`);
  return text;
}

function comparisonOf(data: ComparisonData): Comparison {
  const verdicts = data.verdicts.map((row) => {
    const record = Object.fromEntries(data.fields.map((name, place) => [name, row[place]]));
    const { tolerance, sync } = record as { tolerance: number | null; sync: number | null };
    return {
      ...record,
      intervals: intervalsOf(record["intervals"] as number[]),
      tolerance: tolerance === null ? null : data.tolerances[tolerance],
      sync: sync === null ? null : data.syncs[sync],
    };
  });
  const is_date = data.pairs.map((pair) => pair.is_date);
  return readComparison({ ...data.comparison, verdicts, is_date });
}

/** `numbers` has the first time, the last time and the count of each interval in a row. */
function intervalsOf(numbers: readonly number[]): Interval[] {
  const places = [...numbers.keys()].filter((place) => place % 3 === 0);
  return places.map((place) => ({ first: numbers[place]!, last: numbers[place + 1]!, count: numbers[place + 2]! }));
}

function lookOf(data: ComparisonData, number: number | null): Look | null {
  const [color, dash] = (number === null ? undefined : data.looks[number]) ?? [];
  return color === undefined ? null : { color, dash: dash ?? "-" };
}

/** The bytes of base64 and deflate, without a header. */
export async function inflated(base64: string): Promise<Uint8Array> {
  const text = atob(base64.trim());
  const packed = new Uint8Array(text.length);
  for (let place = 0; place < text.length; place++) packed[place] = text.charCodeAt(place);
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate-raw"));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}
