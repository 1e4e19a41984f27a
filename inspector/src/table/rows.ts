// Which rows a table shows, and in what order: pure functions over places of rows.

/** What is sorted by: numbers rise, null comes last in both directions; texts by their letters. */
export type SortKey = number | string | null;

export interface Sorting {
  column: string;
  descending: boolean;
}

const LETTERS = new Intl.Collator("en", { numeric: true, sensitivity: "base" });

/** The places in the order of their keys; equal ones stay in the order they came in. */
export function sortedPlaces(places: readonly number[], keys: readonly SortKey[], descending: boolean): number[] {
  const sign = descending ? -1 : 1;
  return [...places].sort((a, b) => compareKeys(keys[a] ?? null, keys[b] ?? null, sign) || a - b);
}

function compareKeys(a: SortKey, b: SortKey, sign: number): number {
  const aIsLast = a === null || Number.isNaN(a);
  const bIsLast = b === null || Number.isNaN(b);
  if (aIsLast || bIsLast) return Number(aIsLast) - Number(bIsLast);
  if (typeof a === "number" && typeof b === "number") return a === b ? 0 : a < b ? -sign : sign;
  return sign * LETTERS.compare(String(a), String(b));
}

/** Texts that rows are searched in, made once for all searches. */
export class SearchTexts {
  private readonly texts: string[];

  constructor(texts: readonly string[]) {
    this.texts = texts.map(folded);
  }

  /**
   * The places whose text has every word of the query. A word that begins with "-" must not be there;
   * words in quotes may have blanks.
   */
  matching(query: string, places: Iterable<number> = this.texts.keys()): number[] {
    const words = wordsOf(query);
    const found: number[] = [];
    for (const place of places) {
      const text = this.texts[place] ?? "";
      if (words.every(({ word, isWanted }) => text.includes(word) === isWanted)) found.push(place);
    }
    return found;
  }
}

interface Word {
  word: string;
  isWanted: boolean;
}

function wordsOf(query: string): Word[] {
  const parts = query.match(/-?"[^"]*"?|\S+/g) ?? [];
  return parts
    .map((part) => {
      const isWanted = !(part.startsWith("-") && part.length > 1);
      const word = (isWanted ? part : part.slice(1)).replace(/^"([^"]*)"?$/, "$1");
      return { word: folded(word), isWanted };
    })
    .filter(({ word }) => word !== "");
}

function folded(text: string): string {
  return text.toLowerCase();
}
