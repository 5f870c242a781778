// Runs a test in a browser, or says in a sentence what is missing for it: node run.mjs TEST
//
// The status is 77 then, which ctest counts as skipped.
import { spawnSync } from "node:child_process";
import { existsSync } from "node:fs";
import { join } from "node:path";

const { TORVIK_SOURCE_DIR } = process.env;
const skipped = 77;

// What drives the browser is a library from npm. The build marks that it got all of them; one that is missing
// then is a fault, not a lack.
function missing() {
  if (existsSync(join(TORVIK_SOURCE_DIR, "build/web/installed"))) return "";
  return "Skipped: the library playwright-core is missing, since the build could not get the libraries of web/ from npm.";
}

const sentence = missing();
if (sentence) console.log(sentence);
process.exitCode = sentence ? skipped : spawnSync(process.execPath, ["--test", ...process.argv.slice(2)], { stdio: "inherit" }).status ?? 1;
