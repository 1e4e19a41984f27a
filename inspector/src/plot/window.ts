// Windows of time: zooming, panning, and what to fetch around the one that is shown.

import type { Window } from "../data/source";

/** No window is narrower than this part of the size of its times: doubles cannot tell more apart. */
const FINEST = 1e-14;

export function width(window: Window): number {
  return window.last - window.first;
}

export function equalWindows(a: Window | null, b: Window | null): boolean {
  return a === b || (a !== null && b !== null && a.first === b.first && a.last === b.last);
}

/** The smallest window that has both; null is nothing. */
export function union(a: Window | null, b: Window | null): Window | null {
  if (a === null || b === null) return a ?? b;
  return { first: Math.min(a.first, b.first), last: Math.max(a.last, b.last) };
}

export function contains(outer: Window, inner: Window): boolean {
  return outer.first <= inner.first && inner.last <= outer.last;
}

/** A window that can be shown: within the extent, in order, and not too narrow for doubles. */
export function fitted(window: Window, extent: Window): Window {
  const first = Math.max(extent.first, Math.min(window.first, window.last));
  const last = Math.min(extent.last, Math.max(window.first, window.last));
  if (!(first <= last)) return extent;
  const least = FINEST * Math.max(Math.abs(first), Math.abs(last), width(extent));
  if (last - first >= least || width(extent) === 0) return { first, last };
  const middle = Math.min(Math.max((first + last) / 2, extent.first + least / 2), extent.last - least / 2);
  return { first: middle - least / 2, last: middle + least / 2 };
}

/** Makes the window `factor` times as wide; the time `at` keeps its place on the screen. */
export function zoomed(window: Window, extent: Window, at: number, factor: number): Window {
  return fitted(
    { first: at - (at - window.first) * factor, last: at + (window.last - at) * factor },
    extent,
  );
}

/** Moves the window by a part of its width, as far as the extent goes. */
export function panned(window: Window, extent: Window, part: number): Window {
  const wanted = part * width(window);
  const by = Math.max(extent.first - window.first, Math.min(wanted, extent.last - window.last));
  return { first: window.first + by, last: window.last + by };
}

/** Three screens, the shown one in the middle, within the extent. */
export function surroundings(window: Window, extent: Window): Window {
  const margin = width(window);
  return fitted({ first: window.first - margin, last: window.last + margin }, extent);
}

/** The window with some room on both sides, so that a stretch can be seen with what is around it. */
export function around(window: Window, extent: Window, room: number): Window {
  const least = width(extent) / 200;
  const margin = Math.max(width(window) * room, least);
  return fitted({ first: window.first - margin, last: window.last + margin }, extent);
}
