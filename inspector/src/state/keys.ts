// Hot keys. They leave input fields alone, and one list of them makes the help.

export interface HotKey {
  /** As KeyboardEvent.key names it, with "Ctrl+", "Alt+", "Shift+" before it in this order. */
  keys: string[];
  help: string;
  run: (event: KeyboardEvent) => void;
}

/** The name of the pressed key. Shift is named only for keys that mean the same with it. */
export function keyName(event: KeyboardEvent): string {
  const shift = event.shiftKey && (event.key.length > 1 || event.key === " ");
  return `${event.ctrlKey || event.metaKey ? "Ctrl+" : ""}${event.altKey ? "Alt+" : ""}${
    shift ? "Shift+" : ""
  }${event.key}`;
}

/** Whether typing there writes something. */
export function isTyping(target: EventTarget | null): boolean {
  if (!(target instanceof HTMLElement)) return false;
  if (target.isContentEditable || target instanceof HTMLTextAreaElement) return true;
  if (target instanceof HTMLSelectElement) return true;
  const silent = ["button", "checkbox", "radio", "range", "color", "submit", "reset"];
  return target instanceof HTMLInputElement && !silent.includes(target.type);
}

/**
 * Runs the hot keys on key presses below `target` while `isActive` says so, until the returned function
 * is called.
 */
export function bindKeys(
  target: HTMLElement | Document,
  hotKeys: readonly HotKey[],
  isActive: () => boolean = () => true,
): () => void {
  const byName = new Map(hotKeys.flatMap((one) => one.keys.map((name) => [name, one] as const)));
  const pressed = (event: Event): void => {
    if (!(event instanceof KeyboardEvent) || event.defaultPrevented || isTyping(event.target)) return;
    const hotKey = byName.get(keyName(event));
    if (hotKey === undefined || !isActive()) return;
    event.preventDefault();
    hotKey.run(event);
  };
  target.addEventListener("keydown", pressed);
  return () => target.removeEventListener("keydown", pressed);
}
