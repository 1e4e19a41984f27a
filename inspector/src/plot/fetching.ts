// Fetches what a window shows, as the window moves: at most one request at a time, and more than the
// screen, so that panning shows samples at once.

import type { Window } from "../data/source";
import { contains, surroundings, width } from "./window";

/** Fetched for this window with this resolution; `isThinned`: a narrower one would show more. */
interface Held {
  window: Window;
  perColumn: number;
  isThinned: boolean;
}

/**
 * `fetch` gets a window three screens wide and three times the columns, and says whether samples were
 * left out. Its rejections go to `failed`; the next window that is shown tries again.
 */
export class WindowFetcher {
  private held: Held | null = null;
  private wanted: { window: Window; columns: number } | null = null;
  private isBusy = false;
  private generation = 0;

  constructor(
    private readonly extent: Window,
    private readonly fetch: (window: Window, columns: number) => Promise<boolean>,
    private readonly failed: (error: unknown) => void,
  ) {}

  /** Says which window is shown; fetches what it lacks. */
  show(window: Window, columns: number): void {
    this.wanted = { window, columns };
    if (!this.isBusy) void this.work();
  }

  /** Forgets what was fetched: the samples have changed. */
  forget(): void {
    this.held = null;
    this.generation += 1;
    if (this.wanted !== null && !this.isBusy) void this.work();
  }

  /** Takes over what is shown already: the whole extent in so many columns. */
  hold(columns: number, isThinned: boolean): void {
    this.held = { window: this.extent, perColumn: width(this.extent) / columns, isThinned };
  }

  private isEnough(window: Window, columns: number): boolean {
    const { held } = this;
    if (held === null || !contains(held.window, window)) return false;
    return !held.isThinned || held.perColumn <= (width(window) / columns) * 1.01;
  }

  private async work(): Promise<void> {
    this.isBusy = true;
    try {
      while (this.wanted !== null) {
        const { window, columns } = this.wanted;
        this.wanted = null;
        if (this.isEnough(window, columns)) continue;
        const around = surroundings(window, this.extent);
        const asked = Math.max(1, Math.ceil(columns * (width(around) / (width(window) || 1))));
        const { generation } = this;
        try {
          const isThinned = await this.fetch(around, asked);
          if (generation === this.generation) {
            this.held = { window: around, perColumn: width(around) / asked, isThinned };
          } else this.wanted ??= { window, columns };
        } catch (error) {
          this.failed(error);
        }
      }
    } finally {
      this.isBusy = false;
    }
  }
}
