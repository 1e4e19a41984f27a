// Strokes long lines piece by piece. A browser that draws without a graphics processor takes longer for
// every piece of a path the more other pieces lie beside it; a path of thousands of lines as high as the
// plot takes seconds, the same lines in many paths some milliseconds.

import type { PathSink } from "./pen";

/** Lines of one path. */
const MOST_LINES = 64;

/**
 * A path that is stroked while it grows, in the style of the context. It looks like one path: a full line
 * is joined to its next piece, and the pattern of a dashed one goes on. Call `end` after the last line.
 */
export class Strokes<Path extends PathSink = Path2D> implements PathSink {
  private path: Path;
  private lines = 0;
  private x = NaN;
  private y = NaN;
  /** Of the pattern of dashes, up to where the next line begins. */
  private length = 0;

  constructor(
    private readonly context: { stroke(path: Path): void; lineDashOffset: number },
    private readonly isDashed: boolean,
    private readonly begin: () => Path,
  ) {
    this.path = begin();
  }

  moveTo(x: number, y: number): void {
    if (this.length > 0) this.end(); // each part of a path begins its dashes where the whole path does
    this.length = 0;
    this.path.moveTo(x, y);
    this.x = x;
    this.y = y;
  }

  lineTo(x: number, y: number): void {
    this.path.lineTo(x, y);
    this.lines += 1;
    if (this.isDashed) this.length += Math.hypot(x - this.x, y - this.y);
    if (this.lines === MOST_LINES) {
      const [beforeX, beforeY] = [this.x, this.y];
      this.end();
      if (this.isDashed) {
        this.context.lineDashOffset = this.length;
        this.path.moveTo(x, y);
      } else {
        // The last line once more, for its joint with the next.
        this.path.moveTo(beforeX, beforeY);
        this.path.lineTo(x, y);
      }
    }
    this.x = x;
    this.y = y;
  }

  /** Strokes what was not stroked yet. */
  end(): void {
    this.context.stroke(this.path);
    this.context.lineDashOffset = 0;
    this.path = this.begin();
    this.lines = 0;
  }
}
