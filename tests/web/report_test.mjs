// The page of torvik-tools report, in a browser: what it shows, held against the files.
import assert from "node:assert/strict";
import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, before, describe, test } from "node:test";
import { browser, example, newfolder, open, processortime, remove, report, results, rowsof, solutionsin, tools } from "./support.mjs";

const both = "_SortSolutionsByQualityVsVolume\n3\n_CreateLogFile\n1\n";

let running, folder;
before(async () => {
  folder = newfolder();
  running = await browser();
});
after(async () => {
  await running?.close();
  remove(folder);
});

const choose = (page, number) => page.check(`#solutionsbox input[value="${number}"]`);

describe("The page of a run", () => {
  let page, solutions, text;
  before(async () => {
    text = results(folder, "kyanite", example("5_kyanite_difficult.idx") + both);
    solutions = solutionsin(text);
    page = await open(running, report(folder, "kyanite"));
  });

  test("has every solution as it stands in the file", async () => {
    const rows = await rowsof(page, "#solutionsbox");
    assert.equal(solutions.length, 8);
    assert.equal(rows.length, solutions.length);
    rows.forEach((row, i) => {
      const { cell, volume, h, H, quality } = solutions[i];
      assert.deepEqual(row.slice(0, 11), [String(i + 1), ...cell, volume, h, H, quality]);
    });
  });

  test("has the indices and the error of every reflection under every solution", async () => {
    let indexed = 0;
    for (let number = 1; number <= solutions.length; ++number) {
      await choose(page, number);
      const rows = await rowsof(page, "#reflectionsbox");
      assert.equal(rows.length, 40);
      solutions[number - 1].lines.forEach((line, i) => {
        const row = rows[i];
        assert.equal(row[0], String(line.number));
        assert.deepEqual(row.slice(5, 8).filter(Boolean), line.hkl);
        const kind = { "H-": "indexed (within c/2)", "-h": "weakly indexed (within c)", "": "not indexed" }[line.mark];
        assert.equal(row[12].slice(2), kind);
        line.real.forEach((x, k) => assert.ok(Math.abs(Number(row[8 + k]) - x) < 0.0057, `${row[8 + k]} ${x}`));
        if (line.error) assert.ok(Math.abs(Number(row[11]) - Number(line.error)) < 0.0011, `${row[11]} ${line.error}`);
        indexed += line.hkl.length;
      });
    }
    assert.ok(indexed > 300);
    await choose(page, 1);
  });

  test("has the test volumes of the log, each on the curve", async () => {
    const log = readFileSync(join(folder, "kyanite_idx.log"), "utf8");
    const list = /final list of test volumes :\n.*\n([^=]*)/.exec(log)[1].trim().split("\n").map((line) => line.trim().split(/ +/)[2]);
    const table = await rowsof(page, "#volumesbox");
    assert.deepEqual(table.map((row) => row[1]), list);
    assert.equal(await page.locator("#periodogram circle").count(), list.length);
    assert.match(await page.textContent("#periodogramnote"), /^Rayleigh periodogram of 786 values.*from kyanite_idx\.log\.$/);
    const highest = Math.max(...table.map((row) => Number(row[2])));
    const values = [...log.matchAll(/^ +\S+E-\d+ +(\d+\.\d+) +(\S+) +-?\d+\.\d$/gm)].map((row) => Number(row[2]));
    assert.equal(values.length, 786);
    assert.equal(highest, Math.max(...values));
  });

  test("tells the relations that the file has", async () => {
    const whole = [...text.matchAll(/^ +(\d+) <=> +(\d+)\n[^]*?matrix T:\n(.*)\n(.*)\n(.*)\n/gm)]
      .filter(([, , , ...rows]) => rows.join(" ").trim().split(/ +/).every((x) => Math.abs(x - Math.round(x)) < 0.05));
    assert.ok(whole.length >= 3);
    const byvolume = text.split("Solutions ordered by cell volume")[1].split(/ +Solution nr/).slice(1)
      .map((part) => /Primitive cell :\n(.*)\n(.*)\n/.exec(part).slice(1).join(" ").trim().split(/ +/).join());
    const numberof = (k) => solutions.findIndex((one) => one.cell.join() === byvolume[k - 1]) + 1;
    for (const [, small, large] of whole) {
      await choose(page, numberof(small));
      const words = await page.locator("#relationslist li").allTextContents();
      const ratio = Math.round(solutions[numberof(large) - 1].volume / solutions[numberof(small) - 1].volume);
      const expected = ratio === 1 ? "same lattice" : `${ratio} times the cell`;
      assert.ok(words.some((one) => one.startsWith(`Solution ${numberof(large)}: ${expected}`)), words.join("\n"));
    }
    await choose(page, 1);
  });

  test("puts its tables in order by a key on a head", async () => {
    const head = page.locator("#solutionsbox thead th", { hasText: "Volume" });
    await head.locator("button").focus();
    await page.keyboard.press("Enter");
    assert.equal(await head.getAttribute("aria-sort"), "ascending");
    const volumes = (await rowsof(page, "#solutionsbox")).map((row) => Number(row[7]));
    assert.deepEqual(volumes, [...volumes].sort((u, v) => u - v));
    await page.keyboard.press("Enter");
    assert.equal(await head.getAttribute("aria-sort"), "descending");
    await page.locator("#solutionsbox thead button").first().click();
    assert.deepEqual((await rowsof(page, "#solutionsbox")).map((row) => row[0]), solutions.map((_, i) => String(i + 1)));
  });

  test("is led by keys from solution to solution, in the graph and from spot to spot", async () => {
    await page.focus('#solutionsbox input[value="1"]');
    await page.keyboard.press("ArrowDown");
    assert.match(await page.textContent("#summary"), /^Solution 2: /);
    assert.equal(await page.textContent("#lattice"), "Its metric has no symmetry.");
    await page.locator("#relations .node:not(.chosen)").first().focus();
    await page.keyboard.press("Enter");
    assert.doesNotMatch(await page.textContent("#summary"), /^Solution 2: /);
    await choose(page, 1);
    await page.focus("#canvas");
    await page.keyboard.press("n");
    await page.keyboard.press("n");
    const { hkl, error } = solutions[0].lines[1];
    assert.equal(await page.textContent("#spoken"), `Nr 2: h k l ${hkl.join(" ")}, error ${error}.`);
    assert.equal(await page.locator("#reflectionsbox tr.chosen").textContent().then((line) => line.slice(0, 1)), "2");
  });

  test("tells indices and error of the spot below the pointer", async () => {
    await page.locator("#canvas").scrollIntoViewIfNeeded();
    // Where there are spots, by events that are answered at once: a real pointer is heard once in a frame.
    const spots = await page.evaluate(() => {
      const canvas = document.getElementById("canvas"), hint = document.getElementById("hint");
      const frame = canvas.getBoundingClientRect();
      const places = new Map();
      for (let i = 0; i < 900 && places.size < 5; ++i) {
        const clientX = Math.round(frame.x + frame.width * (0.3 + 0.4 * ((i % 30) / 30)));
        const clientY = Math.round(frame.y + frame.height * (0.1 + 0.8 * (i / 900)));
        canvas.dispatchEvent(new PointerEvent("pointermove", { clientX, clientY }));
        if (!hint.hidden && !places.has(hint.textContent)) places.set(hint.textContent, [clientX, clientY]);
      }
      hint.hidden = true;
      return [...places];
    });
    assert.equal(spots.length, 5);
    const seen = spots.map(([words]) => words);
    for (const [words, place] of spots) {
      await page.mouse.move(...place);
      await page.locator("#hint", { hasText: words }).waitFor();
    }
    for (const words of seen) {
      const line = solutions[0].lines[Number(/^Nr (\d+)/.exec(words)[1]) - 1];
      if (line.mark) assert.equal(words, `Nr ${line.number}: h k l ${line.hkl.join(" ")}, error ${line.error}`);
      else assert.match(words, /: not indexed, /);
    }
  });

  test("looks down each axis, which then is a point in the middle", async () => {
    for (const name of ["a", "b", "c"]) {
      await page.click(`#views button[data-view="${name}"]`);
      const frame = await page.locator("#stage").boundingBox();
      const middle = [frame.x + frame.width / 2 + 4, frame.y + frame.height / 2 - 24];
      const label = await page.locator(`#label${name}`).boundingBox();
      assert.ok(Math.hypot(label.x - middle[0], label.y - middle[1]) < 3, JSON.stringify([label, middle]));
    }
    await page.click('#views button[data-view="start"]');
  });

  test("shows each kind of spot in its colour, and hides what is not wanted", async () => {
    const counts = async () => page.evaluate(() => {
      const canvas = document.getElementById("canvas");
      const gl = canvas.getContext("webgl2");
      const pixels = new Uint8Array(4 * gl.drawingBufferWidth * gl.drawingBufferHeight);
      gl.readPixels(0, 0, gl.drawingBufferWidth, gl.drawingBufferHeight, gl.RGBA, gl.UNSIGNED_BYTE, pixels);
      let blue = 0, orange = 0;
      for (let i = 0; i < pixels.length; i += 4) {
        if (pixels[i + 3] < 200) continue;
        if (pixels[i + 2] > 90 && pixels[i] < 0.3 * pixels[i + 2]) blue += 1;
        if (pixels[i] > 90 && pixels[i + 2] < 0.3 * pixels[i]) orange += 1;
      }
      return { blue, orange };
    });
    const label = (kind) => page.locator(`#kind-${kind} input`);
    await label("lattice").uncheck();
    const all = await counts();
    assert.ok(all.blue > 300 && all.orange > 30, JSON.stringify(all));
    await label("strict").uncheck();
    const fewer = await counts();
    assert.ok(fewer.blue < 30 && fewer.orange > 30, JSON.stringify(fewer));
    await label("strict").check();
    await label("lattice").check();
  });

  test("gives a name to everything that can be operated", async () => {
    const session = await page.context().newCDPSession(page);
    const { nodes } = await session.send("Accessibility.getFullAXTree");
    const operated = nodes.filter((one) => !one.ignored
      && ["button", "radio", "checkbox", "combobox", "slider", "link", "application"].includes(one.role?.value));
    assert.ok(operated.length > 60);
    for (const one of operated) assert.ok(one.name?.value, JSON.stringify(one.role));
    for (const role of ["table", "columnheader", "rowheader", "main", "image"])
      assert.ok(nodes.some((one) => one.role?.value === role), role);
  });

  test("takes the colours that are asked for, and those of paper", async () => {
    const paper = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    assert.equal(await paper(), "rgb(255, 255, 255)");
    await page.emulateMedia({ colorScheme: "dark" });
    assert.equal(await paper(), "rgb(20, 23, 26)");
    await page.emulateMedia({ colorScheme: "dark", media: "print" });
    assert.equal(await paper(), "rgb(255, 255, 255)");
    const cut = await page.$$eval(".scroll", (boxes) => boxes.filter((box) => box.scrollHeight > box.clientHeight + 2).length);
    assert.equal(cut, 0);
    await page.emulateMedia({ colorScheme: "light", media: "screen" });
  });

  test("fits a narrow window", async () => {
    await page.setViewportSize({ width: 360, height: 740 });
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth) <= 360);
    await page.setViewportSize({ width: 1280, height: 900 });
  });

  test("complains of nothing, and asks the network for nothing", () => {
    assert.deepEqual(page.complaints, []);
  });

  test("keeps the licences of its libraries", async () => {
    const text = await page.textContent("#licences");
    for (const name of ["three 0", "d3-scale 4"]) assert.ok(text.includes(name), name);
    assert.match(text, /MIT License[^]*ISC|Permission to use, copy, modify/);
  });
});

describe("A page made without a log", () => {
  test("has the periodogram of a run made for it", async () => {
    const input = example("5_kyanite_difficult.idx");
    results(folder, "first", input + "_CreateLogFile\n1\n");
    results(folder, "second", input);
    const of = (name) => JSON.parse(tools(folder, "report", "--json", `${name}_idx.res`)).periodogram;
    const [logged, made] = [of("first"), of("second")];
    assert.match(made.note, /a run made for this page/);
    assert.match(logged.note, /from first_idx\.log/);
    assert.deepEqual({ ...made, note: "" }, { ...logged, note: "" });
  });
});

describe("A page of an answer", () => {
  test("has the verdict, the candidates and the second lattice", async () => {
    const basis = [[5, 0, 0], [0, 6, 0], [0, 0, 7]];
    const doubled = [[10, 0, 0], [0, 6, 0], [0, 0, 7]];
    const reflections = [];
    for (let i = 0; i < 24; ++i) {
      const hkl = [1 + (i % 3), (i % 5) - 2, (i % 7) - 3];
      const second = i % 4 === 3;
      const vector = hkl.map((h, k) => (h + (second ? 0.3 : 0)) / basis[k][k]);
      reflections.push({ vector, hkl: second ? null : hkl, genuine: 0.9, lattice: second ? 2 : 1, error: 0 });
    }
    const answer = { program: "Torvik", version: "1.0.0", input: "crystal.p4p", verdict: "solved", reason: "One lattice.", basis, reflections,
                     candidates: [{ basis, evidence: 12.5 }, { basis: doubled, evidence: 3.25 }], run: {} };
    writeFileSync(join(folder, "crystal.solution.json"), JSON.stringify(answer));
    tools(folder, "report", "crystal.solution.json");
    const page = await open(running, join(folder, "crystal_report.html"));
    assert.equal(await page.textContent("#title"), "crystal.p4p");
    assert.equal(await page.textContent("#verdict"), "Verdict: solved. One lattice.");
    assert.match(await page.textContent("#lattice"), /^By its metric the lattice may be oP: 5\.000 6\.000 7\.000 Å, /);
    assert.deepEqual((await rowsof(page, "#solutionsbox")).map((row) => row.slice(7, 11)),
                     [["210.00", "18", "12.5", "oP"], ["420.00", "18", "3.3", "oP"]]);
    assert.equal(await page.textContent("#kind-other .count"), "6");
    assert.deepEqual((await rowsof(page, "#reflectionsbox"))[0].slice(5, 8), ["1", "-2", "-3"]);
    assert.deepEqual(page.complaints, []);
    await page.context().close();
  });
});

describe("A page of 999 reflections and 128 solutions", () => {
  // A crystal of 7 x 9 x 11 angstroms, every second reflection on no lattice.
  function input() {
    let state = 20231;
    const random = () => (state = (state * 48271) % 2147483647) / 2147483647; // Park & Miller (1988)
    const lines = [];
    for (let i = 0; i < 999; ++i) {
      const index = () => Math.floor(random() * 13) - 6;
      const v = i % 2 ? [random() - 0.5, random() - 0.5, random() - 0.5] : [index() / 7, index() / 9, index() / 11];
      lines.push(v.map((x) => (x + 0.002 * (random() - 0.5)).toFixed(5)).join(" "));
    }
    return `_MaxNumberOfSavedBases\n128\n_UserProvidedTestVolumes\n2 693 1386\n_NumberOfReflections\n999\n`
      + `_FractionOfSupportingReflections\n0.012\n_ExtentOfTheSearch\n0\n_Reflections\n${lines.join("\n")}\n`;
  }

  test("stays fluid", async (t) => {
    const solutions = solutionsin(results(folder, "large", input()));
    assert.equal(solutions.length, 128);
    const started = performance.now();
    const page = await open(running, report(folder, "large"));
    const opened = performance.now() - started;
    assert.equal((await rowsof(page, "#reflectionsbox")).length, 999);
    assert.equal((await rowsof(page, "#solutionsbox")).length, 128);

    // What the machine does meanwhile counts for the time that passes, not for that of the processor. How fast
    // it is, a million numbers tell that are put in order.
    const spent = await processortime(running);
    const unit = await spent(() => page.evaluate(() => {
      let x = 1;
      Float64Array.from({ length: 1e6 }, () => (x = (x * 48271) % 2147483647)).sort();
    }));

    // From the choice of a solution to the frame that shows it.
    const numbers = [2, 64, 128, 1, 3, 17];
    const choice = await spent(() => page.evaluate(async (numbers) => {
      for (const number of numbers) {
        document.querySelector(`#solutionsbox input[value="${number}"]`).click();
        await new Promise((shown) => requestAnimationFrame(() => setTimeout(shown)));
      }
    }, numbers)) / numbers.length;

    // Frames while the pointer turns the reflections.
    await page.locator("#canvas").scrollIntoViewIfNeeded();
    const frame = await page.locator("#canvas").boundingBox();
    await page.evaluate(() => {
      window.frames_ = 0;
      const step = () => { window.frames_ += 1; window.watching_ = requestAnimationFrame(step); };
      requestAnimationFrame(step);
    });
    await page.mouse.move(frame.x + 300, frame.y + 200);
    await page.mouse.down();
    const turning = await spent(async () => {
      for (let i = 0; i < 40; ++i) await page.mouse.move(frame.x + 300 + 6 * i, frame.y + 200 + 3 * i);
    });
    await page.mouse.up();
    const frames = await page.evaluate(() => { cancelAnimationFrame(window.watching_); return window.frames_; });
    t.diagnostic(`opened in ${opened.toFixed(0)} ms; of the processor's time, a choice takes ${choice.toFixed(0)} ms, a frame `
      + `${(turning / frames).toFixed(1)} (${frames} frames), and a million numbers ${unit.toFixed(0)}`);
    assert.ok(choice < 10 * unit, `${choice} ${unit}`);
    assert.ok(turning / frames < unit, `${turning} ${frames} ${unit}`);
    assert.deepEqual(page.complaints, []);
  });
});
