// Opens reports of `veltrane analyze --report` from their files in headless
// Chromium, driven through ChromeDriver with the WebDriver protocol on the
// loopback address (Node's own fetch; no npm package), clicks pictures in the
// chart and checks that their overlay and header fields appear:
//   node report_browser_test.mjs --sample SAMPLE.html [--damaged DAMAGED.html]
//        [--screenshot OUT.png [--screenshot-frame N] [--window W,H]]
// SAMPLE.html was made with --source, DAMAGED.html from a copy with failed frames.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:net";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";

const args = Object.fromEntries(process.argv.slice(2).reduce((pairs, a, i, all) =>
  (a.startsWith("--") ? [...pairs, [a.slice(2), all[i + 1]]] : pairs), []));
const kElement = "element-6066-11e4-a52e-4f735466cecf";
let passed = 0;

function check(condition, message) {
  if (!condition) throw new Error(message);
  passed++;
}

function freePort() {
  return new Promise((done, fail) => {
    const server = createServer();
    server.on("error", fail);
    server.listen(0, "127.0.0.1", () => {
      const { port } = server.address();
      server.close(() => done(port));
    });
  });
}

const sleep = ms => new Promise(done => setTimeout(done, ms));

class Browser {
  async start() {
    this.port = await freePort();
    this.driver = spawn("/usr/bin/chromedriver", [`--port=${this.port}`], { stdio: "ignore" });
    this.base = `http://127.0.0.1:${this.port}`;
    for (let i = 0; ; i++) {
      try {
        if ((await (await fetch(`${this.base}/status`)).json()).value.ready) break;
      } catch { /* not listening yet */ }
      if (i === 100) throw new Error("chromedriver did not start");
      await sleep(100);
    }
    this.profile = mkdtempSync(join(tmpdir(), "veltrane-browser-"));
    const session = await this.call("POST", "/session", { capabilities: { alwaysMatch: {
      browserName: "chrome",
      "goog:loggingPrefs": { browser: "ALL" },
      "goog:chromeOptions": {
        binary: "/usr/bin/chromium",
        // Without the networking switches the closed network refuses the
        // browser's own connections, which slows every start.
        args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
               "--disable-background-networking", "--disable-component-update", "--disable-sync",
               `--user-data-dir=${this.profile}`, `--window-size=${args.window ?? "1280,1100"}`,
               "--hide-scrollbars"],
      },
    } } });
    this.session = `/session/${session.sessionId}`;
  }

  async call(method, path, body) {
    const response = await fetch(`${this.base}${path}`, {
      method, headers: { "Content-Type": "application/json" },
      body: body === undefined ? undefined : JSON.stringify(body) });
    const reply = await response.json();
    if (!response.ok) throw new Error(`${method} ${path}: ${reply.value.message}`);
    return reply.value;
  }

  open(file) { return this.call("POST", `${this.session}/url`, { url: pathToFileURL(resolve(file)).href }); }
  run(script, ...scriptArgs) {
    return this.call("POST", `${this.session}/execute/sync`, { script, args: scriptArgs });
  }
  async click(css) {
    const found = await this.call("POST", `${this.session}/element`, { using: "css selector", value: css });
    await this.call("POST", `${this.session}/element/${found[kElement]}/click`, {});
  }
  async waitFor(script, what, ...scriptArgs) {
    for (let i = 0; i < 100; i++) {
      if (await this.run(script, ...scriptArgs)) return;
      await sleep(100);
    }
    throw new Error(`timed out waiting for ${what}`);
  }
  async consoleErrors() {
    const log = await this.call("POST", `${this.session}/se/log`, { type: "browser" });
    return log.filter(entry => entry.level === "SEVERE").map(entry => entry.message);
  }
  async screenshot(path) {
    writeFileSync(path, Buffer.from(await this.call("GET", `${this.session}/screenshot`), "base64"));
  }
  async stop() {
    if (this.session) await this.call("DELETE", this.session).catch(() => {});
    this.driver?.kill();
    if (this.profile) rmSync(this.profile, { recursive: true, force: true });
  }
}

// The report's own data, without the pictures.
const kFrames = `const data = JSON.parse(document.getElementById("report-data").textContent);
  return { classes: data.style.classes.map(c => [c.key, c.colour]), fill: data.style.fill,
           frames: data.frames.map(f => ({ index: f.index, header: f.header, error: f.error || "",
             classes: f.classes, columns: f.columns, rows: f.rows, psnr: f.psnr || null })) };`;

const kFields = `const out = {};
  for (const row of document.querySelectorAll("#fields tr")) out[row.dataset.field] = row.cells[1].textContent;
  return { fields: out, title: document.getElementById("detail-title").textContent,
           hidden: document.getElementById("detail").hidden };`;

// Colours at each macroblock's centre of the overlay canvas.
const kCentres = `const canvas = document.getElementById("overlay");
  const s = Number(canvas.dataset.scale), [columns, rows] = arguments;
  const pixels = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
  const out = [];
  for (let i = 0; i < columns * rows; i++) {
    const x = ((i % columns) * 16 + 8) * s, y = (Math.floor(i / columns) * 16 + 8) * s;
    const at = 4 * (y * canvas.width + x);
    out.push(x < canvas.width && y < canvas.height ? [pixels[at], pixels[at + 1], pixels[at + 2]] : null);
  }
  return { out, width: canvas.width, height: canvas.height, scale: s };`;

const kDraws = `return Number(document.getElementById("overlay").dataset.draws || 0);`;
const kDrawnSince = `return Number(document.getElementById("overlay").dataset.draws || 0) > arguments[0];`;

async function setSwitch(browser, id, on) {
  if (await browser.run(`return document.getElementById(arguments[0]).checked;`, id) === on) return;
  const before = await browser.run(kDraws);
  await browser.click(`#${id}`);
  await browser.waitFor(kDrawnSince, `a redraw after ${id}`, before);
}

// The class of each macroblock, from its centre with and without the type fill.
async function classesOnCanvas(browser, report, frame) {
  await setSwitch(browser, "show-type", false);
  const bare = await browser.run(kCentres, frame.columns, frame.rows);
  await setSwitch(browser, "show-type", true);
  const typed = await browser.run(kCentres, frame.columns, frame.rows);
  return typed.out.map((over, i) => {
    if (!over) return null;
    let best = 0, bestDistance = Infinity;
    report.classes.forEach(([, colour], c) => {
      const n = parseInt(colour.slice(1), 16), fill = [n >> 16, (n >> 8) & 255, n & 255];
      const distance = fill.reduce((sum, f, k) => {
        const expected = bare.out[i][k] * (1 - report.fill) + f * report.fill;
        return sum + (expected - over[k]) ** 2;
      }, 0);
      if (distance < bestDistance) { bestDistance = distance; best = c; }
    });
    return best;
  });
}

async function selectFrame(browser, index) {
  await browser.click(`#bar-${index}`);
  await browser.waitFor(`return document.getElementById("overlay").dataset.frame === arguments[0];`,
                        `the overlay of frame ${index}`, String(index));
  return browser.run(kFields);
}

// Arrows, grid lines and numbers would cover the macroblock centres.
async function expectOverlayClasses(browser, report, frame) {
  for (const id of ["show-vectors", "show-grid", "show-quant", "show-bits"]) await setSwitch(browser, id, false);
  const drawn = await classesOnCanvas(browser, report, frame);
  drawn.forEach((c, i) => {
    if (c === null) return;
    const expected = i < frame.classes.length ? frame.classes.charCodeAt(i) - 48 :
                     report.classes.findIndex(([key]) => key === "not_reached");
    check(c === expected, `frame ${frame.index}, macroblock ${i}: the overlay shows ` +
          `${report.classes[c][0]}, the decoder recorded ${report.classes[expected][0]}`);
  });
}

async function testSample(browser, file) {
  await browser.open(file);
  const report = await browser.run(kFrames);
  const bars = await browser.run(`return document.querySelectorAll("#chart .bar").length;`);
  check(bars === report.frames.length && bars > 0, `${bars} bars for ${report.frames.length} frames`);
  check((await browser.run(kFields)).hidden, "the detail is shown before any click");
  // A P picture with four-vector macroblocks.
  const frame = report.frames.find(f => f.header && f.header.type === "P" && f.classes.includes("4"));
  check(frame, "the sample has a P picture with four-vector macroblocks");
  const shown = await selectFrame(browser, frame.index);
  check(!shown.hidden && shown.title.startsWith(`Frame ${frame.index}`), `title '${shown.title}'`);
  const f = shown.fields;
  check(f.frame === String(frame.index), `frame field '${f.frame}'`);
  check(f["picture type"] === "P (1)", `picture type field '${f["picture type"]}'`);
  check(f.quantiser === String(frame.header.quantiser), `quantiser field '${f.quantiser}'`);
  check(f["temporal reference"] === String(frame.header.temporal_reference),
        `temporal reference field '${f["temporal reference"]}'`);
  check(f.size === `${frame.header.width}x${frame.header.height}`, `size field '${f.size}'`);
  check(f.status === "decoded", `status field '${f.status}'`);
  check(frame.psnr && f["PSNR Y / U / V"] === `${frame.psnr.map(v => v.toFixed(2)).join(" / ")} dB`,
        `PSNR field '${f["PSNR Y / U / V"]}'`);
  const psnrLines = await browser.run(`return document.querySelectorAll("#chart polyline").length;`);
  check(psnrLines === 2, `${psnrLines} lines in the chart (quantiser and PSNR expected)`);

  await expectOverlayClasses(browser, report, frame);
  const size = await browser.run(kCentres, frame.columns, frame.rows);
  check(size.width === frame.columns * 16 * size.scale && size.height === frame.rows * 16 * size.scale,
        `overlay of ${size.width}x${size.height} at scale ${size.scale}`);
  // Arrows change the picture; the vectors of this picture are not all zero.
  const without = JSON.stringify((await browser.run(kCentres, frame.columns, frame.rows)).out);
  await setSwitch(browser, "show-vectors", true);
  const withArrows = JSON.stringify((await browser.run(kCentres, frame.columns, frame.rows)).out);
  check(without !== withArrows, "switching the vectors on changes nothing at the block centres");
  await setSwitch(browser, "show-grid", true);

  // The arrow keys step to the next picture.
  await browser.call("POST", `${browser.session}/actions`, { actions: [{ type: "key", id: "keys",
    actions: [{ type: "keyDown", value: "\uE014" }, { type: "keyUp", value: "\uE014" }] }] });
  await browser.waitFor(`return document.getElementById("overlay").dataset.frame === arguments[0];`,
                        "the next picture after the right arrow key", String(frame.index + 1));
  if (args.screenshot) {
    await selectFrame(browser, Number(args["screenshot-frame"] ?? frame.index));
    await browser.screenshot(args.screenshot);
  }
  const errors = await browser.consoleErrors();
  check(errors.length === 0, `console errors: ${errors.join("; ")}`);
}

async function testDamaged(browser, file) {
  await browser.open(file);
  const report = await browser.run(kFrames);
  const failed = report.frames.filter(f => f.error);
  check(failed.length > 0, "the damaged report has no failed frame");
  const marked = await browser.run(`return [...document.querySelectorAll("#chart .bar")]
    .filter(bar => bar.querySelector(".failed-mark")).map(bar => Number(bar.dataset.index));`);
  check(JSON.stringify(marked) === JSON.stringify(failed.map(f => f.index)),
        `failed frames marked in the chart: ${marked}, in the data: ${failed.map(f => f.index)}`);
  for (const frame of failed) {
    const shown = await selectFrame(browser, frame.index);
    check(shown.title.includes(`failed: ${frame.error}`), `title '${shown.title}'`);
    check(shown.fields.status === `failed: ${frame.error}`, `status field '${shown.fields.status}'`);
    check("first damaged macroblock" in shown.fields || frame.classes.length < frame.columns * frame.rows,
          `frame ${frame.index} shows no first damaged macroblock`);
    await expectOverlayClasses(browser, report, frame);
  }
  const errors = await browser.consoleErrors();
  check(errors.length === 0, `console errors: ${errors.join("; ")}`);
}

const browser = new Browser();
try {
  await browser.start();
  await testSample(browser, args.sample);
  if (args.damaged) await testDamaged(browser, args.damaged);
  console.log(`report browser test: ${passed} checks passed`);
} catch (error) {
  console.error(`report browser test: ${error.message} (after ${passed} checks passed)`);
  process.exitCode = 1;
} finally {
  await browser.stop();
}
