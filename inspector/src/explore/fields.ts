// Fields that change the store in place: what is entered is sent at once. If it is refused, the
// reason stands beside the field, and the field shows again what holds.

import { element, fill } from "../dom";
import { exactNumber } from "../text/numbers";

let count = 0;

/** How the text of a field becomes a value. `read` throws an Error that says what is wrong. */
export interface Form<T> {
  read: (text: string) => T;
  write: (value: T) => string;
}

export const TEXT: Form<string> = { read: (text) => text, write: (value) => value };

export const NUMBER: Form<number> = { read: readNumberText, write: exactNumber };

/** Names of the texts that stand for numbers which have no digits. */
function readNumberText(text: string): number {
  const plain = text.trim().replace("−", "-");
  const word = /^([+-]?)(?:inf|infinity|∞)$/i.exec(plain);
  if (word !== null) return word[1] === "-" ? -Infinity : Infinity;
  if (/^nan$/i.test(plain)) return NaN;
  const number = plain === "" ? NaN : Number(plain);
  if (Number.isNaN(number)) throw new Error("this is not a number");
  return number;
}

type Control = HTMLInputElement | HTMLSelectElement;

/** A control with its label and, when something was refused, the reason. */
export class Field<T> {
  readonly element: HTMLElement;
  private readonly refusal = element("span", "field-refusal", { role: "alert" });
  private value: T | null = null;
  private isSending = false;

  constructor(
    label: string,
    readonly control: Control,
    private readonly form: Form<T>,
    private readonly send: (value: T) => Promise<void>,
    hint = "",
  ) {
    const id = `field-${++count}`;
    control.id = id;
    this.refusal.id = `${id}-refusal`;
    control.setAttribute("aria-describedby", this.refusal.id);
    if (hint !== "") control.title = hint;
    this.element = element("div", "field", {}, element("label", "", { for: id }, label), control, this.refusal);
    control.addEventListener("change", () => void this.changed());
    control.addEventListener("keydown", (event) => {
      if (event instanceof KeyboardEvent && event.key === "Escape") this.reset();
    });
  }

  /** Shows what holds. What is being typed stays until it is sent or given up. */
  show(value: T): void {
    this.value = value;
    if (!this.isBeingTyped()) this.reset();
  }

  private isBeingTyped(): boolean {
    return this.isSending || (document.activeElement === this.control && this.control.classList.contains("typed"));
  }

  private reset(): void {
    this.control.classList.remove("typed");
    if (this.value !== null) this.control.value = this.form.write(this.value);
  }

  private async changed(): Promise<void> {
    fill(this.refusal);
    this.control.removeAttribute("aria-invalid");
    this.isSending = true;
    try {
      await this.send(this.form.read(this.control.value));
    } catch (error) {
      const reason = error instanceof Error ? error.message : String(error);
      fill(this.refusal, `“${this.control.value}”: ${reason}`);
      this.control.setAttribute("aria-invalid", "true");
      this.isSending = false;
      this.reset();
      return;
    }
    this.isSending = false;
    this.control.classList.remove("typed");
  }
}

/** A line of text or a number. */
export function entry<T>(label: string, form: Form<T>, send: (value: T) => Promise<void>, hint = ""): Field<T> {
  const input = element("input", "entry", { type: "text", autocomplete: "off", spellcheck: "false" });
  input.addEventListener("input", () => input.classList.add("typed"));
  return new Field(label, input, form, send, hint);
}

/** One of several words, each with the text that is shown for it. */
export function choice<T extends string>(
  label: string, words: readonly (readonly [T, string])[], send: (value: T) => Promise<void>, hint = "",
): Field<T> {
  const select = element("select", "entry", {}, ...words.map(([value, text]) => element("option", "", { value }, text)));
  return new Field(label, select, { read: (text) => text as T, write: (value) => value }, send, hint);
}

/** Yes or no, sent at once; a refusal puts it back. */
export class Switch {
  readonly element: HTMLElement;
  private readonly box = element("input", "", { type: "checkbox", role: "switch" });
  private readonly refusal = element("span", "field-refusal", { role: "alert" });

  constructor(label: string, send: (isOn: boolean) => Promise<void>, hint = "") {
    this.element = element("label", "switch", { title: hint === "" ? null : hint }, this.box, element("span", "", {}, label), this.refusal);
    this.box.addEventListener("change", () => {
      const isOn = this.box.checked;
      fill(this.refusal);
      send(isOn).catch((error: unknown) => {
        this.box.checked = !isOn;
        fill(this.refusal, error instanceof Error ? error.message : String(error));
      });
    });
  }

  show(isOn: boolean): void {
    this.box.checked = isOn;
  }
}
