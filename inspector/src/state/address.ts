// The part of the address after "#" holds what is shown, so that an address can be sent to a
// colleague and the browser's buttons go back and forth.

import { Atom } from "./atom";

export type Fields = Readonly<Record<string, string>>;

/** Fields of a fragment such as "#pair=3&filter=speed"; empty ones are left out. */
export function readFragment(fragment: string): Fields {
  const fields: Record<string, string> = {};
  for (const [name, value] of new URLSearchParams(fragment.replace(/^#/, ""))) {
    if (value !== "") fields[name] = value;
  }
  return fields;
}

/** The fragment that these fields make, "" without any. */
export function writeFragment(fields: Fields): string {
  const kept = Object.entries(fields).filter(([, value]) => value !== "");
  return kept.length === 0 ? "" : `#${new URLSearchParams(kept)}`;
}

/** A number of a field; null if it is none. */
export function numberField(fields: Fields, name: string): number | null {
  const text = fields[name];
  const number = text === undefined || text.trim() === "" ? NaN : Number(text);
  return Number.isFinite(number) ? number : null;
}

/** The fields of the address, both ways. */
export class Address {
  readonly fields: Atom<Fields>;

  constructor(private readonly window: globalThis.Window) {
    this.fields = new Atom(readFragment(window.location.hash), equalFields);
    window.addEventListener("hashchange", () => {
      this.fields.set(readFragment(window.location.hash));
    });
  }

  /**
   * Sets fields; "" removes one. `isStep` makes a step that the browser's back button undoes; moving
   * and zooming make none.
   */
  change(fields: Fields, isStep: boolean): void {
    const all = { ...this.fields.get(), ...fields };
    const fragment = writeFragment(all);
    const { pathname, search } = this.window.location;
    // A page that was opened from disk has an address without a host, which the path alone keeps.
    const address = `${pathname}${search}${fragment}`;
    if (isStep) this.window.history.pushState(null, "", address);
    else this.window.history.replaceState(null, "", address);
    this.fields.set(readFragment(fragment));
  }
}

function equalFields(a: Fields, b: Fields): boolean {
  return writeFragment(a) === writeFragment(b);
}
