// Puts the page together: node build.mjs [FILE], by default dist/report.html. One file with the style and the script in
// it, which its policy names by their hashes: no other runs, and nothing is fetched.

import { build } from "esbuild";
import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";
import { fileURLToPath } from "node:url";

const here = (name) => fileURLToPath(new URL(name, import.meta.url));

async function bundled(source, options) {
  const result = await build({
    entryPoints: [here(source)],
    bundle: true,
    minify: true,
    charset: "ascii",
    target: "es2022",
    write: false,
    logLevel: "warning",
    ...options,
  });
  const text = result.outputFiles[0].text.trimEnd();
  if (/<\/(script|style)|<!--/i.test(text)) throw new Error(`${source} would end the element that it stands in`);
  return text;
}

const hashOf = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

const script = await bundled("source/page.js", { format: "iife" });
const style = await bundled("source/page.css", { target: ["chrome115", "firefox115", "safari16.5"] });
const policy = `default-src 'none'; script-src ${hashOf(script)}; style-src ${hashOf(style)}; base-uri 'none'; form-action 'none'`;
const parts = { POLICY: policy, STYLE: style, SCRIPT: script };
const page = readFileSync(here("source/page.html"), "utf8").replace(
  /@(POLICY|STYLE|SCRIPT)@/g,
  (_, name) => parts[name],
);
writeFileSync(process.argv[2] ?? here("dist/report.html"), page);
