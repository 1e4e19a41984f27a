// build.mjs PACKAGES OUT [--readable]: bundles the page into OUT/page.js, page.css and page.html.
// build.mjs PACKAGES OUT --tests: bundles the unit tests into OUT/tests.mjs.
//
// PACKAGES is the folder in which npm installed the packages; it stands in the build tree, so that
// the source tree stays as it was checked out.
import { copyFileSync, mkdirSync, readdirSync } from "node:fs";
import { createRequire } from "node:module";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const [packages, out, mode] = process.argv.slice(2);
if (packages === undefined || out === undefined) {
  console.error("usage: build.mjs PACKAGES OUT [--readable | --tests]");
  process.exit(2);
}
const esbuild = createRequire(join(resolve(packages), "package.json"))("esbuild");

const shared = {
  bundle: true,
  nodePaths: [join(resolve(packages), "node_modules")],
  logLevel: "warning",
  charset: "utf8",
  target: ["chrome105", "firefox115", "safari16.4"],
};

async function buildPage() {
  await esbuild.build({
    ...shared,
    entryPoints: { page: join(here, "src/main.ts") },
    outdir: out,
    format: "iife",
    minify: mode !== "--readable",
    legalComments: "inline",
  });
  copyFileSync(join(here, "src/page.html"), join(out, "page.html"));
}

async function buildTests() {
  const files = readdirSync(join(here, "tests")).filter((name) => name.endsWith(".test.ts"));
  await esbuild.build({
    ...shared,
    target: "node18",
    stdin: {
      contents: files.map((name) => `import "./${name}";`).join("\n"),
      resolveDir: join(here, "tests"),
    },
    outfile: join(out, "tests.mjs"),
    format: "esm",
    platform: "node",
    loader: { ".css": "empty" },
    // The tests read the sources to check what no compiler checks.
    define: { SOURCES: JSON.stringify(join(here, "src")) },
  });
}

mkdirSync(out, { recursive: true });
try {
  await (mode === "--tests" ? buildTests() : buildPage());
} catch {
  process.exit(1); // esbuild has said what is wrong
}
