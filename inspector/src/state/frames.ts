// One scheduler for all drawing: whatever is asked for before a frame is done once in it.

type Work = () => void;

/** Asks for a call before the next frame; the browser's, but for tests. */
export type RequestFrame = (call: () => void) => void;

export class Frames {
  private pending = new Map<object, Work>();
  private isAsked = false;

  constructor(private readonly request: RequestFrame) {}

  /**
   * Does `work` in the next frame. Of several for the same owner only the last is done. Work that is
   * asked for while a frame is drawn is done in the one after it.
   */
  schedule(owner: object, work: Work): void {
    this.pending.set(owner, work);
    if (this.isAsked) return;
    this.isAsked = true;
    this.request(() => this.draw());
  }

  cancel(owner: object): void {
    this.pending.delete(owner);
  }

  /** Does now what waits; printing cannot wait for a frame. */
  draw(): void {
    this.isAsked = false;
    const works = [...this.pending.values()];
    this.pending.clear();
    for (const work of works) {
      try {
        work();
      } catch (error) {
        console.error(error);
      }
    }
  }
}

export const frames = new Frames((call) => void globalThis.requestAnimationFrame(call));
