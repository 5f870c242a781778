// Pages in a browser without a window, and what they are held against.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";

const { TORVIK_PROGRAM, TORVIK_TOOLS, TORVIK_CHROMIUM, TORVIK_SOURCE_DIR } = process.env;

export const example = (name) => readFileSync(join(TORVIK_SOURCE_DIR, "examples", name), "utf8");

export function newfolder() {
  return mkdtempSync(join(tmpdir(), "torvik-web-"));
}

export const remove = (folder) => rmSync(folder, { recursive: true });

// Runs the program on an input, and gives the text of its results.
export function results(folder, name, input) {
  writeFileSync(join(folder, `${name}.idx`), input);
  execFileSync(TORVIK_PROGRAM, [`${name}.idx`], { cwd: folder, stdio: ["ignore", "ignore", "inherit"] });
  return readFileSync(join(folder, `${name}_idx.res`), "utf8");
}

export function tools(folder, ...words) {
  return execFileSync(TORVIK_TOOLS, words, { cwd: folder, encoding: "utf8", maxBuffer: 1 << 28 });
}

export const report = (folder, name) => {
  tools(folder, "report", "--program", TORVIK_PROGRAM, `${name}_idx.res`);
  return join(folder, `${name}_report.html`);
};

// The solutions of a results file, read here by its columns: { cell, volume, h, H, quality, lines }.
// A line has what the file shows of a reflection.
export function solutionsin(text) {
  const [list] = text.split("Solutions ordered by cell volume");
  return list.split(/ +Solution nr/).slice(1).map((part) => {
    const table = part.split(/^ -{50,}$/m)[1].trimEnd().split("\n").slice(1);
    const lines = table.map((line) => ({
      number: Number(line.slice(0, 4)), mark: line.slice(5, 8).trim(),
      hkl: line.slice(10, 22).trim().split(/ +/).filter(Boolean),
      real: (line.slice(24, 45).match(/.{7}/g) ?? []).map(Number), error: line.slice(48).trim(),
    }));
    const [, h, H, quality] = /(\d+)h and +(\d+)H vectors out of.*Quality : +(\S+)/.exec(part);
    const [, lengths, angles] = /Primitive cell :\n(.*)\n(.*)\n/.exec(part);
    const [, volume] = /Volume of the cell +: +(\S+)/.exec(part);
    return { cell: `${lengths} ${angles}`.trim().split(/ +/), volume, h, H, quality, lines };
  });
}

const patience = 500e3; // ms: longer than anything here takes on any machine

export async function browser() {
  const require = createRequire(join(TORVIK_SOURCE_DIR, "build/web/package.json"));
  const { chromium } = require("playwright-core");
  return chromium.launch({
    executablePath: TORVIK_CHROMIUM, timeout: patience,
    args: ["--no-sandbox", "--use-angle=swiftshader", "--enable-unsafe-swiftshader", "--ignore-gpu-blocklist"],
  });
}

// A page that notes whatever it complains of, and whatever it asks for beside itself. It scrolls at once:
// where something stands is true until the next step.
export async function open(running, file, settings = {}) {
  const context = await running.newContext({ viewport: { width: 1280, height: 900 }, reducedMotion: "reduce", ...settings });
  context.setDefaultTimeout(patience);
  const page = await context.newPage();
  page.complaints = [];
  page.on("console", (message) => {
    if (["error", "warning"].includes(message.type()) && !/GPU stall|GL Driver Message/.test(message.text()))
      page.complaints.push(message.text());
  });
  page.on("pageerror", (error) => page.complaints.push(String(error)));
  page.on("request", (request) => {
    if (!request.url().startsWith("file:") && !request.url().startsWith("data:")) page.complaints.push(request.url());
  });
  const url = pathToFileURL(file).href;
  await page.goto(url);
  await page.waitForSelector("#reflectionsbox tbody tr");
  return page;
}

// Measures what an action takes of the processor's time, in ms, in all processes of the browser.
export async function processortime(running) {
  const session = await running.newBrowserCDPSession();
  const now = async () => (await session.send("SystemInfo.getProcessInfo")).processInfo.reduce((sum, one) => sum + 1000 * one.cpuTime, 0);
  return async (action) => {
    const start = await now();
    await action();
    return await now() - start;
  };
}

// The texts of a table's rows, cell by cell, in the order in which they stand.
export const rowsof = (page, box) =>
  page.$$eval(`${box} tbody tr`, (rows) => rows.map((row) => [...row.cells].map((cell) => cell.textContent.trim())));
