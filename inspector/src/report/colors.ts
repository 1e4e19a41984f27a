// Colours of curves: those of the store, where they can be seen on the ground of the page.

import type { Look } from "../data/source";

/** Red, green and blue, from 0 to 255. */
type Rgb = readonly [number, number, number];

/** Below this contrast, as the accessibility guidelines measure it, a thin line is hard to see. */
const LEAST_CONTRAST = 2.2;

/** "#rrggbb" in parts; null for anything else. */
export function readColor(text: string): Rgb | null {
  const match = /^#([0-9a-f]{2})([0-9a-f]{2})([0-9a-f]{2})$/i.exec(text.trim());
  if (match === null) return null;
  const [red, green, blue] = match.slice(1).map((part) => parseInt(part, 16));
  return [red!, green!, blue!];
}

function writeColor(color: Rgb): string {
  return `#${color.map((part) => Math.round(part).toString(16).padStart(2, "0")).join("")}`;
}

function luminance(color: Rgb): number {
  const [red, green, blue] = color.map((part) => {
    const share = part / 255;
    return share <= 0.04045 ? share / 12.92 : ((share + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * red! + 0.7152 * green! + 0.0722 * blue!;
}

function contrast(a: Rgb, b: Rgb): number {
  const [dark, light] = [luminance(a), luminance(b)].sort((x, y) => x - y);
  return (light! + 0.05) / (dark! + 0.05);
}

/** The colour, or the nearest mixture with white or black that can be seen on the ground. */
export function visibleColor(color: string, ground: string): string {
  const own = readColor(color);
  const behind = readColor(ground);
  if (own === null || behind === null) return color;
  const target: Rgb = luminance(behind) < 0.2 ? [255, 255, 255] : [0, 0, 0];
  for (let part = 0; part <= 1; part += 0.05) {
    const mixed = own.map((one, place) => one + (target[place]! - one) * part) as unknown as Rgb;
    if (contrast(mixed, behind) >= LEAST_CONTRAST) return writeColor(mixed);
  }
  return writeColor(target);
}

/**
 * Looks for the two sides. A side without a look gets the one of `chosen` at its place; where both
 * look the same the other gets another colour and dashes.
 */
export function pairLooks(baseline: Look | null, other: Look | null, chosen: readonly [Look, Look]): [Look, Look] {
  const first = baseline ?? chosen[0];
  const second = other ?? chosen[1];
  if (first.color.toLowerCase() !== second.color.toLowerCase() || first.dash !== second.dash) return [first, second];
  const color = chosen.find((look) => look.color !== first.color)?.color ?? second.color;
  return [first, { color, dash: "--" }];
}
