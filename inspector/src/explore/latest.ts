// Requests that follow the pointer: one at a time, and of those asked for meanwhile only the last.

/** Runs jobs one after the other; a job that another one overtook before it began is left out. */
export class Latest {
  private waiting: (() => Promise<void>) | null = null;
  private isBusy = false;

  /** `failed` is told what a job was rejected with. */
  constructor(private readonly failed: (error: unknown) => void) {}

  ask(job: () => Promise<void>): void {
    this.waiting = job;
    if (!this.isBusy) void this.work();
  }

  private async work(): Promise<void> {
    this.isBusy = true;
    while (this.waiting !== null) {
      const job = this.waiting;
      this.waiting = null;
      try {
        await job();
      } catch (error) {
        this.failed(error);
      }
    }
    this.isBusy = false;
  }
}
