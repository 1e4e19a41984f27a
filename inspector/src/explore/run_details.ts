// The right side for a run: its name, date and settings, and what can be done with all of it.

import { button, element, fill } from "../dom";
import { counted } from "../text/numbers";
import { shownShort } from "../text/shown";
import { ask } from "./ask";
import { TEXT, entry } from "./fields";
import type { Form } from "./fields";
import type { Session } from "./session";
import { SyncForm, ToleranceForm } from "./settings_form";
import { fact, section } from "./signal_details";
import type { StoreView } from "./store_view";

/** A time in UTC as it is shown and entered, "2024-05-01 12:00:00", and as the store's JSON writes it. */
export const MOMENT: Form<string> = {
  read(text) {
    const plain = text.trim().replace(" ", "T");
    const isWhole = /^\d{4}-\d\d-\d\d(T\d\d:\d\d(:\d\d(\.\d{1,6})?)?)?(Z|[+-]\d\d:\d\d)?$/.test(plain);
    if (!isWhole) throw new Error("enter a time like 2024-05-01 12:00:00; it is in UTC");
    const day = plain.includes("T") ? plain : `${plain}T00:00`;
    return /(Z|[+-]\d\d:\d\d)$/.test(day.slice(11)) ? day.replace("Z", "+00:00") : `${day}+00:00`;
  },
  write: (iso) => iso.replace("T", " ").replace(/(\+00:00|Z)$/, ""),
};

export class RunDetails {
  readonly element: HTMLElement;
  private readonly title = element("h2", "");
  private readonly facts = element("dl", "facts-list");
  private readonly name;
  private readonly created;
  private readonly tolerance: ToleranceForm;
  private readonly sync: SyncForm;
  private readonly settings: HTMLElement[];

  constructor(private readonly session: Session, private readonly id: number, compareWith: (run: number) => void) {
    this.name = entry("name", TEXT, (name) => session.changeRun(id, { name }));
    this.created = entry("created", MOMENT, (created) => session.changeRun(id, { created }), "In UTC");
    this.tolerance = new ToleranceForm((tolerance) => session.changeRun(id, { tolerance }));
    this.sync = new SyncForm((sync) => session.changeRun(id, { sync }));
    this.settings = [section("Tolerance of its signals", this.tolerance.element), section("Synchronisation of its signals", this.sync.element)];
    const { source } = session;
    this.element = element(
      "div", "details", {},
      this.title, this.facts,
      section("Run", this.name.element, this.created.element),
      ...this.settings,
      element("div", "detail-tools", {},
        button("Compare…", "tool", "Compare this run with another one", () => compareWith(id)),
        button("Copy", "tool", "Copy the run with all its signals", () => void this.tried(session.copyRun(id))),
        element("a", "tool", { href: source.recordingAddress([id]), download: "" }, "Save"),
        element("a", "tool", { href: source.csvAddress(id), download: "" }, "CSV"),
        button("Remove…", "tool danger", "Remove the run from the store", () => void this.remove())),
    );
  }

  show(view: StoreView): void {
    const run = view.run(this.id);
    if (run === null) return;
    fill(this.title, element("bdi", "", {}, shownShort(run.name, 400)));
    fill(
      this.facts,
      fact("signals", String(run.signals.length)),
      run.instance === null ? null : fact("instance", String(run.instance)),
      fact("made by", String(run.version)),
      fact("id", String(run.id)),
    );
    this.name.show(run.name);
    this.created.show(run.created ?? "");
    const tolerance = view.runTolerance(run);
    const sync = view.runSync(run);
    for (const one of this.settings) one.hidden = tolerance === null || sync === null;
    if (tolerance !== null) this.tolerance.show(tolerance);
    if (sync !== null) this.sync.show(sync);
  }

  private async tried(change: Promise<void>): Promise<void> {
    await change.catch((error: unknown) => this.session.fail(error));
  }

  private async remove(): Promise<void> {
    const run = this.session.view.get()?.run(this.id);
    if (run == null) return;
    const isSure = await ask(
      `Remove the run “${shownShort(run.name, 200)}” with ${counted(run.signals.length, "signal")}?`,
      "It is removed from the store for every window. Its file stays as it is.", "Remove",
    );
    if (isSure) await this.tried(this.session.removeRun(this.id));
  }
}
