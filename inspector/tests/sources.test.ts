// What every source has to keep to, and no compiler checks.
import assert from "node:assert/strict";
import { readFileSync, readdirSync } from "node:fs";
import { test } from "node:test";

const FORBIDDEN: [RegExp, string][] = [
  [/\b(innerHTML|outerHTML|insertAdjacentHTML|setHTMLUnsafe|createContextualFragment|DOMParser)\b/, "names are data, never markup"],
  [/\bdocument\.write\b|\beval\(|\bnew Function\b/, "the policy of the page forbids it"],
  [/setAttribute\(\s*"style"|cssText|\bstyle:\s*["'`]/, "the policy of the page forbids style attributes"],
  [/setAttribute\(\s*"on|\bon(click|error|load):/, "the policy of the page forbids handlers in attributes"],
];

test("no source makes markup or code from texts", () => {
  const names = namesBelow(SOURCES).filter((name) => name.endsWith(".ts"));
  assert(names.length > 15, "the sources were found");
  for (const name of names) {
    const text = readFileSync(name, "utf8");
    for (const [pattern, reason] of FORBIDDEN) {
      assert.equal(pattern.exec(text)?.[0], undefined, `${name}: ${reason}`);
    }
    assert(text.split("\n").length <= 400, `${name} has more than 400 lines`);
  }
});

function namesBelow(folder: string): string[] {
  return readdirSync(folder, { withFileTypes: true }).flatMap((entry) => {
    const name = `${folder}/${entry.name}`;
    return entry.isDirectory() ? namesBelow(name) : [name];
  });
}
