// Lines above the views for what a person has to know: that the server is gone, that a file is no
// longer what was loaded, that something failed.

import type { OpenFile } from "../data/source";
import { button, element, fill } from "../dom";
import { shownShort } from "../text/shown";
import type { Session } from "./session";

export class Banner {
  readonly element = element("div", "banner", { role: "status", "aria-live": "polite" });

  constructor(private readonly session: Session) {
    for (const atom of [session.connection, session.files, session.failure]) atom.watch(() => this.show());
  }

  private show(): void {
    const { connection, files, failure } = this.session;
    fill(this.element, this.connectionLine(connection.get()), ...files.get().map(fileLine), this.failureLine(failure.get()));
  }

  private connectionLine(connection: ReturnType<Session["connection"]["get"]>): HTMLElement | null {
    if (connection.state === "gone") {
      return line("warning", "The server does not answer. What is shown stays; this window comes back by itself when the server does.");
    }
    if (connection.state !== "refused") return null;
    return line("warning", "The server does not know this window. Open the whole address that “kvr view” printed, in this browser; a server that was started again printed a new one.");
  }

  private failureLine(failure: string | null): HTMLElement | null {
    if (failure === null) return null;
    const away = button("×", "legend-remove", "Put this away", () => this.session.failure.set(null));
    away.setAttribute("aria-label", "Put this away");
    return line("error", shownShort(failure, 600), away);
  }
}

function fileLine({ path, state }: OpenFile): HTMLElement | null {
  if (state === "same") return null;
  const name = shownShort(path, 300);
  const what = state === "gone" ? "is gone" : "has changed";
  return line("warning", `${name} ${what} since it was loaded. This page shows what was loaded; start “kvr view” again to read the file anew.`);
}

function line(kind: string, text: string, ...parts: HTMLElement[]): HTMLElement {
  return element("p", `banner-line ${kind}`, {}, element("bdi", "", {}, text), ...parts);
}
