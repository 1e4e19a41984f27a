// Several plots over one time axis, with one window, one cursor and one pin.
//
// Mouse: drag zooms, shift+drag or shift+wheel pans, the wheel zooms at the cursor, a click pins the
// cursor, a double click shows everything. Keys, on a focused plot: arrows pan, + and - zoom, Home
// shows everything, [ and ] move the cursor from sample to sample, Enter pins it, Escape removes both.

import type { Window } from "../data/source";
import { element } from "../dom";
import { frames } from "../state/frames";
import { bindKeys } from "../state/keys";
import type { PlotContent } from "./content";
import { listenToGestures } from "./gestures";
import { pictureOf } from "./picture";
import { Plot } from "./plot";
import type { PlotColors, Shared } from "./plot";
import { extentOf, neighbouringTime } from "./samples";
import { equalWindows, fitted, panned, union, width, zoomed } from "./window";

export interface PlotsOptions {
  /** Told of each window that is shown, after it is; null is all of the time. */
  onWindow?: (window: Window | null) => void;
  /** Told of the time under the cursor and of the pinned one. */
  onCursor?: (cursor: number | null, pin: number | null) => void;
}

const PAN = 0.15;
const ZOOM = 1 / 1.5;
const AXIS_DIGIT = 6.6; // CSS pixels of a digit of the axis
const AXIS_LEAST = 48;
const TIME_AXIS = 28; // CSS pixels that the lowest plot is higher than its part

export class Plots {
  readonly element = element("div", "plots", {
    tabindex: 0,
    role: "group",
    "aria-roledescription": "plots over one time axis",
    "aria-label": "Plots",
  });
  private plots: Plot[] = [];
  private contents: PlotContent[] = [];
  /** All of the time; zooming ends there. */
  private extent: Window = { first: 0, last: 1 };
  /** Null: all of the time. */
  private shown: Window | null = null;
  private cursor: number | null = null;
  private pin: number | null = null;
  private readonly shared: Shared = { window: this.extent, isDate: false, axisWidth: AXIS_LEAST };
  private readonly sizes: ResizeObserver;
  private readonly endings: (() => void)[] = [];

  constructor(private readonly options: PlotsOptions = {}) {
    this.sizes = new ResizeObserver(() => this.schedule());
    this.sizes.observe(this.element);
    this.endings.push(bindKeys(this.element, this.hotKeys()));
    for (const query of ["(prefers-color-scheme: dark)", "print"]) {
      const media = matchMedia(query);
      const changed = (): void => this.drawNow();
      media.addEventListener("change", changed);
      this.endings.push(() => media.removeEventListener("change", changed));
    }
  }

  /** The window that is shown, null for all of the time. */
  get window(): Window | null {
    return this.shown;
  }

  /** The shown window, also where it is all of the time. */
  get times(): Window {
    return this.shown ?? this.extent;
  }

  /** All of the time there is. */
  get extentShown(): Window {
    return this.extent;
  }

  /** The time of the pinned cursor. */
  get pinned(): number | null {
    return this.pin;
  }

  /** How many pixel columns the curves have: the resolution to fetch. */
  get columns(): number {
    const area = this.plots[0]?.area.clientWidth ?? this.element.clientWidth;
    return Math.max(100, Math.round(area * devicePixelRatio));
  }

  /**
   * Shows these plots in place of the others. `extent` is all of the time there is, by default that of
   * the curves. The window, cursor and pin stay.
   */
  setContent(contents: PlotContent[], isDate: boolean, extent: Window | null = null): void {
    const keys = (list: readonly PlotContent[]): string => JSON.stringify(list.map(({ key }) => key));
    const isNew = keys(contents) !== keys(this.contents) || isDate !== this.shared.isDate;
    this.contents = contents;
    this.shared.isDate = isDate;
    const all = extent ?? extentOfContents(contents);
    if (all !== null) this.setExtent(all);
    if (isNew) this.rebuild();
    else this.plots.forEach((plot, place) => plot.setContent(contents[place]!));
    this.schedule();
  }

  private setExtent(extent: Window): void {
    const room = Math.max(Math.abs(extent.first) * 1e-9, 0.5);
    // A single instant is shown with some time around it.
    this.extent =
      extent.last > extent.first ? extent : { first: extent.first - room, last: extent.last + room };
    if (this.shown !== null) this.shown = fitted(this.shown, this.extent);
  }

  private rebuild(): void {
    for (const plot of this.plots) plot.destroy();
    const colors = this.colors();
    this.shared.window = this.times;
    this.plots = this.contents.map((content, place) => {
      const isLast = place === this.contents.length - 1;
      const plot = new Plot(this.shared, content, () => this.palette, isLast, this.sizeOf(place));
      this.element.append(plot.element);
      this.listen(plot);
      return plot;
    });
    this.palette = colors;
  }

  private palette: PlotColors = { text: "#666", grid: "#8883" };

  private colors(): PlotColors {
    const style = getComputedStyle(this.element);
    const color = (name: string, otherwise: string): string => style.getPropertyValue(name).trim() || otherwise;
    return { text: color("--muted", "#666"), grid: color("--grid", "#8883") };
  }

  private listen(plot: Plot): void {
    listenToGestures(plot.area, (x) => plot.timeAt(x), {
      zoomTo: (first, last) => this.setWindow({ first, last }),
      zoomAt: (time, factor) => this.setWindow(zoomed(this.times, this.extent, time, factor)),
      panBy: (part) => this.setWindow(panned(this.times, this.extent, part)),
      whole: () => this.setWindow(null),
      hover: (time) => this.setCursor(time, this.pin),
      pin: (time) => this.setCursor(this.cursor, time),
    });
  }

  /** Shows a window; null, or one that has all of the time, shows everything. */
  setWindow(window: Window | null): void {
    const fit = window === null ? null : fitted(window, this.extent);
    const next = fit !== null && equalWindows(fit, this.extent) ? null : fit;
    if (equalWindows(next, this.shown)) return;
    this.shown = next;
    this.schedule();
    this.options.onWindow?.(next);
  }

  /** Shows the cursor and the pinned cursor at these times; null removes one. */
  setCursor(cursor: number | null, pin: number | null): void {
    if (cursor === this.cursor && pin === this.pin) return;
    this.cursor = cursor;
    this.pin = pin;
    for (const plot of this.plots) plot.markTimes(cursor, pin);
    this.options.onCursor?.(cursor, pin);
  }

  private schedule(): void {
    frames.schedule(this, () => this.drawNow());
  }

  /** Draws at once; printing cannot wait for the next frame. */
  drawNow(): void {
    if (this.element.clientWidth === 0) return;
    this.palette = this.colors();
    this.shared.window = this.times;
    this.plots.forEach((plot, place) => {
      const { width: across, height } = this.sizeOf(place);
      plot.setSize(across, height);
    });
    const texts = this.plots.flatMap((plot) => plot.measure());
    const longest = Math.max(0, ...texts.map((text) => text.length));
    this.shared.axisWidth = Math.max(AXIS_LEAST, Math.ceil(longest * AXIS_DIGIT) + 14);
    for (const plot of this.plots) {
      plot.redraw();
      plot.markTimes(this.cursor, this.pin);
    }
  }

  private sizeOf(place: number): { width: number; height: number } {
    const titles = this.plots.reduce((sum, plot) => sum + plot.element.offsetHeight - plot.canvas.offsetHeight, 0);
    const free = Math.max(120 * this.contents.length, this.element.clientHeight - titles - TIME_AXIS - 2);
    const weights = this.contents.map((content) => content.weight ?? 1);
    const part = weights[place]! / weights.reduce((sum, one) => sum + one, 0);
    const axis = place === this.contents.length - 1 ? TIME_AXIS : 0;
    return { width: Math.max(200, this.element.clientWidth), height: Math.floor(free * part) + axis };
  }

  private hotKeys(): Parameters<typeof bindKeys>[1] {
    const pan = (part: number) => () => this.setWindow(panned(this.times, this.extent, part));
    const zoom = (factor: number) => () => {
      const { first, last } = this.times;
      const at = this.cursor !== null && this.cursor >= first && this.cursor <= last ? this.cursor : (first + last) / 2;
      this.setWindow(zoomed(this.times, this.extent, at, factor));
    };
    return [
      { keys: ["ArrowLeft"], help: "earlier", run: pan(-PAN) },
      { keys: ["ArrowRight"], help: "later", run: pan(PAN) },
      { keys: ["Shift+ArrowLeft"], help: "a screen earlier", run: pan(-1) },
      { keys: ["Shift+ArrowRight"], help: "a screen later", run: pan(1) },
      { keys: ["+", "=", "ArrowUp"], help: "zoom in", run: zoom(ZOOM) },
      { keys: ["-", "_", "ArrowDown"], help: "zoom out", run: zoom(1 / ZOOM) },
      { keys: ["Home", "0"], help: "all of the time", run: () => this.setWindow(null) },
      { keys: ["["], help: "cursor to the sample before", run: () => this.stepCursor(false) },
      { keys: ["]"], help: "cursor to the next sample", run: () => this.stepCursor(true) },
      { keys: ["Enter"], help: "pin the cursor", run: () => this.setCursor(this.cursor, this.cursor) },
      { keys: ["Escape"], help: "remove the cursors", run: () => this.setCursor(null, null) },
    ];
  }

  /** Moves the cursor to the nearest sample of any curve in that direction. */
  private stepCursor(isNext: boolean): void {
    const { first, last } = this.times;
    const from = this.cursor ?? (isNext ? first - width(this.times) * 1e-9 : last);
    const times = this.contents
      .flatMap(({ curves }) => curves.map(({ curve }) => neighbouringTime(curve.times, from, isNext)))
      .filter((time): time is number => time !== null);
    if (times.length === 0) return;
    const time = isNext ? Math.min(...times) : Math.max(...times);
    if (time < first || time > last) {
      const by = time - (first + last) / 2;
      this.setWindow(panned(this.times, this.extent, by / (width(this.times) || 1)));
    }
    this.setCursor(time, this.pin);
  }

  /** A picture of what is shown, as PNG. */
  toPicture(): Promise<Blob> {
    this.drawNow();
    const style = getComputedStyle(this.element);
    const titles = this.contents.map(({ title, unit }) => (unit ? `${title} [${unit}]` : title));
    return pictureOf(this.plots.map((plot) => plot.canvas), titles, {
      text: style.getPropertyValue("--text").trim() || "#000",
      ground: style.getPropertyValue("--ground").trim() || "#fff",
    });
  }

  destroy(): void {
    frames.cancel(this);
    this.sizes.disconnect();
    for (const end of this.endings) end();
    for (const plot of this.plots) plot.destroy();
    this.plots = [];
    this.element.remove();
  }
}

function extentOfContents(contents: readonly PlotContent[]): Window | null {
  return contents
    .map(({ curves }) => extentOf(curves.map(({ curve }) => curve)))
    .reduce(union, null);
}
