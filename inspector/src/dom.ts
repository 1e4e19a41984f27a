// Makes elements. Texts become text nodes, never markup.

type Child = Node | string | null | undefined | false;
type Attributes = Readonly<Record<string, string | number | boolean | null | undefined>>;

/** An element with a class, attributes (true: present, null or false: absent) and children. */
export function element<Name extends keyof HTMLElementTagNameMap>(
  name: Name,
  className = "",
  attributes: Attributes = {},
  ...children: Child[]
): HTMLElementTagNameMap[Name] {
  const made = document.createElement(name);
  if (className !== "") made.className = className;
  for (const [attribute, value] of Object.entries(attributes)) {
    if (value === null || value === undefined || value === false) continue;
    made.setAttribute(attribute, value === true ? "" : String(value));
  }
  made.append(...children.filter((child): child is Node | string => isChild(child)));
  return made;
}

function isChild(child: Child): boolean {
  return child !== null && child !== undefined && child !== false;
}

/** Shows these children in place of those that are there. */
export function fill(parent: Element, ...children: Child[]): void {
  parent.replaceChildren(...children.filter((child): child is Node | string => isChild(child)));
}

/** A push button. */
export function button(text: string, className: string, title: string, press: () => void): HTMLButtonElement {
  const made = element("button", className, { type: "button", title }, text);
  made.addEventListener("click", press);
  return made;
}
