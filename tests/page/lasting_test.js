// What lasts: many pages at once, a page that stops reading, a robot that goes and comes back.
import assert from "node:assert/strict";
import { test } from "node:test";
import WebSocket from "ws";
import { choose, colors, field, isMissing, isSeen, linkState, mayPlay, open, stage, type } from "./browser.js";
import { becomes, Robot } from "./robot.js";

const KEYS = "Device/SubDeviceList/*/Actuator/Value";
const TICK = 20; // ms
const CHEST = "Device/SubDeviceList/ChestBoard/Led/Blue/Actuator/Value";

const { robot, browser } = await stage();

/** A page without a browser: says hello, watches all LEDs, and says of each frame that it was seen. */
class Watcher {
  frames = 0;
  at = [];
  errors = [];
  values = new Map();
  keys = [];

  static async open(to) {
    const watcher = new Watcher();
    watcher.socket = new WebSocket(`${to.url.replace("http", "ws").replace(/\/$/, "")}/socket`, {
      perMessageDeflate: false,
    });
    watcher.socket.on("message", (data) => watcher.take(JSON.parse(data)));
    watcher.socket.on("error", (error) => watcher.errors.push(error.message));
    await new Promise((resolve, reject) =>
      watcher.socket.once("open", resolve).once("close", () => reject(new Error("closed"))),
    );
    watcher.say({ id: 1, op: "hello", name: "watcher" });
    watcher.say({ id: 2, op: "state" });
    watcher.say({ id: 3, op: "watch", pattern: KEYS });
    return watcher;
  }
  say(message) {
    this.socket.send(JSON.stringify(message));
  }
  take(message) {
    if (message.error || message.event === "goodbye") this.errors.push(JSON.stringify(message));
    if (message.id === 2) this.began = message.uptime * 1000;
    if (message.event !== "frame") return;
    this.frames += 1;
    if (message.frame !== this.frames) this.errors.push(`frame ${message.frame} is the ${this.frames}th`);
    this.at.push(message.at);
    this.dropped = message.dropped;
    this.keys.push(...message.keys);
    message.index.forEach((number, i) => this.values.set(this.keys[number], message.value[i]));
    this.say({ op: "seen", frame: message.frame });
  }
  /** Waits until all that the robot had told before has come. */
  async settle() {
    const answered = new Promise((resolve) => {
      this.socket.on("message", (data) => JSON.parse(data).id === 99 && resolve());
    });
    this.socket.send(JSON.stringify({ id: 99, op: "services" }));
    await answered;
  }
  close() {
    this.socket.terminate();
  }
}

test("fifty pages at once are served while motion goes on", async (t) => {
  const watchers = await Promise.all(Array.from({ length: 50 }, () => Watcher.open(robot)));
  await becomes(() => watchers.every((watcher) => watcher.frames > 0), "all to have the first frame");
  const page = await open(browser, robot.url);
  await robot.does("off", "AllLeds");
  await robot.does("fade", "FaceLeds", "1", "3");
  await robot.does("--wait", "fade", "ChestLeds", "1", "3");
  await becomes(
    () => watchers.every((watcher) => watcher.values.get(CHEST) === 1),
    "all to have the end of the fade",
  );
  const { values } = watchers[0];
  for (const watcher of watchers) {
    assert.deepEqual(watcher.errors, []);
    assert.deepEqual(watcher.values, values, "all pages end with the same picture");
    // Each tick since the watch began is at most one frame, or one that is counted as missed.
    const ticks = (watcher.at.at(-1) - watcher.began) / TICK;
    assert.ok(watcher.frames > 20, `${watcher.frames} frames`);
    assert.ok(
      watcher.frames - 1 + watcher.dropped <= ticks + 1,
      `${watcher.frames} frames and ${watcher.dropped} missed in ${ticks} ticks`,
    );
  }
  const gaps = watchers.flatMap(({ at }) => at.slice(2).map((now, i) => now - at[i + 1])).sort((a, b) => a - b);
  const [frames, dropped] = ["frames", "dropped"].map((what) =>
    watchers.reduce((sum, watcher) => sum + watcher[what], 0),
  );
  t.diagnostic(
    `${frames} frames, ${dropped} dropped; between two: median ${gaps[gaps.length >> 1]} ms, most ${gaps.at(-1)} ms`,
  );
  await isSeen(page, "ChestLeds", colors.white, "white");
  watchers.forEach((watcher) => watcher.close());
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});

test("a page that stops reading holds up nobody, and has the latest when it reads again", async () => {
  const [slow, quick] = await Promise.all([Watcher.open(robot), Watcher.open(robot)]);
  await becomes(() => slow.frames > 0 && quick.frames > 0, "the first frames");
  slow.socket._socket.pause();
  const before = quick.frames;
  for (const value of ["0", "1", "0"]) await robot.does("--wait", "fade", "AllLeds", value, "0.4");
  await becomes(() => quick.frames > before + 20 && quick.values.get(CHEST) === 0, "the other page to follow");
  await robot.does("setIntensity", "ChestLeds", "0.25");
  slow.socket._socket.resume();
  await becomes(() => slow.values.get(CHEST) === 0.25, "the slow page to have the latest");
  assert.deepEqual([slow.errors, quick.errors], [[], []]);
  slow.close();
  quick.close();
});

test("a page whose frames are never seen is sent two", async () => {
  const lazy = await Watcher.open(robot);
  lazy.say = () => {};
  await becomes(() => lazy.frames > 0, "the first frame");
  await robot.does("--wait", "fade", "AllLeds", "1", "0.5");
  await robot.does("--wait", "fade", "AllLeds", "0", "0.5");
  await lazy.settle();
  assert.equal(lazy.frames, 2);
  assert.deepEqual(lazy.errors, []);
  lazy.close();
});

test("a robot that is killed is looked for, and its restart is told", async (t) => {
  const first = await Robot.start();
  t.after(() => first.stop());
  const page = await open(browser, first.url);
  await first.does("fadeRGB", "ChestLeds", "red", "0");
  await isSeen(page, "ChestLeds", colors.red, "red");
  await page.locator("#tab-leds").click();
  await choose(page, "setIntensity name, intensity");
  await type(page, "name", "ChestLeds");
  await field(page, "name").press("End");
  await page.keyboard.press("ArrowLeft");
  await first.kill();
  await isMissing(page);
  assert.ok(await page.locator("form.form").getByRole("button", { name: "Play" }).isDisabled());
  await page.keyboard.type("-");
  const second = await Robot.start({ port: first.port, folder: first.folder });
  try {
    await becomes(
      async () => (await linkState(page)) === "Live: the robot restarted",
      "the page to tell the restart",
    );
    assert.ok(await page.locator("#leds").isVisible());
    await page.keyboard.type("-"); // who types goes on, at the same place
    assert.equal(await field(page, "name").inputValue(), "ChestLed--s");
    await second.does("fadeRGB", "ChestLeds", "blue", "0");
    await isSeen(page, "ChestLeds", colors.blue, "blue");
    await mayPlay(page);
    // What the browser itself says of connections that fail, and nothing else.
    const rest = page.complaints.filter((text) => !/WebSocket connection to .* failed/.test(text));
    assert.deepEqual(rest, []);
    await page.context().close();
  } finally {
    await second.stop();
  }
});

test("modules that go and come back are followed", async () => {
  const own = await Robot.start();
  try {
    const page = await open(browser, own.url);
    await page.locator("#tab-point").click();
    await own.does("createGroup", "Mine", '["FeetLeds"]');
    const mine = page.getByRole("button", { name: "Mine", exact: true });
    const outlined = page.locator(".led.grouped[role=option]");
    await mine.click();
    await becomes(async () => (await outlined.count()) === 2, "the group's LEDs to be outlined");
    await page.getByRole("button", { name: "FaceLeds", exact: true }).focus();
    await own.does("createGroup", "More", '["FeetLeds"]');
    await page.getByRole("button", { name: "More", exact: true }).waitFor();
    assert.equal(await page.evaluate(() => document.activeElement.textContent), "FaceLeds");
    assert.equal(await mine.getAttribute("aria-pressed"), "true");
    await own.does("--service", "HBHost", "unloadModule", "leds");
    const services = () => page.getByLabel("Service").textContent();
    await becomes(async () => (await services()).includes("HBLeds (gone)"), "the service to go");
    await own.does("--service", "HBHost", "loadModule", "leds");
    await becomes(async () => !(await services()).includes("(gone)"), "the service to come back");
    assert.equal(await page.locator("form.form h2").textContent(), "fadeRGB");
    await becomes(async () => (await mine.count()) === 0, "the group to have gone with the module");
    assert.equal(await outlined.count(), 0);
    await own.does("fadeRGB", "ChestLeds", "green", "0");
    await isSeen(page, "ChestLeds", colors.green, "green");
    assert.deepEqual(page.complaints, []);
    await page.context().close();
  } finally {
    await own.stop();
  }
});

test("a memory that is loaded anew is watched again", async () => {
  const own = await Robot.start();
  try {
    const page = await open(browser, own.url);
    await own.does("fadeRGB", "ChestLeds", "red", "0");
    await isSeen(page, "ChestLeds", colors.red, "red");
    await own.does("--service", "HBHost", "unloadModule", "memory");
    await own.does("--service", "HBHost", "loadModule", "memory");
    await own.does("fadeRGB", "ChestLeds", "green", "0");
    await isSeen(page, "ChestLeds", colors.green, "green");
    assert.deepEqual(page.complaints, []);
    await page.context().close();
  } finally {
    await own.stop();
  }
});

test("the meter tells pictures, those that were left out, and the delay", async () => {
  const page = await open(browser, robot.url, {
    prepare: (page) =>
      page.addInitScript(() => {
        const ask = window.requestAnimationFrame.bind(window);
        const held = [];
        window.requestAnimationFrame = (run) => (window.isHeld ? held.push(run) : ask(run));
        window.goOn = () => {
          window.isHeld = false;
          held.splice(0).forEach(ask);
        };
      }),
  });
  const told = async (what) => page.locator(`#meter-${what}`).textContent();
  await becomes(async () => (await told("rate")) === "0", "the picture to rest");
  const before = Number(await told("dropped"));
  await page.evaluate(() => (window.isHeld = true));
  await robot.does("--wait", "fade", "AllLeds", "0", "0.5");
  await robot.does("--wait", "fade", "AllLeds", "1", "0.5");
  await page.evaluate(() => window.goOn());
  await becomes(async () => Number(await told("dropped")) > before, "pictures to be left out");
  await robot.does("fade", "AllLeds", "0", "5");
  await becomes(async () => Number(await told("rate")) > 0, "pictures");
  assert.match(await told("delay"), /^\d+ ms$/);
  await robot.does("setIntensity", "AllLeds", "0");
  await becomes(async () => (await told("rate")) === "0", "the picture to rest again");
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});

test("a robot without motion is told to have none", async (t) => {
  const own = await Robot.start();
  t.after(() => own.stop());
  const page = await open(browser, own.url);
  await page.locator("#tab-state").click();
  const motion = page.locator("#state dt").getByText("Motion", { exact: true }).locator("xpath=following-sibling::dd[1]");
  await becomes(async () => (await motion.textContent()) === "present", "motion to be present");
  await own.does("--service", "HBHost", "unloadModule", "motion");
  await becomes(async () => (await motion.textContent()) === "absent: nothing moves", "motion to be absent");
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});
