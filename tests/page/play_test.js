// Methods as forms, their calls as text, running calls, and who may call.
import assert from "node:assert/strict";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { choose, close, field, linkState, mayPlay, open, play, stage, type } from "./browser.js";
import { becomes, Robot, run } from "./robot.js";

const RED = "Face/Led/Red/Left/0Deg/Actuator/Value";
const GREEN = "Face/Led/Green/Left/0Deg/Actuator/Value";

const { robot, browser } = await stage();

const outcome = (page) => page.locator(".result");
const done = (page) =>
  outcome(page)
    .getByText(/^Done in/)
    .waitFor();
const codeOf = (page, what) => page.getByLabel(`the ${what}`, { exact: true }).textContent();
const intensity = async (device) => Number(await robot.does("getIntensity", device));

test("a form calls the method with what its fields say", async () => {
  const page = await open(browser, robot.url);
  await choose(page, "fadeRGB name, rgb, duration");
  await type(page, "name", "FaceLeds");
  await type(page, "rgb", "#ff8000");
  await type(page, "duration", "0");
  await play(page);
  await done(page);
  assert.equal(await intensity(RED), 1);
  assert.ok(Math.abs((await intensity(GREEN)) - 128 / 255) < 1e-4);
  await choose(page, "getIntensity name");
  await type(page, "name", RED);
  await play(page);
  await done(page);
  assert.match(await outcome(page).textContent(), /^1\n/);
  await close(page);
});

test("every method of every service has a form", async () => {
  const page = await open(browser, robot.url);
  const services = (await robot.does("services")).split("\n");
  for (const service of services) {
    await page.getByLabel("Service").selectOption(service);
    const rows = (await robot.does("--service", service, "methods")).split("\n").length;
    const buttons = page.getByRole("group", { name: "Methods" }).getByRole("button");
    await becomes(async () => (await buttons.count()) === rows, `${rows} methods of ${service}`);
    for (let i = 0; i < rows; ++i) {
      await buttons.nth(i).click();
      const name = (await buttons.nth(i).textContent()).split(" ")[0];
      assert.equal(await page.locator("form.form h2").textContent(), name);
    }
  }
  await close(page);
});

test("an error is told in the robot's own words at its field", async () => {
  const page = await open(browser, robot.url);
  await choose(page, "setIntensity name, intensity");
  await type(page, "name", "Nose");
  await play(page);
  const { err } = await robot.ledctl("setIntensity", "Nose", "1.0");
  const name = field(page, "name");
  const described = () =>
    name.evaluate((input) =>
      input
        .getAttribute("aria-describedby")
        .split(" ")
        .map((id) => document.getElementById(id).textContent),
    );
  await becomes(async () => (await described()).includes(err.trim()), "the robot's words at the field");
  assert.equal(await name.getAttribute("aria-invalid"), "true");
  await becomes(
    async () => (await page.locator("#announcement").textContent()) === err.trim(),
    "the robot's words to be spoken",
  );
  const [below, above] = [
    await page.locator(".field .error").filter({ hasText: "Nose" }).boundingBox(),
    await name.boundingBox(),
  ];
  assert.ok(below.y - above.y - above.height < 8, "the words stand right below the field");
  await type(page, "name", "ChestLeds");
  assert.equal(await name.getAttribute("aria-invalid"), null);
  assert.ok(!(await described()).includes(err.trim()));
  await close(page);
});

test("what cannot be read is told at its field, and nothing is called", async () => {
  const page = await open(browser, robot.url);
  await choose(page, "fadeListRGB name, rgbList, timeList");
  await type(page, "rgbList", "[1,");
  await page
    .locator(".field .error")
    .getByText(/^not JSON: /)
    .waitFor();
  assert.ok(await page.locator("form.form").getByRole("button", { name: "Play" }).isDisabled());
  await type(page, "rgbList", "[0xff0000]");
  await type(page, "timeList", "[0.0]");
  await type(page, "name", "FaceLeds");
  await play(page);
  await done(page);
  assert.deepEqual([await intensity(RED), await intensity(GREEN)], [1, 0]);
  await close(page);
});

test("names are completed, and a published example's values stand in its fields", async () => {
  const page = await open(browser, robot.url);
  await choose(page, "fade name, intensity, duration");
  const name = field(page, "name");
  assert.equal(await name.inputValue(), "LeftEye");
  const choices = await name.evaluate((input) => [...input.list.options].map((option) => option.value));
  for (const one of ["FaceLeds", "FaceLedLeft0", RED]) assert.ok(choices.includes(one), one);
  await close(page);
});

test("the lines for shell and Python run as they stand", async () => {
  const page = await open(browser, robot.url);
  const odd = `It's "<b>$HOME</b>" \\ group`;
  await choose(page, "createGroup groupName, ledNames");
  await type(page, "groupName", odd);
  await type(page, "ledNames", '["FaceLeds", "ChestLeds"]');
  const ledctl = process.env.LEDCTL_PROGRAM.replace(/\/[^/]+$/, "");
  const environment = { ...robot.environment, PATH: `${ledctl}:${process.env.PATH}` };
  const made = await run("/bin/sh", ["-c", await codeOf(page, "ledctl line")], { env: environment });
  assert.deepEqual([made.status, made.err], [0, ""]);
  assert.ok((await robot.does("listGroups")).split("\n").includes(odd));

  await choose(page, "fadeRGB name, red, green, blue, duration");
  for (const [one, text] of [
    ["name", odd],
    ["red", "0.25"],
    ["green", "1"],
    ["blue", "0"],
    ["duration", "0.1"],
  ])
    await type(page, one, text);
  const program = await codeOf(page, "Python program");
  assert.match(program, /^from tavro import Robot\n/);
  // The one thing to change: which robot.
  const python = program.replace("Robot()", `Robot("unix:${robot.socket}")`);
  const ran = await run("/usr/bin/python3", ["-c", python], {
    env: { ...process.env, PYTHONPATH: process.env.TAVRO_PYTHON },
  });
  assert.deepEqual([ran.status, ran.err], [0, ""]);
  assert.deepEqual([await intensity(RED), await intensity(GREEN)], [0.25, 1]);

  await choose(page, "setIntensity name, intensity");
  await type(page, "name", odd);
  await type(page, "intensity", "-0.5");
  const refused = await run("/bin/sh", ["-c", await codeOf(page, "ledctl line")], { env: environment });
  assert.equal(refused.status, 1); // of the robot: the line itself was well understood
  assert.match(refused.err, /Could not parse pIntensity as a fraction/);
  await close(page);
});

test("a stop button ends an animation of this page", async () => {
  const page = await open(browser, robot.url);
  await choose(page, "rotateEyes rgb, timeForRotation, totalDuration");
  await type(page, "timeForRotation", "0.08");
  await type(page, "totalDuration", "3600");
  await play(page);
  await page.getByRole("button", { name: "Stop HBLeds.rotateEyes" }).click();
  await done(page);
  await becomes(async () => (await page.locator(".running li").count()) === 0, "the list to be empty");
  await close(page);
});

test("a stop button ends another client's animation, and cancels an own fade", async () => {
  const page = await open(browser, robot.url);
  const other = robot.ledctl("rotateEyes", "0x00ff00", "0.08", "3600");
  await page.getByRole("button", { name: "Stop HBLeds.rotateEyes" }).click();
  await other;
  await choose(page, "fade name, intensity, duration");
  await type(page, "duration", "3600");
  await play(page);
  await page.getByText("its future runs").waitFor();
  await page.getByRole("button", { name: "Stop HBLeds.fade" }).click();
  await page.locator("form.form > .error").filter({ hasText: /./ }).waitFor();
  await close(page);
});

test("all about an LED is told: its groups, ratio, values and who set it", async () => {
  const page = await open(browser, robot.url);
  await robot.does("setIntensity", "EarLedLeft1", "0.8");
  await page.locator("#tab-leds").click();
  await page.getByRole("button", { name: "EarLedLeft1", exact: true }).click();
  const point = page.locator("#point");
  await point.getByRole("heading", { name: "EarLedLeft1" }).waitFor();
  await point.getByText("0.5 (this head's own)").waitFor();
  await point.getByText(/HBLeds\.setIntensity, by ledctl/).waitFor();
  await point.getByText("0.400").first().waitFor();
  await robot.does("_setIntensityRatio", "EarLeds", "0.75");
  await point.getByText(/0\.75 \(asked by ledctl/).waitFor();
  await page.getByRole("button", { name: "LeftEye", exact: true }).hover();
  await becomes(
    async () => (await page.locator(".led.grouped[role=option]").count()) === 8,
    "the group's LEDs to be outlined",
  );
  await close(page);
});

test("state and log tell what goes on", async () => {
  const page = await open(browser, robot.url);
  await page.locator("#tab-state").click();
  await page
    .locator("#state")
    .getByText(/^memory, /)
    .waitFor();
  await robot.does("_startPassiveBlinking");
  await page
    .locator("#state")
    .getByText(/^on, asked by ledctl/)
    .waitFor();
  await robot.does("_stopPassiveBlinking");
  await page
    .locator("#state")
    .getByText(/^off, asked by ledctl/)
    .waitFor();
  await page.locator("#tab-log").click();
  await page.locator(".log-lines li").filter({ hasText: "Waiting for HBMotion" }).waitFor();
  await page.getByLabel("Least level").selectOption("error");
  await becomes(async () => (await page.locator(".log-lines .info").count()) === 0, "the filter to hold");
  await close(page);
});

test("a viewer sees everything, may call what only reads, and is told why no more", async () => {
  const tokens = join(robot.folder, "tokens");
  writeFileSync(tokens, "viewer 9dJfWm5PuA1eGx6QvKt2\noperator 3q8hVn2TzL0cYb7RkXs4\n", { mode: 0o600 });
  const guarded = await Robot.start({ args: ["--tokens", tokens] });
  try {
    const prepare = (page) => page.addInitScript(() => sessionStorage.setItem("token", "9dJfWm5PuA1eGx6QvKt2"));
    const page = await open(browser, guarded.url, { prepare });
    assert.equal(await page.locator("#role").textContent(), "viewer");
    await page.getByText("You are a viewer: only operators may call this.").waitFor();
    assert.ok(await page.locator("form.form").getByRole("button", { name: "Play" }).isDisabled());
    await choose(page, "listGroup groupName");
    await type(page, "groupName", "FeetLeds");
    await play(page);
    await done(page);
    assert.match(await outcome(page).textContent(), /^LeftFoot\/Led\/Blue/);
    await close(page);
    const wrong = await browser.newPage();
    await wrong.addInitScript(
      () => sessionStorage.getItem("token") ?? sessionStorage.setItem("token", "wrong-wrong-wrong-wrong"),
    );
    await wrong.goto(guarded.url);
    await wrong.getByLabel("Token", { exact: true }).fill("3q8hVn2TzL0cYb7RkXs4");
    await wrong.getByRole("button", { name: "Come in" }).click();
    await becomes(async () => /^Live/.test(await linkState(wrong)), "the page to be live");
    await mayPlay(wrong);
    await wrong.close();
  } finally {
    await guarded.stop();
  }
});

test("a question for a token that is put aside sends nothing, and comes back when asked for", async (t) => {
  const tokens = join(robot.folder, "operators");
  writeFileSync(tokens, "operator 3q8hVn2TzL0cYb7RkXs4\n", { mode: 0o600 });
  const guarded = await Robot.start({ args: ["--tokens", tokens] });
  t.after(() => guarded.stop());
  const page = await browser.newPage();
  await page.addInitScript(() => sessionStorage.setItem("token", "wrong-wrong-wrong-wrong"));
  const hellos = [];
  page.on("websocket", (socket) =>
    socket.on("framesent", ({ payload }) => {
      const { op, token } = JSON.parse(payload);
      if (op === "hello") hellos.push(token);
    }),
  );
  await page.goto(guarded.url);
  const token = page.getByLabel("Token", { exact: true });
  const again = page.getByRole("button", { name: "Give a token" });
  await token.fill("3q8hVn2TzL0c");
  assert.ok(await again.isHidden());
  await token.press("Escape");
  await again.waitFor();
  assert.equal(await page.evaluate(() => sessionStorage.getItem("token")), null);
  await again.press("Enter");
  assert.equal(await token.inputValue(), "");
  await token.press("Enter"); // nothing to send yet
  assert.ok(await token.isVisible());
  await token.fill("3q8hVn2TzL0cYb7RkXs4");
  await token.press("Enter");
  await becomes(async () => /^Live/.test(await linkState(page)), "the page to be live");
  assert.ok(await again.isHidden());
  assert.deepEqual(hellos, ["wrong-wrong-wrong-wrong", "3q8hVn2TzL0cYb7RkXs4"]);
  await page.close();
});
