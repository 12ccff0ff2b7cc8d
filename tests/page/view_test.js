// What is seen of a robot: colours, the steps of a blink, stillness when nobody looks or wants it.
import assert from "node:assert/strict";
import { test } from "node:test";
import { close, colors, hidden, isSeen, middleOf, open, pixelAt, stage } from "./browser.js";
import { becomes } from "./robot.js";

const { robot, browser } = await stage();

test("LEDs are seen in the colours that another client gave them", async () => {
  await robot.does("--wait", "fadeRGB", "FaceLeds", "red", "0.2");
  const page = await open(browser, robot.url);
  await isSeen(page, "FaceLedLeft0", colors.red, "red");
  await isSeen(page, "FaceLedRight5", colors.red, "red");
  await robot.does("--wait", "fadeRGB", "FaceLeds", "0x00ff00", "0.3");
  for (let i = 0; i < 8; ++i) await isSeen(page, `FaceLedLeft${i}`, colors.green, "green");
  await robot.does("fadeRGB", "ChestLeds", "blue", "0");
  await isSeen(page, "ChestLeds", colors.blue, "blue");
  await robot.does("off", "AllLeds");
  await isSeen(page, "FaceLedLeft0", colors.dark, "dark glass");
  await isSeen(page, "ChestLeds", colors.dark, "dark glass");
  await robot.does("on", "FeetLeds");
  await isSeen(page, "LeftFootLeds", colors.white, "white");
  await close(page);
});

test("half the intensity looks brighter than half", async () => {
  await robot.does("off", "AllLeds");
  await robot.does("fadeRGB", "ChestLeds", "0.0", "0.5", "0.0", "0");
  const page = await open(browser, robot.url);
  await isSeen(
    page,
    "ChestLeds",
    ({ green, red }) => green > 175 && green < 200 && red < 90,
    "as bright as half the light looks",
  );
  await close(page);
});

/** Notes at each picture what the eight positions of the left eye look like. */
async function recordEye(page) {
  const places = [];
  for (let i = 0; i < 8; ++i) places.push(await middleOf(page, `FaceLedLeft${i}`));
  await page.evaluate((at) => {
    const canvas = document.querySelector("canvas");
    const frame = canvas.getBoundingClientRect();
    const context = canvas.getContext("2d");
    const ratio = canvas.width / frame.width;
    window.eye = [];
    const look = (now) => {
      window.eye.push({
        now,
        seen: at.map(({ x, y }) => [
          ...context.getImageData((x - frame.x) * ratio, (y - frame.y) * ratio, 1, 1).data,
        ]),
      });
      requestAnimationFrame(look);
    };
    requestAnimationFrame(look);
  }, places);
}

const looksLike = ([red, green, blue]) => {
  if (red < 120 && green < 120 && blue < 120) return "closed";
  if (red > 225 && green > 225 && blue > 225) return "open";
  if (red > 200 && green < 130 && blue > 150 && blue < 225) return "shadow";
  if (blue > 225 && red < 110) return "before";
  return "";
};

test("the eighteen steps of a blink are seen", async () => {
  await robot.does("off", "AllLeds");
  await robot.does("fadeRGB", "FaceLeds", "blue", "0");
  const page = await open(browser, robot.url);
  await isSeen(page, "FaceLedLeft7", colors.blue, "blue");
  await recordEye(page);
  await robot.does("_blinkWithShadow");
  const last = ["open", "open", "open", "open", "open", "open", "shadow", "shadow"];
  const frames = await becomes(async () => {
    const eye = (await page.evaluate(() => window.eye)).map(({ now, seen }) => ({ now, looks: seen.map(looksLike) }));
    return JSON.stringify(eye.at(-1)?.looks) === JSON.stringify(last) && eye;
  }, "the blink to end");
  // Of each position in turn all that it looked like, each look once.
  const course = (position) =>
    frames
      .map(({ looks }) => looks[position])
      .filter((look, i, all) => look && look !== all.slice(0, i).findLast(Boolean));
  // Steps 1, 2, 4, 5 and 6 close (8 closes position 1 again), 10, 11, 13, 14 and 15 open.
  for (const position of [0, 1, 3, 4, 5])
    assert.deepEqual(course(position), ["before", "closed", "open"], `position ${position}`);
  assert.deepEqual(course(2), ["before", "open"]); // steps 3 and 12
  assert.deepEqual(course(6), ["before", "shadow"]); // steps 7 and 16
  assert.deepEqual(course(7), ["before", "shadow"]); // step 17, after the eye was closed
  // Step 9 holds the eye closed; position 7 keeps its colour meanwhile. Step 18 has nothing to see.
  const held = frames.filter(({ looks }) => [0, 1, 3, 4, 5].every((position) => looks[position] === "closed"));
  assert.ok(held.length >= 2, `${held.length} pictures of the closed eye`);
  for (const { looks } of held) assert.deepEqual([looks[2], looks[6], looks[7]], ["open", "shadow", "before"]);
  await close(page);
});

test("a picture that is paused stays, and goes on with what is now", async () => {
  await robot.does("fadeRGB", "ChestLeds", "red", "0");
  const page = await open(browser, robot.url);
  await isSeen(page, "ChestLeds", colors.red, "red");
  await page.getByRole("button", { name: "Pause", exact: true }).click();
  await robot.does("fadeRGB", "ChestLeds", "blue", "0");
  await page.locator("#tab-leds").click();
  await page
    .getByRole("row", { name: /ChestLeds/ })
    .getByText("#0000ff")
    .waitFor(); // the figures know
  assert.ok(colors.red(await pixelAt(page, await middleOf(page, "ChestLeds"))));
  await page.getByRole("button", { name: "Go live" }).click();
  await isSeen(page, "ChestLeds", colors.blue, "blue");
  await close(page);
});

test("who asks for reduced motion gets a still picture first", async () => {
  await robot.does("fadeRGB", "ChestLeds", "green", "0");
  const page = await open(browser, robot.url, { reducedMotion: "reduce" });
  await isSeen(page, "ChestLeds", colors.green, "green");
  assert.ok(await page.locator("#frozen").isVisible());
  await robot.does("fadeRGB", "ChestLeds", "red", "0");
  await page.locator("#tab-leds").click();
  await page
    .getByRole("row", { name: /ChestLeds/ })
    .getByText("#ff0000")
    .waitFor();
  assert.ok(colors.green(await pixelAt(page, await middleOf(page, "ChestLeds"))));
  await close(page);
});

/** What robot and page say to each other. */
function overhear() {
  const [said, asked] = [[], []];
  const prepare = (page) =>
    page.on("websocket", (socket) => {
      socket.on("framereceived", ({ payload }) => said.push(JSON.parse(payload)));
      socket.on("framesent", ({ payload }) => asked.push(JSON.parse(payload)));
    });
  return { said, asked, prepare };
}

test("a page that nobody sees is sent nothing", async () => {
  const { said, prepare } = overhear();
  const page = await open(browser, robot.url, { prepare });
  const frames = () => said.filter(({ event }) => event === "frame").length;
  await becomes(() => frames() > 0, "the first frame");
  await hidden(page, true);
  await robot.does("getIntensity", "FaceLedLeft0"); // the robot has heard it by now
  await becomes(async () => {
    const before = frames();
    await robot.does("fadeRGB", "ChestLeds", "red", "0");
    await robot.does("fadeRGB", "ChestLeds", "white", "0");
    return frames() === before;
  }, "frames to end");
  const before = frames();
  await robot.does("--wait", "fadeRGB", "ChestLeds", "blue", "0.3");
  assert.equal(frames(), before);
  await hidden(page, false);
  await isSeen(page, "ChestLeds", colors.blue, "blue");
  await close(page);
});

test("a page that nobody sees is sent no line of the log, and then each that is new once", async () => {
  const { said, asked, prepare } = overhear();
  const page = await open(browser, robot.url, { prepare });
  const count = () => said.filter(({ event }) => event === "log").length;
  const isUnwanted = () => {
    const none = asked.find(({ op, level }) => op === "log" && level === "none");
    return none && said.some(({ id }) => id === none.id);
  };
  const lines = () => page.locator(".log-lines li").allTextContents();
  const reload = async () => {
    for (const method of ["unloadModule", "loadModule"]) await robot.does("--service", "HBHost", method, "leds");
  };
  await page.locator("#tab-log").click();
  await becomes(async () => (await lines()).length > 0, "the lines that are kept");
  const before = await lines();
  await hidden(page, true);
  await becomes(isUnwanted, "the robot to have heard it");
  const sent = count();
  await reload();
  await hidden(page, false);
  await becomes(async () => (await lines()).length > before.length, "the new lines");
  assert.equal(count(), sent + 1, "one message with what came meanwhile");
  const news = (await lines()).slice(before.length);
  assert.deepEqual((await lines()).slice(0, before.length), before);
  assert.ok(news.length > 0 && news.every((line) => !before.includes(line)), news.join("; "));
  await reload();
  await becomes(async () => (await lines()).length > before.length + news.length, "the log to go on");
  await close(page);
});

test("fifty pictures a second are painted at most, on a quick screen and of flashes too", async () => {
  await robot.does("off", "AllLeds");
  const prepare = (page) =>
    page.addInitScript(() => {
      window.requestAnimationFrame = (run) => setTimeout(() => run(performance.now()), 7); // of 144 hertz
      window.painted = [];
      const { clearRect } = CanvasRenderingContext2D.prototype;
      CanvasRenderingContext2D.prototype.clearRect = function (...box) {
        if (this.canvas.id === "picture") window.painted.push(performance.now());
        return clearRect.apply(this, box);
      };
    });
  const page = await open(browser, robot.url, { prepare });
  const keys = [`Device/SubDeviceList/ChestBoard/Led/Red/Actuator/Value`];
  const flashes = Array.from({ length: 60 }, (_, i) => i + 1);
  const lists = [keys, [flashes.map((i) => i * 0.05)], [flashes.map((i) => i % 2)]];
  await page.evaluate(() => (window.painted = []));
  await robot.does("--service", "HBMotion", "_animateLEDs", ...lists.map((list) => JSON.stringify(list)));
  await page.getByText("More than three flashes a second: shown steadily.").waitFor();
  await becomes(async () => (await page.locator("#flash-notice").textContent()) === "", "the notice to go");
  const painted = await page.evaluate(() => window.painted);
  const most = Math.max(...painted.map((from) => painted.filter((at) => at >= from && at < from + 1000).length));
  assert.ok(most > 10 && most <= 51, `${most} pictures in one second`); // 51 begin in one second and a moment
  await close(page);
});

test("a pattern that flashes too often is shown steadily, with a notice", async () => {
  await robot.does("off", "AllLeds");
  const page = await open(browser, robot.url);
  const place = await middleOf(page, "ChestLeds");
  await page.evaluate(({ x, y }) => {
    const canvas = document.querySelector("canvas");
    const frame = canvas.getBoundingClientRect();
    window.light = [];
    const look = (now) => {
      const ratio = canvas.width / frame.width;
      const [red, green, blue] = canvas
        .getContext("2d")
        .getImageData((x - frame.x) * ratio, (y - frame.y) * ratio, 1, 1).data;
      const linear = [red, green, blue].map((value) => (value / 255) ** 2.2);
      window.light.push({ now, value: 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2] });
      requestAnimationFrame(look);
    };
    requestAnimationFrame(look);
  }, place);
  const flashes = Array.from({ length: 48 }, (_, i) => i + 1); // 0.08 s each, up and down
  const keys = ["Red", "Green", "Blue"].map((color) => `Device/SubDeviceList/ChestBoard/Led/${color}/Actuator/Value`);
  const [times, values] = [flashes.map((i) => i * 0.08), flashes.map((i) => i % 2)];
  await robot.does(
    "--service",
    "HBMotion",
    "_animateLEDs",
    ...[keys, keys.map(() => times), keys.map(() => values)].map((list) => JSON.stringify(list)),
  );
  await page.getByText("More than three flashes a second: shown steadily.").waitFor();
  await becomes(async () => (await page.locator("#flash-notice").textContent()) === "", "the notice to go");
  const seen = await page.evaluate(() => window.light);
  const turns = [];
  let [extreme, direction] = [seen[0].value, 0];
  for (const { now, value } of seen) {
    const change = value - extreme;
    if (direction !== Math.sign(change) && Math.abs(change) >= 0.13) {
      [direction, extreme] = [Math.sign(change), value];
      turns.push(now);
    } else if (direction === Math.sign(change)) extreme = value;
  }
  const most = Math.max(...turns.map((start) => turns.filter((at) => at >= start && at < start + 950).length));
  assert.ok(turns.length >= 4 && most <= 6, `${turns.length} turns, ${most} in one second`);
  await close(page);
});
