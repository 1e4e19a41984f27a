// Draws the contents of a plot on a canvas: shades, bands and curves, over the same transform.

import type { Curve, Dash, Window } from "../data/source";
import type { Band, PlotContent, PlotCurve, Shade } from "./content";
import { lineParts } from "./dense";
import type { Bar } from "./dense";
import { Pen, numbersFrom, traceCurve } from "./pen";
import type { Box, Transform } from "./pen";
import { Strokes } from "./strokes";
import { samplesIn } from "./samples";
import { DENSE, worthDrawing } from "./thin";

/** Where on the canvas what is drawn. `ratio` is the number of canvas pixels for a CSS pixel. */
export interface Surface {
  context: CanvasRenderingContext2D;
  box: Box;
  window: Window;
  transform: Transform;
  ratio: number;
}

/** A curve may leave the box by this much, so that its ends are not seen. */
const BLEED = 20;
/** Columns of the pattern of dashed bars, and how often the line passes each of them. */
const TILE_COLUMNS = 50;
const TILE_PASSES = 3;
/** Parts of the pattern that a pass begins after the one before: multiples of it spread evenly. */
const GOLDEN = 0.6180339887;

export function drawContent(surface: Surface, content: PlotContent): void {
  const { context, box } = surface;
  context.save();
  context.beginPath();
  context.rect(box.left, box.top, box.right - box.left, box.bottom - box.top);
  context.clip();
  for (const shade of content.shades) drawShade(surface, shade);
  for (const band of content.bands) drawBand(surface, band);
  for (const curve of content.curves) drawCurve(surface, curve);
  context.restore();
}

/** A stretch of one instant is as wide as a line. */
function drawShade({ context, box, transform, ratio }: Surface, shade: Shade): void {
  const from = shade.first * transform.xScale + transform.xOffset;
  const to = shade.last * transform.xScale + transform.xOffset;
  const least = 3 * ratio;
  const width = Math.max(to - from, least);
  const left = Math.max(box.left - BLEED, from - (width - (to - from)) / 2);
  const right = Math.min(box.right + BLEED, from + width);
  if (!(right > left)) return;
  context.fillStyle = shade.color;
  context.fillRect(left, box.top, right - left, box.bottom - box.top);
}

function drawCurve(surface: Surface, one: PlotCurve): void {
  const { context, box, transform, ratio } = surface;
  const { times, values } = one.curve;
  const width = (one.width ?? 1.5) * ratio;
  context.strokeStyle = one.color;
  context.lineWidth = width;
  context.lineJoin = "round";
  context.lineCap = one.dash === ":" ? "round" : "butt";
  const pattern = dashPattern(one.dash, width);
  context.setLineDash(pattern);
  const strokes = new Strokes(context, pattern.length > 0, () => new Path2D());
  const pen = new Pen(strokes, widened(box));
  const samples = Uint32Array.from(drawn(surface, one.curve));
  const { lines, bars } = lineParts(one.curve, samples, transform, one.isStepped, width);
  for (const line of lines) traceCurve(pen, times, values, line, transform, one.isStepped, 3 * ratio);
  strokes.end();
  if (bars.length > 0) drawBars(surface, bars, width, barFill(context, one.color, one.dash, width));
}

/** As wide and as high as the lines that they replace. */
function drawBars({ context, box }: Surface, bars: readonly Bar[], width: number, fill: string | CanvasPattern): void {
  const { top, bottom } = widened(box);
  const beside = Math.max(0, (width - 1) / 2);
  context.fillStyle = fill;
  for (const bar of bars) {
    const from = clamp(bar.top - width / 2, top, bottom);
    const to = clamp(bar.bottom + width / 2, top, bottom);
    context.fillRect(bar.column - beside, from, 1 + 2 * beside, to - from);
  }
}

/**
 * What bars are filled with: the colour, or the strokes of a dashed line that passes each column a few
 * times, beginning at another place of its pattern each time.
 */
function barFill(context: CanvasRenderingContext2D, color: string, dash: Dash, width: number): string | CanvasPattern {
  const pattern = dashPattern(dash, width);
  if (pattern.length === 0) return color;
  const length = pattern.reduce((sum, part) => sum + part, 0);
  const tile = document.createElement("canvas");
  tile.width = TILE_COLUMNS;
  tile.height = Math.max(1, Math.round(length));
  const pen = tile.getContext("2d");
  if (pen === null) return color;
  const cap = dash === ":" ? width / 2 : 0; // dots are round: half a width longer at either end
  pen.fillStyle = color;
  pen.scale(1, tile.height / length);
  for (let pass = 0; pass < TILE_COLUMNS * TILE_PASSES; pass++) {
    let y = ((pass * GOLDEN) % 1) * length - 2 * length;
    for (let part = 0; y < length; y += pattern[part]!, part = (part + 1) % pattern.length) {
      if (part % 2 === 0) pen.fillRect(pass % TILE_COLUMNS, y - cap, 1, pattern[part]! + 2 * cap);
    }
  }
  return context.createPattern(tile, "repeat") ?? color;
}

/** Lengths of strokes and blanks for a line of this width. */
export function dashPattern(dash: Dash, width: number): number[] {
  const patterns: Record<Dash, number[]> = { "-": [], "--": [5, 3], ":": [0.1, 2.2], "-.": [5, 2.5, 0.8, 2.5] };
  return (patterns[dash] ?? []).map((length) => length * width);
}

function widened(box: Box): Box {
  return { left: box.left - BLEED, right: box.right + BLEED, top: box.top - BLEED, bottom: box.bottom + BLEED };
}

/** The samples of a curve that the screen can tell apart. */
function drawn({ box, window }: Surface, curve: Curve): Iterable<number> {
  const [first, beyond] = samplesIn(curve.times, window);
  const columns = Math.max(1, Math.round(box.right - box.left));
  if (beyond - first <= DENSE * columns || !(window.last > window.first)) return numbersFrom(first, beyond);
  return worthDrawing(curve.times, curve.values, [first, beyond], window.first, window.last, columns);
}

/** Each stretch between gaps is filled for itself. */
function drawBand(surface: Surface, { low, high, color, isStepped }: Band): void {
  const { context, box, transform } = surface;
  const [first, beyond] = samplesIn(low.times, surface.window);
  const indices = bandSamples(surface, low, high, first, beyond);
  const limit = widened(box);
  const x = (sample: number): number =>
    clamp(low.times[sample]! * transform.xScale + transform.xOffset, limit.left, limit.right);
  const y = (values: Float64Array, sample: number): number =>
    clamp(values[sample]! * transform.yScale + transform.yOffset, limit.top, limit.bottom);
  context.fillStyle = color;
  for (const stretch of stretches(indices, low.values, high.values)) {
    context.beginPath();
    traceEdge(context, stretch, x, (sample) => y(high.values, sample), isStepped);
    traceEdge(context, stretch.reverse(), x, (sample) => y(low.values, sample), isStepped, true);
    context.closePath();
    context.fill();
  }
}

/** The samples of both edges that the screen can tell apart. */
function bandSamples(surface: Surface, low: Curve, high: Curve, first: number, beyond: number): number[] {
  const both = new Set<number>(drawn(surface, low));
  if (both.size < beyond - first) for (const sample of drawn(surface, high)) both.add(sample);
  return [...both].sort((a, b) => a - b);
}

function* stretches(indices: readonly number[], low: Float64Array, high: Float64Array): Iterable<number[]> {
  let stretch: number[] = [];
  for (const index of indices) {
    if (!Number.isNaN(low[index]!) && !Number.isNaN(high[index]!)) {
      stretch.push(index);
      continue;
    }
    if (stretch.length > 0) yield stretch;
    stretch = [];
  }
  if (stretch.length > 0) yield stretch;
}

function traceEdge(
  context: CanvasRenderingContext2D,
  samples: readonly number[],
  x: (sample: number) => number,
  y: (sample: number) => number,
  isStepped: boolean,
  isBackwards = false,
): void {
  samples.forEach((sample, place) => {
    const before = samples[place - 1];
    if (isStepped && before !== undefined) {
      if (isBackwards) context.lineTo(x(before), y(sample));
      else context.lineTo(x(sample), y(before));
    }
    context.lineTo(x(sample), y(sample));
  });
}

function clamp(number: number, low: number, high: number): number {
  return Math.min(Math.max(number, low), high);
}
