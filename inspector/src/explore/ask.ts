// A question before something that cannot be undone.

import { button, element } from "../dom";

/** Resolves to whether the person said yes. Escape is a no; the focus returns to where it was. */
export function ask(question: string, consequence: string, yes: string): Promise<boolean> {
  const dialog = element("dialog", "ask", { "aria-labelledby": "ask-question" });
  return new Promise((answered) => {
    const keep = button("Keep", "tool", "Do nothing (Esc)", () => dialog.close(""));
    dialog.append(
      element("h2", "", { id: "ask-question" }, element("bdi", "", {}, question)),
      element("p", "", {}, consequence),
      element("div", "detail-tools", {}, button(yes, "tool danger", yes, () => dialog.close(yes)), keep),
    );
    dialog.addEventListener("close", () => {
      dialog.remove();
      answered(dialog.returnValue === yes);
    });
    document.body.append(dialog);
    dialog.showModal();
    keep.focus();
  });
}
