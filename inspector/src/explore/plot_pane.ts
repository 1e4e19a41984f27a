// The middle: the ticked signals, in several plots over one time axis.

import type { Window } from "../data/source";
import { button, element } from "../dom";
import { Plots } from "../plot/plots";
import { union, width } from "../plot/window";
import { Atom } from "../state/atom";
import { frames } from "../state/frames";
import { counted } from "../text/numbers";
import { CurveFeed } from "./curve_feed";
import { curveNames } from "./curve_names";
import { Latest } from "./latest";
import { EMPTY, activated, added, moved, plotOf, removed, sameLayout, settled } from "./layout";
import type { Layout } from "./layout";
import { Legend } from "./legend";
import type { LegendEntry } from "./legend";
import { commonUnit, contentsOf, curveColor, drawnSignals, extentOfSignals, namesOf, signalName } from "./plot_contents";
import type { Drawn } from "./plot_contents";
import { ReadingsTable, legendText } from "./readings_table";
import type { CurveReading } from "./readings_table";
import type { Session } from "./session";
import type { StoreView } from "./store_view";
import { seenColor } from "./swatch";

const NOTHING: Drawn = { ids: [], isDate: false, tooMany: 0, otherTimes: 0 };

export class PlotPane {
  readonly element: HTMLElement;
  /** Buttons for the bar of the page. */
  readonly tools: HTMLElement;
  readonly layout = new Atom<Layout>(EMPTY, sameLayout);
  /** Told of the window that is shown, null for all of the time. */
  readonly window = new Atom<Window | null>(null);
  private readonly plots: Plots;
  private readonly feed: CurveFeed;
  private readonly table = new ReadingsTable();
  private readonly notes = element("p", "plot-notes muted", { role: "status" });
  private readonly nothing = element("p", "notice", {}, "Tick signals on the left to plot them.");
  private legends: Legend[] = [];
  private drawn = NOTHING;
  private readonly reads: Latest;
  /** All of the time that was last known: it stays while nothing is shown. */
  private extent: Window | null = null;
  /** A window that was asked for before anything was shown. */
  private awaited: Window | null = null;
  private cursors: { cursor: number | null; pin: number | null } = { cursor: null, pin: null };

  constructor(private readonly session: Session) {
    this.feed = new CurveFeed(session.source, () => this.redraw(), (error) => session.fail(error));
    this.reads = new Latest((error) => session.fail(error));
    this.plots = new Plots({
      onWindow: (window) => {
        this.window.set(window);
        this.redraw();
      },
      onCursor: (cursor, pin) => this.read(cursor, pin),
    });
    const drop = button("+ Plot", "tool add-plot", "Add a plot for the next signals that are ticked (a)", () => this.add());
    this.tools = element("div", "plot-tools", {}, drop, button("All of the time", "tool", "Show all of the time (0)", () => this.setWindow(null)));
    this.element = element("section", "plot-pane", { "aria-label": "Plots", tabindex: -1 }, this.notes, this.nothing, this.plots.element, this.table.element);
    session.view.watch((view, before) => {
      // Loaded anew: ids may be those of other signals, where the store was filled again.
      if (view?.signals.id !== before?.signals.id) this.feed.forget();
      if (view !== null) this.viewed(view);
    });
    session.chosen.watch(() => this.redraw());
    this.layout.watch(() => {
      drop.setAttribute("data-plot", String(this.layout.get().plots.length));
      this.redraw();
    });
    drop.setAttribute("data-plot", "1");
    new ResizeObserver(() => this.redraw()).observe(this.plots.element);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.redraw());
  }

  /** A picture of the plots, as PNG. */
  picture(): Promise<Blob> {
    return this.plots.toPicture();
  }

  setWindow(window: Window | null): void {
    if (this.extent === null) this.awaited = window;
    else this.plots.setWindow(window);
  }

  /** Puts the focus on the plots; on the pane where there are none. */
  focus(): void {
    (this.plots.element.hidden ? this.element : this.plots.element).focus();
  }

  // ---- What is shown where ----

  private viewed(view: StoreView): void {
    this.drawn = drawnSignals(view);
    const unitOf = (id: number): string | null => view.signals.unit[view.place(id) ?? -1] ?? null;
    this.layout.set(settled(this.layout.get(), this.drawn.ids, unitOf));
    this.describe();
    this.redraw();
  }

  /** Takes a layout, such as that of the address; it shows what is ticked whatever it says. */
  arrange(layout: Layout): void {
    this.layout.set(layout);
    const view = this.session.view.get();
    if (view !== null) this.viewed(view);
  }

  add(): void {
    this.layout.update(added);
  }

  removeActive(): void {
    this.remove(this.layout.get().active);
  }

  private remove(place: number): void {
    const ids = this.layout.get().plots[place] ?? [];
    this.layout.update((layout) => removed(layout, place));
    this.session.changeOrFail(ids, { visible: false });
  }

  /** Moves a signal to the plot at this place. */
  arrangeSignal(id: number, plot: number): void {
    this.layout.update((layout) => moved(layout, id, plot));
  }

  /** The same from its legend; the focus goes with it. */
  private move(id: number, plot: number): void {
    this.arrangeSignal(id, plot);
    frames.draw();
    const place = plotOf(this.layout.get(), id);
    if (place !== null) this.legends[place]?.focus(id);
  }

  private describe(): void {
    const { tooMany, otherTimes, ids, isDate } = this.drawn;
    const notes = [
      tooMany > 0 ? `The first ${ids.length} of ${counted(ids.length + tooMany, "ticked signal")} are drawn.` : "",
      otherTimes > 0 ? `${counted(otherTimes, "ticked signal")} ${isDate ? "without" : "with"} dates cannot share this time axis.` : "",
    ];
    this.notes.textContent = notes.filter((note) => note !== "").join(" ");
  }

  // ---- Drawing ----

  private redraw(): void {
    frames.schedule(this, () => this.draw());
  }

  private draw(): void {
    const view = this.session.view.get();
    if (view === null || this.element.clientWidth === 0) return;
    const layout = this.layout.get();
    const isEmpty = layout.plots.every((ids) => ids.length === 0);
    this.nothing.hidden = !isEmpty;
    this.plots.element.hidden = isEmpty;
    if (isEmpty) return this.read(null, null);
    const extent = extentOfSignals(view, this.drawn.ids) ?? this.extent;
    const contents = contentsOf(view, layout, this.feed.curves, seenColor);
    this.showLegends(view, layout);
    contents.forEach((content, place) => (content.heading = this.legends[place]!.element));
    this.plots.setContent(contents, this.drawn.isDate, extent);
    this.extent = extent;
    if (extent !== null && this.awaited !== null) {
      this.plots.setWindow(this.awaited);
      this.awaited = null;
    }
    const { times, columns } = this.plots;
    // A single instant is shown with some time around it.
    const all = union(extent, extent === null || width(extent) > 0 ? null : times) ?? times;
    this.feed.show({ names: namesOf(view, layout), extent: all }, times, columns);
    this.read(this.cursors.cursor, this.cursors.pin);
  }

  private showLegends(view: StoreView, layout: Layout): void {
    const actions = {
      choose: (id: number) => this.session.chosen.set({ kind: "signal", id }),
      hide: (id: number) => this.session.changeOrFail([id], { visible: false }),
      move: (id: number, plot: number) => this.move(id, plot),
      activate: (plot: number) => this.layout.update((now) => activated(now, plot)),
      remove: (plot: number) => this.remove(plot),
    };
    while (this.legends.length < layout.plots.length) this.legends.push(new Legend(this.legends.length, actions));
    this.legends.length = layout.plots.length;
    const chosen = this.session.chosen.get();
    layout.plots.forEach((ids, place) => {
      const entries = ids.flatMap((id) => this.entry(view, id));
      const unit = commonUnit(ids.map((id) => view.signals.unit[view.place(id) ?? -1] ?? null));
      const isOnly = layout.plots.length === 1;
      this.legends[place]!.show(entries, unit, chosen?.kind === "signal" ? chosen.id : null, layout.active === place && !isOnly);
    });
  }

  private entry(view: StoreView, id: number): LegendEntry[] {
    const place = view.place(id);
    if (place === null) return [];
    const { signals } = view;
    const run = view.run(signals.run[place]!)?.name ?? "";
    const where = [signals.path[place]!, view.state.runs.length > 1 ? run : ""].filter((text) => text !== "").join(" · ");
    const name = signalName(view, place);
    const color = seenColor(signals.color[place]!);
    const curves = curveNames(signals, place).map((one) => ({ name: one.name, color: curveColor(color, one.component) }));
    return [{ id, name, run: this.runIfShared(view, id, name), where, color, dash: signals.dash[place]!, curves }];
  }

  /** The name of a signal's run where another signal that is drawn has the same name, else "". */
  private runIfShared(view: StoreView, id: number, name: string): string {
    const isShared = this.drawn.ids.some((other) => other !== id && signalName(view, view.place(other) ?? -1) === name);
    return isShared ? (view.run(view.signals.run[view.place(id) ?? -1] ?? -1)?.name ?? "") : "";
  }

  // ---- Readings ----

  /** Reads the samples at both cursors, of the newest place of the pointer. */
  private read(cursor: number | null, pin: number | null): void {
    this.cursors = { cursor, pin };
    const view = this.session.view.get();
    const at = [cursor ?? pin, pin].filter((time): time is number => time !== null);
    if (view === null || at.length === 0) return this.showReadings(cursor, pin, []);
    const rows = this.rows(view);
    if (rows.length === 0) return;
    this.reads.ask(async () => {
      const told = await this.session.source.readings(rows.map(({ curve }) => curve), at);
      if (cursor !== this.cursors.cursor || pin !== this.cursors.pin) return;
      rows.forEach((row, place) => {
        row.cursor = told[place]?.[0] ?? null;
        row.pin = pin === null ? null : (told[place]?.[1] ?? null);
      });
      this.showReadings(cursor, pin, rows);
    });
  }

  private rows(view: StoreView): CurveReading[] {
    return this.layout.get().plots.flat().flatMap((id) => {
      const place = view.place(id);
      if (place === null) return [];
      const name = signalName(view, place);
      const run = this.runIfShared(view, id, name);
      return curveNames(view.signals, place).map(({ name: curve, suffix }) => ({
        curve, name: suffix === "" ? name : `${name} ${suffix}`, run, unit: view.signals.unit[place] ?? null, cursor: null, pin: null,
      }));
    });
  }

  private showReadings(cursor: number | null, pin: number | null, rows: CurveReading[]): void {
    const { isDate } = this.drawn;
    this.table.show({ cursor, pin, isDate, resolution: width(this.plots.times) / this.plots.columns, rows });
    const texts = new Map(rows.map((row) => [row.curve, legendText(row, isDate)]));
    for (const legend of this.legends) legend.showValues(texts);
  }
}
