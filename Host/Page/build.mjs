// Makes the page's files: node build.mjs <output folder> [--dev]
//
// Each entry of src/ becomes <name>.js, with the styles it imports beside it as <name>.css; public/ is copied as it is.
// The emoji list is copied too, so that the page asks no other server for it, and the content policy. src/icons/*.svg become the module "icons".
import { cp, mkdir, readdir, readFile, rm } from "node:fs/promises";
import { existsSync } from "node:fs";
import { createRequire } from "node:module";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const entries = ["src/main.tsx"];

const here = dirname(fileURLToPath(import.meta.url));
const dev = process.argv.includes("--dev");
const target = process.argv.slice(2).find((word) => !word.startsWith("--"));
if (!target) {
  console.error("usage: node build.mjs <output folder> [--dev]");
  process.exit(2);
}
const output = resolve(target);

// A record of every picture's markup by its file's name, so that a new picture is a new file and nothing else.
const icons = {
  name: "icons",
  setup(builder) {
    const folder = join(here, "src/icons");
    builder.onResolve({ filter: /^icons$/ }, () => ({ path: "icons", namespace: "icons" }));
    builder.onLoad({ filter: /.*/, namespace: "icons" }, async () => {
      const files = (await readdir(folder)).filter((name) => name.endsWith(".svg")).sort();
      const pictures = {};
      for (const file of files) pictures[file.slice(0, -4)] = (await readFile(join(folder, file), "utf8")).trim();
      return { contents: JSON.stringify(pictures), loader: "json", watchDirs: [folder] };
    });
  },
};

await rm(output, { recursive: true, force: true });
await mkdir(output, { recursive: true });
try {
  await build({
    absWorkingDir: here,
    entryPoints: entries,
    outdir: output,
    bundle: true,
    splitting: true,
    chunkNames: "[name]-[hash]",
    plugins: [icons],
    format: "esm",
    target: "es2022",
    jsx: "automatic",
    jsxImportSource: "preact",
    charset: "utf8",
    minify: !dev,
    sourcemap: dev ? "linked" : false,
    loader: { ".svg": "file", ".png": "file", ".woff2": "file" },
    assetNames: "[name]",
    legalComments: "eof",
    logLevel: "warning",
  });
} catch {
  // esbuild has already told what is wrong and where.
  process.exit(1);
}

const emoji = createRequire(import.meta.url).resolve("emoji-picker-element-data/en/emojibase/data.json");
await cp(emoji, join(output, "emoji.json"));
await cp(join(here, "CSP.txt"), join(output, "CSP.txt")); // for the host, which sends it along with the page
if (existsSync(join(here, "public"))) await cp(join(here, "public"), output, { recursive: true });
