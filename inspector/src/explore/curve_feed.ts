// The samples of all curves that are shown, fetched for the window that is shown.

import type { Curve, StoreSource, Window } from "../data/source";
import { WindowFetcher } from "../plot/fetching";
import { equalWindows } from "../plot/window";

/** What is to be shown: the names of curves, and all of the time that they have. */
export interface Wanted {
  names: readonly string[];
  extent: Window;
}

/** Requests are made one after the other, whatever is asked for meanwhile. */
export class CurveFeed {
  /** By name; curves of an earlier window stay until the new ones are there. */
  readonly curves = new Map<string, Curve>();
  private wanted: Wanted | null = null;
  private fetcher: WindowFetcher | null = null;
  private inAir: Promise<unknown> = Promise.resolve();

  constructor(
    private readonly source: Pick<StoreSource, "curves">,
    private readonly arrived: () => void,
    private readonly failed: (error: unknown) => void,
  ) {}

  /** Says what is shown; fetches what is not there. */
  show(wanted: Wanted, window: Window, columns: number): void {
    if (this.wanted === null || !sameWanted(this.wanted, wanted)) this.begin(wanted);
    if (wanted.names.length > 0) this.fetcher?.show(window, columns);
  }

  /** Fetches all anew: the samples may be others. */
  forget(): void {
    this.wanted = null;
  }

  private begin(wanted: Wanted): void {
    this.wanted = wanted;
    const names = new Set(wanted.names);
    for (const name of [...this.curves.keys()]) if (!names.has(name)) this.curves.delete(name);
    this.fetcher = new WindowFetcher(wanted.extent, (window, columns) => this.fetch(wanted, window, columns), this.failed);
  }

  private fetch(wanted: Wanted, window: Window, columns: number): Promise<boolean> {
    const fetched = this.inAir.then(async () => {
      if (this.wanted !== wanted) return true; // overtaken before it was asked
      const of = [...wanted.names];
      const curves = await this.source.curves({ of, window, columns });
      if (this.wanted !== wanted) return true;
      of.forEach((name, place) => this.curves.set(name, curves[place]!));
      this.arrived();
      return curves.some(({ thinned }) => thinned);
    });
    this.inAir = fetched.catch(() => undefined);
    return fetched;
  }
}

function sameWanted(a: Wanted, b: Wanted): boolean {
  return equalWindows(a.extent, b.extent) && a.names.join() === b.names.join();
}
