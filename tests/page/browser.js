// The page in a real browser, and questions to it. Environment: CHROMIUM, the browser's program.
import assert from "node:assert/strict";
import { after } from "node:test";
import { inflateSync } from "node:zlib";
import { chromium } from "playwright-core";
import { becomes, Robot } from "./robot.js";

export const launch = () =>
  chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: ["--no-sandbox", "--disable-gpu"],
  });

/** A robot and a browser for the tests of one file, until they are over. */
export async function stage() {
  const [robot, browser] = await Promise.all([Robot.start(), launch()]);
  after(async () => {
    await browser.close();
    await robot.stop();
  });
  return { robot, browser };
}

/**
 * Opens the page and waits until it shows the robot. What the browser has to complain about is collected in
 * `page.complaints`.
 * @param {import("playwright-core").Browser} browser @param {any} options of the browser's context; `prepare(page)`
 */
export async function open(browser, url, { prepare, ...options } = {}) {
  const context = await browser.newContext({ viewport: { width: 1400, height: 900 }, ...options });
  context.setDefaultTimeout(60_000);
  const page = await context.newPage();
  page.complaints = [];
  page.on("console", (message) => page.complaints.push(`${message.type()}: ${message.text()}`));
  page.on("pageerror", (error) => page.complaints.push(`error: ${error.message}`));
  await prepare?.(page);
  await page.goto(url);
  await isLive(page);
  return page;
}

export const linkState = (page) => page.locator("#link-state").textContent();

/** Waits until the page shows its robot live, with a picture. */
export async function isLive(page) {
  await becomes(async () => /^Live/.test(await linkState(page)), "the page to be live").catch(async (error) => {
    throw new Error(`${error.message}: ${await linkState(page)} ${page.complaints.join("; ")}`);
  });
  await page.locator(".led[role=option]").first().waitFor({ state: "attached" });
}

/** Waits until the page misses its robot. */
export const isMissing = (page) =>
  becomes(async () => /^The robot is gone; looking for it…/.test(await linkState(page)), "the page to miss its robot");

/** Waits until the form's method may be called. */
export const mayPlay = (page) =>
  becomes(() => page.locator("form.form").getByRole("button", { name: "Play" }).isEnabled(), "calls to be possible");

/** Lets the page believe that its tab is hidden, or shown again. */
export const hidden = (page, isHidden) =>
  page.evaluate((hidden) => {
    Object.defineProperty(document, "hidden", { configurable: true, get: () => hidden });
    document.dispatchEvent(new Event("visibilitychange"));
  }, isHidden);

/** Ends a page that must have had nothing to complain about, but for what the test itself did. */
export async function close(page) {
  const complaints = page.complaints.filter(
    (text) => !text.includes("Multiple readback operations using getImageData"),
  );
  assert.deepEqual(complaints, []);
  await page.context().close();
}

/** Where an LED is on the page: the middle of what keyboard and screen reader know it by. */
export const middleOf = (page, label) =>
  page.evaluate((wanted) => {
    const shape = [...document.querySelectorAll(".led[role=option]")].find(
      (one) => one.getAttribute("aria-label").split(":")[0] === wanted,
    );
    const length = shape.getTotalLength();
    // The mean of points along the outline lies inside, in a piece of a ring too.
    let [x, y] = [0, 0];
    for (let i = 0; i < 64; ++i) {
      const point = shape.getPointAtLength((length * i) / 64);
      [x, y] = [x + point.x / 64, y + point.y / 64];
    }
    const at = new DOMPoint(x, y).matrixTransform(shape.getScreenCTM());
    return { x: at.x, y: at.y };
  }, label);

/** The colour that a person sees at a point of the page: one pixel of a screenshot. */
export async function pixelAt(page, { x, y }) {
  const png = await page.screenshot({ clip: { x: Math.floor(x), y: Math.floor(y), width: 1, height: 1 } });
  let data = Buffer.alloc(0);
  for (let at = 8; at < png.length; at += 12 + png.readUInt32BE(at)) {
    const chunk = png.subarray(at + 8, at + 8 + png.readUInt32BE(at));
    if (png.toString("latin1", at + 4, at + 8) === "IDAT") data = Buffer.concat([data, chunk]);
  }
  const [, red, green, blue] = inflateSync(data); // one pixel: no filter changes it
  return { red, green, blue };
}

/** Waits until an LED is seen in a colour. @param {(color: {red, green, blue}) => boolean} is */
export async function isSeen(page, label, is, what) {
  const place = await middleOf(page, label);
  let last;
  await becomes(async () => is((last = await pixelAt(page, place))), `${label} to be ${what}`).catch((error) => {
    throw new Error(`${error.message}; seen: ${JSON.stringify(last)}`);
  });
}

export const colors = {
  red: ({ red, green, blue }) => red > 230 && green < 110 && blue < 110,
  green: ({ red, green, blue }) => green > 230 && red < 110 && blue < 110,
  blue: ({ red, green, blue }) => blue > 230 && red < 110 && green < 150,
  white: ({ red, green, blue }) => red > 230 && green > 230 && blue > 230,
  dark: ({ red, green, blue }) => red < 70 && green < 75 && blue < 85,
};

/** Chooses a method of the service that is shown, by what its row says. */
export async function choose(page, row) {
  await page.getByRole("group", { name: "Methods" }).getByRole("button", { name: row, exact: true }).click();
}

/** A field of the form. */
export const field = (page, name) => page.locator("form.form").getByLabel(new RegExp(`^${name} `));

/** Types into a field of the form. */
export const type = (page, name, text) => field(page, name).fill(text);

/** Presses Play. */
export const play = (page) => page.locator("form.form").getByRole("button", { name: "Play" }).click();
