// The state of the page stands in a few small atoms. Views read them, and are told of changes; no
// view tells another.

/** A value that can be watched. Watchers are called after a change, in the order they came. */
export class Atom<T> {
  private readonly watchers = new Set<(value: T, before: T) => void>();

  /** `same` decides what is no change. */
  constructor(
    private value: T,
    private readonly same: (a: T, b: T) => boolean = Object.is,
  ) {}

  get(): T {
    return this.value;
  }

  /** A watcher may set atoms, this one too. A watcher that throws does not keep others from being told. */
  set(value: T): void {
    const before = this.value;
    if (this.same(before, value)) return;
    this.value = value;
    for (const watcher of [...this.watchers]) {
      if (this.value !== value) return; // a watcher set it anew, and all were told of that
      try {
        watcher(value, before);
      } catch (error) {
        console.error(error);
      }
    }
  }

  update(change: (value: T) => T): void {
    this.set(change(this.value));
  }

  /** Calls `watcher` after every change, until the returned function is called. */
  watch(watcher: (value: T, before: T) => void): () => void {
    this.watchers.add(watcher);
    return () => void this.watchers.delete(watcher);
  }
}

interface Watched {
  watch(watcher: () => void): () => void;
}

/** An atom computed from others; it changes when they do. */
export function derived<T>(sources: readonly Watched[], compute: () => T): Atom<T> {
  const atom = new Atom(compute());
  for (const source of sources) source.watch(() => atom.set(compute()));
  return atom;
}
