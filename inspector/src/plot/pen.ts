// Draws curves as paths on a canvas. uPlot takes neither NaN nor equal times, so that it gets paths
// and never samples.

/** What a path is drawn with: Path2D, or a recorder in tests. */
export interface PathSink {
  moveTo(x: number, y: number): void;
  lineTo(x: number, y: number): void;
}

/** From time and value to canvas pixels: x = time * xScale + xOffset. */
export interface Transform {
  xScale: number;
  xOffset: number;
  yScale: number;
  yOffset: number;
}

export interface Box {
  left: number;
  top: number;
  right: number;
  bottom: number;
}

/**
 * Draws lines cut to a box. A canvas draws pixels that are far outside slowly with dashes, and wrongly
 * beyond the precision of its floats.
 */
export class Pen {
  private x = NaN;
  private y = NaN;
  private drawnX = NaN;
  private drawnY = NaN;

  constructor(
    private readonly sink: PathSink,
    private readonly box: Box,
  ) {}

  move(x: number, y: number): void {
    this.x = x;
    this.y = y;
  }

  line(x: number, y: number): void {
    const cut = cutLine(this.x, this.y, x, y, this.box);
    this.x = x;
    this.y = y;
    if (cut === null) return;
    const [fromX, fromY, toX, toY] = cut;
    if (fromX !== this.drawnX || fromY !== this.drawnY) this.sink.moveTo(fromX, fromY);
    this.sink.lineTo(toX, toY);
    this.drawnX = toX;
    this.drawnY = toY;
  }
}

/** The part of a line within the box, from end to end; null if all of it is outside. */
export function cutLine(
  fromX: number, fromY: number, toX: number, toY: number, box: Box,
): [number, number, number, number] | null {
  if (isInside(fromX, fromY, box) && isInside(toX, toY, box)) return [fromX, fromY, toX, toY];
  const dx = toX - fromX;
  const dy = toY - fromY;
  let enter: Crossing = { part: 0, x: fromX, y: fromY };
  let leave: Crossing = { part: 1, x: toX, y: toY };
  const sides: [number, number, (part: number) => Crossing][] = [
    [-dx, fromX - box.left, (part) => ({ part, x: box.left, y: fromY + part * dy })],
    [dx, box.right - fromX, (part) => ({ part, x: box.right, y: fromY + part * dy })],
    [-dy, fromY - box.top, (part) => ({ part, x: fromX + part * dx, y: box.top })],
    [dy, box.bottom - fromY, (part) => ({ part, x: fromX + part * dx, y: box.bottom })],
  ];
  for (const [towards, room, crossing] of sides) {
    const part = room / towards;
    if (towards === 0) {
      if (room < 0) return null;
    } else if (towards < 0) {
      if (part > enter.part) enter = crossing(part);
    } else if (part < leave.part) leave = crossing(part);
  }
  return enter.part <= leave.part ? [enter.x, enter.y, leave.x, leave.y] : null;
}

/** Where a line crosses a side of the box: the coordinate of the side is exact, also far away. */
interface Crossing {
  part: number;
  x: number;
  y: number;
}

function isInside(x: number, y: number, { left, right, top, bottom }: Box): boolean {
  return x >= left && x <= right && y >= top && y <= bottom;
}

/**
 * Draws the samples of these indices as lines or steps. A NaN or infinite value interrupts the curve;
 * a sample alone between two gaps becomes a dot of `dot` pixels.
 */
export function traceCurve(
  pen: Pen,
  times: Float64Array,
  values: Float64Array,
  indices: Iterable<number>,
  { xScale, xOffset, yScale, yOffset }: Transform,
  isStepped: boolean,
  dot: number,
): void {
  let count = 0; // samples since the last gap
  let x = 0;
  let y = 0;
  const endStretch = (): void => {
    if (count !== 1) return;
    pen.move(x - dot / 2, y);
    pen.line(x + dot / 2, y);
  };
  for (const index of indices) {
    const value = values[index]!;
    if (!Number.isFinite(value)) {
      endStretch();
      count = 0;
      continue;
    }
    const nextX = times[index]! * xScale + xOffset;
    const nextY = value * yScale + yOffset;
    if (count === 0) pen.move(nextX, nextY);
    else {
      if (isStepped) pen.line(nextX, y);
      pen.line(nextX, nextY);
    }
    x = nextX;
    y = nextY;
    count += 1;
  }
  endStretch();
}

/** The whole numbers from first up to, not with, beyond. */
export function* numbersFrom(first: number, beyond: number): Iterable<number> {
  for (let number = first; number < beyond; number++) yield number;
}
