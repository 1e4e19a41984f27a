// The right side for a signal: what it is, how it is drawn, how it is compared.

import type { Dash, Sync, Tolerance } from "../data/source";
import { button, element, fill } from "../dom";
import { exactTimeText } from "../text/dates";
import { countText } from "../text/numbers";
import { shownShort } from "../text/shown";
import { ask } from "./ask";
import { componentsLeftOut, MOST_COMPONENTS } from "./curve_names";
import { Switch, choice } from "./fields";
import { plotOf } from "./layout";
import type { Layout } from "./layout";
import { signalName } from "./plot_contents";
import type { Session } from "./session";
import { SyncForm, ToleranceForm } from "./settings_form";
import type { StoreView } from "./store_view";

/** Colours that are told apart in light and in dark, also by most people who see few colours. */
export const PALETTE = [
  "#0b5fd0", "#d2560c", "#1a8a4a", "#c2255c", "#6b3fa0", "#0d8a9e", "#9a6a00", "#5a6470",
];
const DASHES: readonly [Dash, string][] = [["-", "solid"], ["--", "dashed"], [":", "dotted"], ["-.", "dash-dotted"]];
const MOST_OF_TEXT = 2000;

export interface SignalDetailsActions {
  layout: () => Layout;
  move: (id: number, plot: number) => void;
}

export class SignalDetails {
  readonly element: HTMLElement;
  private readonly title = element("h2", "");
  private readonly facts = element("dl", "facts-list");
  private readonly color = element("input", "color", { type: "color", "aria-label": "Colour" });
  private readonly palette = element("div", "palette", { role: "group", "aria-label": "Colours" });
  private readonly dash;
  private readonly visible: Switch;
  private readonly plot;
  private readonly tolerance: ToleranceForm;
  private readonly ownTolerance: Switch;
  private readonly sync: SyncForm;
  private readonly ownSync: Switch;

  constructor(private readonly session: Session, private readonly id: number, private readonly actions: SignalDetailsActions) {
    this.visible = new Switch("shown in a plot", (visible) => this.change({ visible }));
    this.dash = choice("line", DASHES, (dash) => this.change({ dash }));
    this.plot = choice<string>("plot", [], (plot) => this.move(plot), "The plot that shows the signal");
    this.tolerance = new ToleranceForm((tolerance) => this.change({ tolerance }));
    this.sync = new SyncForm((sync) => this.change({ sync }));
    this.ownTolerance = new Switch("own", (isOwn) => this.setOwnTolerance(isOwn), "Off: the tolerance of the run holds");
    this.ownSync = new Switch("own", (isOwn) => this.setOwnSync(isOwn), "Off: the options of the run hold");
    this.color.addEventListener("change", () => this.recolor(this.color.value));
    this.palette.append(...PALETTE.map((color) => this.paletteButton(color)));
    const colorField = element("div", "field", {}, element("span", "label", { "aria-hidden": "true" }, "colour"), element("div", "colors", {}, this.color, this.palette));
    this.element = element(
      "div", "details", {},
      this.title, this.facts,
      section("Look", this.visible.element, this.plot.element, colorField, this.dash.element),
      section("Tolerance", this.ownTolerance.element, this.tolerance.element),
      section("Synchronisation", this.ownSync.element, this.sync.element),
      element("div", "detail-tools", {}, button("Remove…", "tool danger", "Remove the signal from the store", () => void this.remove())),
    );
  }

  show(view: StoreView): void {
    const place = view.place(this.id);
    if (place === null) return;
    const { signals } = view;
    fill(this.title, element("bdi", "", {}, shownShort(signalName(view, place), MOST_OF_TEXT)));
    fill(this.facts, ...this.factRows(view, place));
    this.visible.show(signals.visible[place]!);
    this.color.value = /^#[0-9a-f]{6}$/i.test(signals.color[place]!) ? signals.color[place]! : "#000000";
    this.dash.show(signals.dash[place]!);
    this.showPlots();
    for (const one of this.palette.children) {
      one.setAttribute("aria-pressed", String(one.getAttribute("data-color") === signals.color[place]));
    }
    this.tolerance.show(view.tolerance(place));
    this.ownTolerance.show(!signals.tolerance_inherited[place]);
    this.sync.show(view.sync(place));
    this.ownSync.show(!signals.sync_inherited[place]);
  }

  /** The plots that the signal can be moved to. */
  showPlots(): void {
    const layout = this.actions.layout();
    const plot = plotOf(layout, this.id);
    this.plot.element.hidden = plot === null;
    if (plot === null) return;
    const places = [...layout.plots.keys()].map(String);
    const options = [...places.map((place) => [place, String(Number(place) + 1)]), [String(places.length), "a new one"]];
    fill(this.plot.control, ...options.map(([value, text]) => element("option", "", { value: value! }, text!)));
    this.plot.show(String(plot));
  }

  private factRows(view: StoreView, place: number): HTMLElement[] {
    const { signals } = view;
    const run = view.run(signals.run[place]!);
    const isDate = signals.is_date[place]!;
    const time = (at: number | null): string => (at === null ? "" : exactTimeText(at, isDate));
    const shape = signals.shape[place]!;
    const left = componentsLeftOut(signals, place);
    const channel = signals.channel[place]!;
    const parent = signals.parent[place] ?? null;
    const texts: [string, string][] = [
      ["path", signals.path[place]!], ["unit", signals.unit[place] ?? ""],
      ["samples", `${countText(signals.samples[place]!)} ${signals.class[place]}${shape.length === 0 ? "" : ` of shape (${shape.join(", ")})`}`],
      ["drawn", left > 0 ? `the first ${MOST_COMPONENTS} components` : signals.drawable[place] ? "" : "no: it has no numbers over time"],
      ["from", time(signals.start[place] ?? null)], ["to", time(signals.end[place] ?? null)],
      ["source", signals.source[place]!], ["root source", signals.root_source[place]!], ["time source", signals.time_source[place]!],
      ["model", signals.model[place]!], ["sid", signals.sid[place]!], ["port", signals.port[place] ? String(signals.port[place]) : ""],
      ["channel", channel.length > 0 ? channel.join(", ") : ""],
      ["part of", parent === null ? "" : partOf(view, parent)], ["id", String(this.id)],
    ];
    const runLink = button(shownShort(run?.name ?? "", 200), "link", "Show the run", () => this.session.chosen.set({ kind: "run", id: signals.run[place]! }));
    return [fact("run", runLink), ...texts.filter(([, text]) => text !== "").map(([name, text]) => fact(name, element("bdi", "", {}, shownShort(text, MOST_OF_TEXT))))];
  }

  // ---- Changes ----

  private change(change: Parameters<Session["change"]>[1]): Promise<void> {
    return this.session.change([this.id], change);
  }

  private recolor(color: string): void {
    this.session.changeOrFail([this.id], { color });
  }

  private paletteButton(color: string): HTMLElement {
    const made = button("", "palette-color", color, () => this.recolor(color));
    made.setAttribute("aria-label", color);
    made.setAttribute("data-color", color);
    made.style.background = color;
    return made;
  }

  private move(plot: string): Promise<void> {
    this.actions.move(this.id, Number(plot));
    return Promise.resolve();
  }

  /** Its own settings begin as those of the run. */
  private setOwnTolerance(isOwn: boolean): Promise<void> {
    return this.change({ tolerance: isOwn ? this.held((view, place): Tolerance => view.tolerance(place)) : null });
  }

  private setOwnSync(isOwn: boolean): Promise<void> {
    return this.change({ sync: isOwn ? this.held((view, place): Sync => view.sync(place)) : null });
  }

  private held<T>(read: (view: StoreView, place: number) => T): T {
    const view = this.session.view.get();
    const place = view?.place(this.id) ?? null;
    if (view === null || place === null) throw new Error("the signal was removed");
    return read(view, place);
  }

  private async remove(): Promise<void> {
    const name = this.title.textContent ?? "";
    const isSure = await ask(`Remove the signal “${name}” from the store?`, "It is removed for every window. Its file stays as it is.", "Remove");
    if (isSure) await this.session.removeSignal(this.id).catch((error: unknown) => this.session.fail(error));
  }
}

function partOf(view: StoreView, parent: number): string {
  const place = view.place(parent);
  return place === null ? "" : signalName(view, place);
}

export function section(title: string, ...parts: HTMLElement[]): HTMLElement {
  return element("section", "detail", { "aria-label": title }, element("h3", "", {}, title), ...parts);
}

export function fact(name: string, value: HTMLElement | string): HTMLElement {
  return element("div", "fact", {}, element("dt", "", {}, name), element("dd", "", {}, value));
}
