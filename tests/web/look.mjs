// Pictures of a page, to be looked at:
//
//   TORVIK_SOURCE_DIR=PROJECT TORVIK_CHROMIUM=chromium node look.mjs PAGE FOLDER
import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { browser, open } from "./support.mjs";

const [file, folder] = process.argv.slice(2);
mkdirSync(folder, { recursive: true });
const running = await browser();
const shot = async (name, settings, act = async () => {}) => {
  const page = await open(running, file, settings);
  await act(page);
  await page.locator("#reflections").scrollIntoViewIfNeeded(); // else it is left out
  await page.waitForTimeout(300);
  await page.screenshot({ path: join(folder, `${name}.png`), fullPage: true });
  if (page.complaints.length) console.error(name, page.complaints);
  if (name === "light") await page.pdf({ path: join(folder, "print.pdf"), format: "A4", printBackground: true });
  await page.context().close();
};
await shot("light", {});
await shot("dark", { colorScheme: "dark" });
await shot("narrow", { viewport: { width: 360, height: 740 } });
await running.close();
