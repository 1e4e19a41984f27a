// What can be taken away as a file: recordings, CSV, the report of the comparison, a picture.

import { element, fill } from "../dom";
import { shownShort } from "../text/shown";
import type { Session } from "./session";

export class SaveMenu {
  readonly element: HTMLElement;
  private readonly panel = element("div", "menu", { id: "save-menu", hidden: true });
  private readonly opener = element("button", "tool", {
    type: "button", "aria-expanded": "false", "aria-controls": "save-menu", title: "Save runs, a report or a picture",
  }, "Save");

  constructor(private readonly session: Session, private readonly picture: () => Promise<Blob>) {
    this.element = element("div", "menu-holder", {}, this.opener, this.panel);
    this.opener.addEventListener("click", () => this.open(this.panel.hidden !== false));
    this.element.addEventListener("keydown", (event) => this.pressed(event));
    this.element.addEventListener("focusout", (event) => {
      if (!this.element.contains(event.relatedTarget as Node | null)) this.open(false);
    });
  }

  private open(isOpen: boolean): void {
    if (isOpen) fill(this.panel, ...this.items());
    this.panel.hidden = !isOpen;
    this.opener.setAttribute("aria-expanded", String(isOpen));
    if (isOpen) (this.panel.firstElementChild as HTMLElement | null)?.focus();
  }

  private pressed(event: KeyboardEvent): void {
    const items = [...this.panel.children] as HTMLElement[];
    const step = event.key === "ArrowDown" ? 1 : event.key === "ArrowUp" ? -1 : 0;
    if (event.key === "Escape" && !this.panel.hidden) {
      this.open(false);
      this.opener.focus();
    } else if (step !== 0 && !this.panel.hidden) {
      const at = items.indexOf(document.activeElement as HTMLElement);
      items[(at + step + items.length) % items.length]?.focus();
    } else return;
    event.preventDefault();
    event.stopPropagation();
  }

  private items(): HTMLElement[] {
    const { source } = this.session;
    const view = this.session.view.get();
    const runs = view?.state.runs ?? [];
    const chosen = this.chosenRun();
    const items = [this.link(`All runs (${runs.length}) as a recording`, source.recordingAddress(runs.map(({ id }) => id)))];
    if (chosen !== null) {
      const name = `“${shownShort(chosen.name, 60)}”`;
      items.push(this.link(`Run ${name} as a recording`, source.recordingAddress([chosen.id])));
      items.push(this.link(`Run ${name} as CSV`, source.csvAddress(chosen.id)));
    }
    if (this.session.compared.get().comparison !== null) {
      items.push(this.link("The comparison as a report", source.reportAddress()));
    }
    const picture = element("button", "menu-item", { type: "button" }, "The plots as a picture");
    picture.addEventListener("click", () => {
      this.open(false);
      this.savePicture().catch((error: unknown) => this.session.fail(error));
    });
    return [...items, picture];
  }

  private link(text: string, address: string): HTMLElement {
    const made = element("a", "menu-item", { href: address, download: "" }, element("bdi", "", {}, text));
    made.addEventListener("click", () => setTimeout(() => this.open(false)));
    return made;
  }

  /** The run that is chosen, or that of the chosen signal; the only one if there is one. */
  private chosenRun(): { id: number; name: string } | null {
    const view = this.session.view.get();
    const chosen = this.session.chosen.get();
    if (view === null) return null;
    const place = chosen?.kind === "signal" ? view.place(chosen.id) : null;
    const id = chosen?.kind === "run" ? chosen.id : place === null ? undefined : view.signals.run[place];
    return (id === undefined ? null : view.run(id)) ?? (view.state.runs.length === 1 ? view.state.runs[0]! : null);
  }

  private async savePicture(): Promise<void> {
    const address = URL.createObjectURL(await this.picture());
    const link = element("a", "", { href: address, download: "plots.png" });
    link.click();
    setTimeout(() => URL.revokeObjectURL(address), 10_000);
  }
}
