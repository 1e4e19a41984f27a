// The heading of a plot: its signals with their values at the cursor, and what can be done with them.
//
// Mouse: a click chooses a signal; dragging it to another plot moves it. Keys, on a signal: Enter
// chooses it, left and right go to the next one, Shift+up and Shift+down move it to another plot,
// Delete hides it.

import type { Dash } from "../data/source";
import { button, element, fill } from "../dom";
import { shownShort } from "../text/shown";
import { swatch } from "./swatch";

/** A signal of a plot, and its curves in the order of their values. */
export interface LegendEntry {
  id: number;
  name: string;
  where: string;
  /** Of the run, where the name alone does not tell it from another signal. */
  run: string;
  color: string;
  dash: Dash;
  curves: { name: string; color: string }[];
}

export interface LegendActions {
  choose: (id: number) => void;
  hide: (id: number) => void;
  /** Moves a signal to the plot at this place; one beyond either end is a new plot. */
  move: (id: number, plot: number) => void;
  activate: (plot: number) => void;
  remove: (plot: number) => void;
}

const LONGEST_CLICK = 5; // CSS pixels that the pointer may move in a click

export class Legend {
  readonly element: HTMLElement;
  private readonly chips = element("div", "legend-chips");
  private readonly values = new Map<string, HTMLElement>();
  private shown = "";

  constructor(private readonly plot: number, private readonly actions: LegendActions) {
    const remove = button("×", "legend-remove", "Remove this plot and hide its signals", () => actions.remove(plot));
    remove.setAttribute("aria-label", `Remove plot ${plot + 1}`);
    this.element = element("div", "legend", { "data-plot": plot }, this.chips, remove);
    this.element.addEventListener("focusin", () => actions.activate(plot));
    this.element.addEventListener("pointerdown", () => actions.activate(plot));
    this.element.addEventListener("keydown", keepFromPlots);
  }

  /** `unit` is that of all the signals, `chosen` the id of a signal that may be among them. */
  show(entries: readonly LegendEntry[], unit: string | null, chosen: number | null, isActive: boolean): void {
    this.element.classList.toggle("active", isActive);
    const next = JSON.stringify([entries, unit, chosen]);
    if (next === this.shown) return; // a signal that has the focus, or is being dragged, stays
    this.shown = next;
    const focused = this.chips.contains(document.activeElement) ? document.activeElement?.getAttribute("data-signal") : null;
    this.values.clear();
    fill(
      this.chips,
      ...entries.map((entry) => this.chip(entry, entry.id === chosen)),
      unit ? element("span", "legend-unit", {}, `[${shownShort(unit, 40)}]`) : null,
      entries.length === 0 ? element("span", "legend-unit", {}, "The next signal that is ticked goes here.") : null,
    );
    if (focused) this.focus(Number(focused));
  }

  /** Puts the focus on a signal; false if it is not here. */
  focus(id: number): boolean {
    const chip = this.chips.querySelector<HTMLElement>(`[data-signal="${id}"]`);
    chip?.focus();
    return chip !== null;
  }

  /** Shows the texts of values, by name of the curve. */
  showValues(texts: ReadonlyMap<string, { text: string; hint: string }>): void {
    for (const [name, cell] of this.values) {
      cell.textContent = texts.get(name)?.text ?? "";
      cell.title = texts.get(name)?.hint ?? "";
    }
  }

  private chip(entry: LegendEntry, isChosen: boolean): HTMLElement {
    const name = shownShort(entry.name, 120);
    const values = entry.curves.map((curve) => {
      const cell = element("span", "legend-value");
      if (entry.curves.length > 1) cell.style.boxShadow = `inset 0 -2px ${curve.color}`;
      this.values.set(curve.name, cell);
      return cell;
    });
    const chip = element(
      "button", "legend-chip",
      { type: "button", "data-signal": entry.id, "aria-pressed": String(isChosen), title: entry.where === "" ? name : `${name} (${shownShort(entry.where, 200)})` },
      swatch(entry.color, entry.dash), element("bdi", "", {}, name),
      entry.run === "" ? null : element("bdi", "muted", {}, shownShort(entry.run, 60)), ...values,
    );
    chip.addEventListener("click", () => this.actions.choose(entry.id));
    chip.addEventListener("keydown", (event) => this.pressed(event, entry.id, chip));
    this.drag(chip, entry.id);
    return chip;
  }

  private pressed(event: KeyboardEvent, id: number, chip: HTMLElement): void {
    const keys: Record<string, () => void> = {
      "Shift+ArrowUp": () => this.actions.move(id, this.plot - 1),
      "Shift+ArrowDown": () => this.actions.move(id, this.plot + 1),
      Delete: () => this.actions.hide(id),
      ArrowLeft: () => (chip.previousElementSibling as HTMLElement | null)?.focus(),
      ArrowRight: () => (chip.nextElementSibling as HTMLElement | null)?.focus(),
    };
    const act = keys[`${event.shiftKey ? "Shift+" : ""}${event.key}`];
    if (act === undefined) return;
    event.preventDefault();
    act();
  }

  /** Moves the signal to the plot that it is dropped on. */
  private drag(chip: HTMLElement, id: number): void {
    let start: { x: number; y: number } | null = null;
    let isDragged = false;
    chip.addEventListener("pointerdown", (event) => {
      if (event.button !== 0) return;
      start = { x: event.clientX, y: event.clientY };
      isDragged = false;
      chip.setPointerCapture(event.pointerId);
    });
    chip.addEventListener("pointermove", (event) => {
      if (start === null) return;
      isDragged ||= Math.hypot(event.clientX - start.x, event.clientY - start.y) > LONGEST_CLICK;
      chip.classList.toggle("dragged", isDragged);
      markTarget(isDragged ? plotAt(event) : null);
    });
    const end = (event: PointerEvent): void => {
      const target = isDragged && event.type === "pointerup" ? plotAt(event) : null;
      start = null;
      chip.classList.remove("dragged");
      markTarget(null);
      if (target !== null) this.actions.move(id, Number(target.getAttribute("data-plot")));
    };
    chip.addEventListener("pointerup", end);
    chip.addEventListener("pointercancel", end);
    // A drag ends with a click, which would choose the signal.
    chip.addEventListener("click", (event) => {
      if (isDragged) event.stopImmediatePropagation();
      isDragged = false;
    }, { capture: true });
  }
}

/** What a signal can be dropped on carries the place of a plot; so does every part of a plot. */
function plotAt(event: PointerEvent): Element | null {
  const under = document.elementFromPoint(event.clientX, event.clientY);
  const direct = under?.closest("[data-plot]") ?? null;
  return direct ?? under?.closest(".plot")?.querySelector("[data-plot]") ?? null;
}

function markTarget(target: Element | null): void {
  for (const marked of document.querySelectorAll(".drop-target")) marked.classList.remove("drop-target");
  target?.classList.add("drop-target");
}

/** The plots have keys of their own, which must not act on what a button means. */
function keepFromPlots(event: KeyboardEvent): void {
  if (["Enter", " ", "ArrowLeft", "ArrowRight", "ArrowUp", "ArrowDown", "Delete"].includes(event.key)) event.stopPropagation();
}
