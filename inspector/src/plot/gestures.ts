// Mouse, touch and pen on a plot: drag zooms, drag with shift pans, the wheel zooms at the cursor and
// pans with shift, a double click shows everything, a click pins the cursor.

import { element } from "../dom";

/** What gestures do. Times are those under the pointer; parts are of the width of the plot. */
export interface GestureActions {
  zoomTo(first: number, last: number): void;
  zoomAt(time: number, factor: number): void;
  panBy(part: number): void;
  whole(): void;
  hover(time: number | null): void;
  pin(time: number): void;
}

/** A drag that is shorter, in CSS pixels, is a click. */
const SHORTEST_DRAG = 4;
const WHEEL_STEP = 0.0015;

/** Listens on the area of a plot. `timeAt` turns a place on the screen into a time. */
export function listenToGestures(
  area: HTMLElement,
  timeAt: (clientX: number) => number,
  actions: GestureActions,
): void {
  const selection = element("div", "plot-selection", { hidden: true });
  area.append(selection);
  let drag: { startX: number; lastX: number; pans: boolean; pointer: number } | null = null;

  area.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    drag = { startX: event.clientX, lastX: event.clientX, pans: event.shiftKey, pointer: event.pointerId };
    area.setPointerCapture(event.pointerId);
  });
  area.addEventListener("pointermove", (event) => {
    actions.hover(timeAt(event.clientX));
    if (drag === null || drag.pointer !== event.pointerId) return;
    if (drag.pans) {
      actions.panBy((drag.lastX - event.clientX) / Math.max(1, area.clientWidth));
      drag.lastX = event.clientX;
      return;
    }
    showSelection(selection, area, drag.startX, event.clientX);
  });
  const end = (event: PointerEvent): void => {
    if (drag === null || drag.pointer !== event.pointerId) return;
    const { startX, pans } = drag;
    drag = null;
    selection.hidden = true;
    if (event.type === "pointercancel") return;
    if (Math.abs(event.clientX - startX) < SHORTEST_DRAG) actions.pin(timeAt(event.clientX));
    else if (!pans) actions.zoomTo(timeAt(startX), timeAt(event.clientX));
  };
  area.addEventListener("pointerup", end);
  area.addEventListener("pointercancel", end);
  area.addEventListener("pointerleave", () => {
    if (drag === null) actions.hover(null);
  });
  area.addEventListener("dblclick", () => actions.whole());
  area.addEventListener(
    "wheel",
    (event) => {
      event.preventDefault();
      const lines = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 33 : 1;
      const across = event.deltaX * lines;
      const down = event.deltaY * lines;
      // Browsers turn a wheel with shift into one across.
      const pan = event.shiftKey ? across + down : across;
      if (pan !== 0) actions.panBy(pan / Math.max(1, area.clientWidth));
      if (!event.shiftKey && down !== 0) actions.zoomAt(timeAt(event.clientX), Math.exp(down * WHEEL_STEP));
    },
    { passive: false },
  );
}

function showSelection(selection: HTMLElement, area: HTMLElement, fromX: number, toX: number): void {
  const { left, width } = area.getBoundingClientRect();
  const from = Math.max(0, Math.min(fromX, toX) - left);
  const to = Math.min(width, Math.max(fromX, toX) - left);
  selection.hidden = to - from < SHORTEST_DRAG;
  selection.style.left = `${from}px`;
  selection.style.width = `${to - from}px`;
}
