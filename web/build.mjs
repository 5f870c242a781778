// Puts the sources of the page, and the libraries they use, into one file: node build.mjs OUTPUT.
// The data of a crystal are put in by torvik-tools report, in place of <!--data-->.
import { build } from "esbuild";
import { existsSync, mkdirSync, readdirSync, readFileSync, renameSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const output = process.argv[2];
if (!output) throw new Error("node build.mjs OUTPUT");

const bundled = async (entry, loader) => {
  const result = await build({
    absWorkingDir: here, entryPoints: [entry], bundle: true, minify: true, write: false, metafile: true,
    format: "iife", target: "es2020", charset: "utf8", legalComments: "none", logLevel: "warning", ...loader,
  });
  return { text: result.outputFiles[0].text, inputs: Object.keys(result.metafile.inputs) };
};

// The licence of each library of which something is in the bundle.
function licences(inputs) {
  const folders = inputs.map((path) => /(.*node_modules\/(?:@[^/]+\/)?[^/]+)\//.exec(path)?.[1]);
  const texts = [...new Set(folders.filter(Boolean))].sort().map((folder) => {
    const path = join(here, folder);
    const { name, version } = JSON.parse(readFileSync(join(path, "package.json"), "utf8"));
    const file = readdirSync(path).find((one) => /^licen[cs]e/i.test(one));
    if (!file) throw new Error(`${name} has no licence to be kept`);
    return `${name} ${version}\n\n${readFileSync(join(path, file), "utf8").trim()}`;
  });
  return texts.join("\n\n----\n\n").replace(/&/g, "&amp;").replace(/</g, "&lt;");
}

const script = await bundled("src/main.js", {});
const style = await bundled("style.css", {});
const parts = {
  "/*style*/": style.text,
  "/*script*/": script.text.replace(/<\/script/gi, "<\\/script").replace(/<!--/g, "<\\!--"),
  "<!--licences-->": licences(script.inputs),
};
let page = readFileSync(join(here, "index.html"), "utf8");
for (const [place, text] of Object.entries(parts)) {
  if (page.split(place).length !== 2) throw new Error(`index.html has to have ${place} once`);
  page = page.replace(place, () => text);
}
if (page.split("<!--data-->").length !== 2) throw new Error("index.html has to have <!--data--> once");
if (!existsSync(dirname(output))) mkdirSync(dirname(output), { recursive: true });
writeFileSync(output + ".part", page);
renameSync(output + ".part", output);
