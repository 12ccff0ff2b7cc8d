// What the page withstands: names that look like markup, requests from elsewhere; and how much it weighs.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { connect, createServer } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { choose, close, field, isSeen, middleOf, open, stage } from "./browser.js";
import { becomes, Robot, run } from "./robot.js";

const HEAVIEST = 200_000; // bytes

const { robot, browser } = await stage();

/** A folder that lasts as long as the test. */
function folderFor(t) {
  const folder = mkdtempSync(join(tmpdir(), "page-"));
  t.after(() => rmSync(folder, { recursive: true, force: true }));
  return folder;
}

/** Sends bytes to the robot's page and gives the status line and headers that come back. */
function raw(lines) {
  return new Promise((resolve, reject) => {
    const socket = connect(robot.port, "127.0.0.1", () => socket.write([...lines, "", ""].join("\r\n")));
    let text = "";
    socket.setTimeout(5000, () => socket.destroy(new Error("no answer")));
    socket.on("error", reject);
    socket.on("data", (data) => {
      text += data.toString("latin1");
      if (text.includes("\r\n\r\n")) socket.destroy();
    });
    socket.on("close", () => resolve(text.split("\r\n\r\n")[0]));
  });
}

const statusOf = (answer) => Number(/^HTTP\/1\.1 (\d+)/.exec(answer)?.[1]);
const upgrade = [
  "Connection: Upgrade",
  "Upgrade: websocket",
  "Sec-WebSocket-Version: 13",
  "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==",
];

test("another Host is refused, for pages and sockets", async () => {
  const host = `Host: 127.0.0.1:${robot.port}`;
  assert.equal(statusOf(await raw(["GET / HTTP/1.1", host])), 200);
  assert.equal(statusOf(await raw(["GET /socket HTTP/1.1", host, ...upgrade])), 101);
  for (const wrong of [
    `Host: evil.example:${robot.port}`,
    "Host: evil.example",
    `Host: 127.0.0.1:${robot.port + 1}`,
    "X-Nothing: 1",
  ]) {
    assert.ok(statusOf(await raw(["GET / HTTP/1.1", wrong])) >= 400, wrong);
    assert.ok(statusOf(await raw(["GET /socket HTTP/1.1", wrong, ...upgrade])) >= 400, wrong);
  }
  assert.equal(statusOf(await raw(["GET / HTTP/1.1", `Host: evil.example:${robot.port}`])), 421);
});

test("another Origin is refused, for pages and sockets", async () => {
  const host = `Host: 127.0.0.1:${robot.port}`;
  const own = `Origin: http://127.0.0.1:${robot.port}`;
  assert.equal(statusOf(await raw(["GET /socket HTTP/1.1", host, own, ...upgrade])), 101);
  for (const wrong of ["Origin: http://evil.example", "Origin: null", `Origin: https://127.0.0.1:${robot.port}`]) {
    assert.equal(statusOf(await raw(["GET / HTTP/1.1", host, wrong])), 403, wrong);
    assert.equal(statusOf(await raw(["GET /socket HTTP/1.1", host, wrong, ...upgrade])), 403, wrong);
  }
});

test("answers forbid whatever is not the page's own", async () => {
  const answer = await raw(["GET / HTTP/1.1", `Host: 127.0.0.1:${robot.port}`]);
  assert.match(answer, /content-security-policy: default-src 'none'; script-src 'self'/i);
  assert.match(answer, /x-content-type-options: nosniff/i);
});

test("names that look like markup are text and run nothing", async (t) => {
  const name = '<script>document.title="run"</script><img src=x onerror=alert(1)>';
  const escaped = name.replaceAll("&", "&amp;").replaceAll("<", "&lt;").replaceAll('"', "&quot;");
  const folder = folderFor(t);
  const file = join(folder, "odd.xml");
  writeFileSync(
    file,
    `<robot name="${escaped}"><leds groups="AllLeds &lt;b&gt;Group&lt;/b&gt;">
    <led short="${escaped}" x="0" y="0" width="10"><device name="${escaped}/R" color="red"/></led>
    <led short="&lt;i&gt;Unplaced"><device name="Other" color="white"/></led></leds></robot>`,
  );
  const odd = await Robot.start({ model: file });
  try {
    const page = await open(browser, odd.url);
    page.on("dialog", () => page.complaints.push("a dialog"));
    assert.equal(await page.locator("#robot-name").textContent(), name);
    for (const tab of ["point", "state", "leds", "log"]) await page.locator(`#tab-${tab}`).click();
    await page.locator("#tab-leds").click();
    await page.getByRole("button", { name, exact: true }).click();
    await page.getByRole("heading", { level: 2, name, exact: true }).waitFor();
    await page.getByRole("button", { name: "<b>Group</b>", exact: true }).hover();
    await page.getByLabel("Add an LED to the timeline").selectOption({ label: "<i>Unplaced" });
    await page.locator(".u-legend").getByText("<i>Unplaced white").waitFor();
    await odd.does("on", name);
    await isSeen(page, name, ({ red, green }) => red > 230 && green < 120, "red");
    await odd.does("on", "<i>Unplaced");
    await isSeen(page, "<i>Unplaced", ({ red, green }) => red > 230 && green > 230, "white");
    await choose(page, "on name");
    await field(page, "name").fill("<img src=x onerror=alert(2)>");
    await page.locator("form.form").getByRole("button", { name: "Play" }).click();
    await page.locator(".field .error").filter({ hasText: "<img src=x onerror=alert(2)>" }).waitFor();
    assert.equal(await page.locator("main script, main img, main b, main i").count(), 0);
    assert.equal(await page.title(), name);
    await close(page);
  } finally {
    await odd.stop();
  }
});

/** The same page at another address of this machine, where every byte that passes is counted. */
async function countedWay(t) {
  const way = { url: `http://127.0.0.2:${robot.port}/`, up: 0, down: 0 };
  const ends = [];
  const server = createServer((browserEnd) => {
    const robotEnd = connect(robot.port, "127.0.0.1");
    ends.push(browserEnd, robotEnd);
    browserEnd.on("data", ({ length }) => (way.up += length));
    robotEnd.on("data", ({ length }) => (way.down += length));
    browserEnd.pipe(robotEnd).pipe(browserEnd);
    browserEnd.on("error", () => robotEnd.destroy());
    robotEnd.on("error", () => browserEnd.destroy());
  });
  await new Promise((resolve, reject) => server.once("error", reject).listen(robot.port, "127.0.0.2", resolve));
  t.after(() => {
    for (const end of ends) end.destroy();
    return new Promise((resolve) => server.close(resolve));
  });
  return way;
}

test("all that passes until the robot is shown is less than 200 kB", async (t) => {
  const way = await countedWay(t);
  const responses = [];
  const prepare = (page) => page.on("response", (response) => responses.push(response));
  const page = await open(browser, way.url, { prepare });
  const { up, down } = way;
  t.diagnostic(`${down} bytes from the robot, ${up} to it, ${responses.length} files`);
  assert.ok(responses.length > 20, `${responses.length} files`);
  for (const response of responses.filter((one) => one.url().endsWith(".js"))) {
    assert.equal(response.headers()["content-encoding"], "gzip", response.url());
  }
  assert.ok(up + down < HEAVIEST, `${up + down} bytes`);
  await close(page);
});

test("the library is the one that the lock file names", () => {
  const root = new URL("../../web/", import.meta.url);
  const { dependencies } = JSON.parse(readFileSync(new URL("vendor/package.json", root), "utf8"));
  const copy = readFileSync(new URL("page/vendor/uPlot.iife.min.js", root), "utf8");
  assert.match(copy.slice(0, 300), new RegExp(`v${dependencies.uplot.replaceAll(".", "\\.")}\\b`));
});

test("pages use nothing that the policy would have to allow", () => {
  const html = readFileSync(new URL("../../web/page/index.html", import.meta.url), "utf8");
  assert.doesNotMatch(html, /\sstyle=|\son\w+=|<script(?![^>]*\ssrc=)|<style|https?:/);
});

test("a robot without positions, and one of five hundred LEDs, are shown and lit", async (t) => {
  const folder = folderFor(t);
  const led = (i, place) => `<led short="L${i}" ${place}><device name="L/${i}" color="green"/></led>`;
  for (const [name, count, place] of [
    ["flat", 40, () => ""],
    ["grid", 500, (i) => `x="${(i % 25) * 12}" y="${Math.floor(i / 25) * 12}"`],
  ]) {
    const file = join(folder, `${name}.xml`);
    writeFileSync(
      file,
      `<robot name="${name}"><leds groups="AllLeds">${Array.from({ length: count }, (_, i) => led(i, place(i))).join("")}</leds></robot>`,
    );
    const other = await Robot.start({ model: file });
    try {
      const page = await open(browser, other.url);
      await becomes(async () => (await page.locator(".led[role=option]").count()) === count, `${count} LEDs`);
      await other.does("on", "AllLeds");
      for (const i of [0, count - 1])
        await isSeen(page, `L${i}`, ({ red, green }) => green > 230 && red < 130, "green");
      await close(page);
    } finally {
      await other.stop();
    }
  }
});

test("of very many LEDs only those at hand have elements, and all can be reached", async (t) => {
  const folder = folderFor(t);
  const file = join(folder, "crowd.xml");
  const leds = Array.from(
    { length: 2500 },
    (_, i) =>
      `<led short="L${i}" x="${(i % 50) * 12}" y="${Math.floor(i / 50) * 12}"><device name="L/${i}" color="green"/></led>`,
  );
  writeFileSync(file, `<robot name="Crowd"><leds groups="AllLeds">${leds.join("")}</leds></robot>`);
  const crowd = await Robot.start({ model: file });
  try {
    const page = await open(browser, crowd.url);
    assert.ok((await page.locator("*").count()) < 2500, "elements");
    const first = await middleOf(page, "L0");
    await page.locator(".led[role=option]").press("ArrowRight");
    await becomes(async () => {
      for (const key of ["Home", "ArrowRight"]) await page.keyboard.press(key);
      return /^L1: green 0/.test(await page.evaluate(() => document.activeElement.getAttribute("aria-label")));
    }, "L1 to be told dark, once the first frame has come");
    const second = await middleOf(page, "L1");
    const up = first.y - (second.x - first.x); // where the next row is
    for (const by of [0, 0.5]) await page.mouse.move(first.x + by, up);
    await page.locator("#tip").getByText(/^L50 /).waitFor();
    await page.locator("#tab-leds").click();
    await page.getByText("500 of 2500 LEDs: filter for the others").waitFor();
    await page.getByLabel("Filter LEDs").fill("L2499");
    await page.getByRole("button", { name: "L2499", exact: true }).click();
    await crowd.does("on", "L2499");
    await isSeen(page, "L2499", ({ red, green }) => green > 150 && red < 100, "green"); // with a frame around it
    await page.getByRole("button", { name: "AllLeds", exact: true }).click();
    assert.ok((await page.locator(".led.grouped").count()) <= 2001);
    await close(page);
  } finally {
    await crowd.stop();
  }
});

test("over TLS the page and its socket are encrypted", async (t) => {
  const folder = folderFor(t);
  const [key, certificate] = ["key", "crt"].map((end) => join(folder, `robot.${end}`));
  const curve = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2"];
  const names = ["-subj", "/CN=robot", "-addext", "subjectAltName=IP:127.0.0.1"];
  const made = await run("openssl", ["req", "-x509", ...curve, ...names, "-keyout", key, "-out", certificate]);
  assert.equal(made.status, 0, made.err);
  const secure = await Robot.start({ args: ["--tls-cert", certificate, "--tls-key", key] });
  try {
    assert.match(secure.url, /^https:/);
    const page = await open(browser, secure.url, { ignoreHTTPSErrors: true });
    await secure.does("fadeRGB", "ChestLeds", "red", "0");
    await isSeen(page, "ChestLeds", ({ red, green }) => red > 230 && green < 110, "red");
    await close(page);
  } finally {
    await secure.stop();
  }
});
