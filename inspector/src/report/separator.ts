// The border between two panes: it can be dragged, and moved by keys once it has the focus.

import { element } from "../dom";

/** In CSS pixels. */
export interface WidthLimits {
  least: number;
  most: number;
}

const STEP = 16;
const WIDE_STEP = 80;

interface SeparatorOptions {
  /** What a screen reader says. */
  label: string;
  /** The pane whose width changes. The separator stands to its right, or to its left if `isLeft`. */
  pane: HTMLElement;
  isLeft: boolean;
  /** The CSS property of the panes' parent that has the width; the style sheet has limits and a default. */
  property: string;
}

/**
 * A separator of ARIA's kind that can be moved. The width is kept until the tab is closed, also when the
 * page is loaded again.
 */
export class Separator {
  readonly element: HTMLElement;
  private readonly key: string;

  constructor(private readonly options: SeparatorOptions) {
    this.key = `kvr${options.property}`;
    this.element = element("div", `separator${options.isLeft ? " is-left" : ""}`, {
      role: "separator", tabindex: 0, "aria-orientation": "vertical", "aria-label": options.label,
      title: "Drag, or use the arrow keys, to change the width; double click for the usual one",
    });
    this.element.addEventListener("keydown", (event) => this.pressed(event));
    this.element.addEventListener("pointerdown", (event) => this.dragged(event));
    this.element.addEventListener("dblclick", () => this.setWidth(null));
    const watch = new ResizeObserver(() => this.describe());
    watch.observe(options.pane);
  }

  /** Gives the pane the width that it had before the page was loaded again. */
  restore(): void {
    const kept = Number(storage()?.getItem(this.key) ?? NaN);
    if (kept > 0) this.setWidth(kept);
  }

  private get width(): number {
    return Math.round(this.options.pane.getBoundingClientRect().width);
  }

  /** The style sheet has them, as it may depend on the width of the window. */
  private get limits(): WidthLimits {
    const style = getComputedStyle(this.element);
    const all = this.element.parentElement?.clientWidth ?? 0;
    const part = (name: string): number => parseFloat(style.getPropertyValue(name)) || 0;
    return { least: part("--least-width"), most: Math.floor((all * part("--most-part")) / 100) };
  }

  /** In CSS pixels; null for the usual width. */
  private setWidth(width: number | null): void {
    const parent = this.element.parentElement;
    if (width === null) parent?.style.removeProperty(this.options.property);
    else parent?.style.setProperty(this.options.property, `${width}px`);
    if (width === null) storage()?.removeItem(this.key);
    else storage()?.setItem(this.key, String(width));
    this.describe();
  }

  private describe(): void {
    const { least, most } = this.limits;
    this.element.setAttribute("aria-valuemin", String(least));
    this.element.setAttribute("aria-valuemax", String(Math.max(least, most)));
    this.element.setAttribute("aria-valuenow", String(this.width));
  }

  private pressed(event: KeyboardEvent): void {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    const width = event.key === "Enter" ? null : nextWidth(event, this.width, this.limits, this.options.isLeft);
    if (width === undefined) return;
    event.preventDefault(); // the plots would pan
    this.setWidth(width);
  }

  private dragged(event: PointerEvent): void {
    if (event.button !== 0) return;
    const { element: bar } = this;
    const [begin, width] = [event.clientX, this.width];
    const move = (now: PointerEvent): void => {
      const by = this.options.isLeft ? begin - now.clientX : now.clientX - begin;
      if (by !== 0) this.setWidth(clamped(width + by, this.limits));
    };
    const end = (): void => {
      bar.removeEventListener("pointermove", move);
      bar.classList.remove("dragged");
    };
    bar.setPointerCapture(event.pointerId);
    bar.classList.add("dragged");
    bar.addEventListener("pointermove", move);
    bar.addEventListener("lostpointercapture", end, { once: true });
  }
}

/**
 * The width after a key press: an arrow moves the separator in its direction, farther with Shift; Home and
 * End go to the limits. Undefined for other keys. `isLeft`: the separator stands to the left of the pane.
 */
export function nextWidth(
  { key, shiftKey }: Pick<KeyboardEvent, "key" | "shiftKey">, width: number, limits: WidthLimits, isLeft: boolean,
): number | undefined {
  const step = (shiftKey ? WIDE_STEP : STEP) * (isLeft ? -1 : 1);
  switch (key) {
    case "ArrowLeft":
      return clamped(width - step, limits);
    case "ArrowRight":
      return clamped(width + step, limits);
    case "Home":
      return limits.least;
    case "End":
      return Math.max(limits.least, limits.most);
    default:
      return undefined;
  }
}

function clamped(width: number, { least, most }: WidthLimits): number {
  return Math.max(least, Math.min(width, most));
}

/** Null where the browser keeps nothing for pages. */
function storage(): Storage | null {
  try {
    return globalThis.sessionStorage;
  } catch {
    return null;
  }
}
