// The page for everybody: the keyboard alone, screens of all sizes, figures beside the picture.
import assert from "node:assert/strict";
import { test } from "node:test";
import { close, hidden, open, stage } from "./browser.js";
import { becomes } from "./robot.js";

const { robot, browser } = await stage();
await robot.does("fadeRGB", "AllLeds", "0x00a0ff", "0");

test("nothing is wider than the screen, from a phone to a wall", async () => {
  const page = await open(browser, robot.url);
  for (const width of [320, 360, 759, 760, 1199, 1200, 1600, 2560]) {
    await page.setViewportSize({ width, height: 800 });
    const tabs = page.locator("#tabs button:not([hidden])");
    for (let i = 0; i < (await tabs.count()); ++i) {
      await tabs.nth(i).click();
      const wide = await page.evaluate(() => [
        document.documentElement.scrollWidth,
        ...[...document.querySelectorAll(".panel")].map((panel) => panel.scrollWidth - panel.clientWidth),
      ]);
      assert.ok(wide[0] <= width && Math.max(...wide.slice(1)) <= 0, `${width}: ${wide}`);
    }
  }
  await close(page);
});

/** What has the focus, in words. */
const focused = (page) =>
  page.evaluate(() => {
    const element = document.activeElement;
    return element.getAttribute("aria-label") ?? (element.labels?.[0] ?? element).textContent.trim();
  });

test("the keyboard alone reaches everything", async () => {
  const page = await open(browser, robot.url, { viewport: { width: 1024, height: 768 } });
  const press = (...keys) =>
    keys.reduce((before, key) => before.then(() => page.keyboard.press(key)), Promise.resolve());
  const seen = [];
  const tabTo = async (is) => {
    for (let i = 0; i < 60; ++i) {
      await press("Tab");
      seen.push(await focused(page));
      if (is(seen.at(-1))) return;
    }
    assert.fail(`not reached: ${seen.join(" > ")}`);
  };
  await tabTo((text) => text === "Skip to the robot");
  await tabTo((text) => text === "Pause");
  await tabTo((text) => text.startsWith("FaceLedLeft0"));
  await page
    .locator("#tip")
    .getByText(/FaceLedLeft0/)
    .waitFor();
  await press("ArrowDown");
  assert.match(await focused(page), /^(FaceLedLeft|EarLed|ChestLeds)/);
  await press("Home", "ArrowRight");
  assert.match(await focused(page), /^FaceLedLeft1: red 0\s%, green 63\s%, blue 100\s% \(#00a0ff\)$/);
  assert.equal(await page.locator(".led[role=option][tabindex='0']").count(), 1);
  await press("Enter"); // shows all about it
  await page.locator("#point").getByRole("heading", { name: "FaceLedLeft1" }).waitFor();
  await tabTo((text) => text === "Point");
  await press("ArrowRight");
  assert.equal(await focused(page), "State");
  await press("Home");
  assert.equal(await focused(page), "Play");
  await tabTo((text) => text === "Service");
  await tabTo((text) => text === "Filter methods");
  await page.keyboard.type("switch to a minimum");
  await tabTo((text) => text.startsWith("off"));
  await press("Enter");
  await tabTo((text) => text.startsWith("name"));
  await press("Control+a");
  await page.keyboard.type("ChestLeds");
  await tabTo((text) => text === "Play");
  await press("Enter");
  await page
    .locator(".result")
    .getByText(/^Done in/)
    .waitFor();
  assert.equal(await robot.does("getIntensity", "ChestBoard/Led/Blue/Actuator/Value"), "0");
  await tabTo((text) => text === "Copy the ledctl line");
  await close(page);
});

test("what has the focus can be seen, on the stage too", async () => {
  const page = await open(browser, robot.url);
  await page.locator(".led[role=option]").first().focus();
  await page.keyboard.press("ArrowRight");
  const stroke = await page.evaluate(() => getComputedStyle(document.activeElement).stroke);
  assert.equal(stroke, "rgb(255, 255, 255)");
  await page.locator("#pause").focus();
  await page.keyboard.press("Tab");
  await page.keyboard.press("Shift+Tab");
  assert.notEqual(await page.evaluate(() => getComputedStyle(document.activeElement).outlineStyle), "none");
  await close(page);
});

test("a table tells all LEDs with their values", async () => {
  const page = await open(browser, robot.url);
  await page.locator("#tab-leds").click();
  await becomes(async () => (await page.locator("#leds tbody tr").count()) === 51, "51 rows");
  await page.getByRole("row", { name: /FaceLedLeft0 red 0\s%, green 63\s%, blue 100\s% \(#00a0ff\)/ }).waitFor();
  await page.getByLabel("Filter LEDs").fill("LeftFoot");
  await becomes(async () => (await page.locator("#leds tbody tr").count()) === 1, "one row");
  await close(page);
});

test("lists that change leave the keyboard where it is", async () => {
  const page = await open(browser, robot.url);
  const isKept = async (change, what) => {
    const before = await page.evaluate(() => (window.kept = document.activeElement).textContent);
    await change();
    assert.ok(await page.evaluate(() => window.kept === document.activeElement), `${what}: ${before}`);
  };
  await page.locator("#tab-leds").click();
  await page.getByRole("button", { name: "FaceLedLeft3", exact: true }).focus();
  await isKept(async () => {
    await robot.does("createGroup", "Mixed", '["FaceLedLeft3"]');
    await page.getByRole("row", { name: /FaceLedLeft3 .*Mixed/ }).waitFor();
  }, "the table of LEDs, in another group");
  const method = page.getByRole("group", { name: "Methods" }).getByRole("button", { name: "off name", exact: true });
  await method.focus();
  await isKept(async () => {
    for (const way of ["unloadModule", "loadModule"]) {
      await robot.does("--service", "HBHost", way, "signsandfeedback");
      await becomes(
        async () => (await page.getByLabel("Service").textContent()).includes("HBSignsAndFeedback") === (way === "loadModule"),
        `the services after ${way}`,
      );
    }
  }, "the list of methods, after other services came and went");
  await close(page);
});

test("the timeline draws the chosen LEDs and tells values under the pointer", async () => {
  const page = await open(browser, robot.url);
  await page.getByLabel("Add an LED to the timeline").selectOption({ label: "ChestLeds" });
  await page.locator(".u-legend").getByText("ChestLeds red").waitFor();
  // There, and half a second still.
  for (let i = 0; i < 2; ++i) await robot.does("--wait", "fadeRGB", "ChestLeds", "red", "0.5");
  await page.getByRole("button", { name: "Pause curves" }).click();
  const over = await page.locator(".u-over").boundingBox();
  await page.mouse.move(over.x + over.width - 3, over.y + over.height / 2);
  const value = page.locator(".u-legend .u-series").filter({ hasText: "ChestLeds red" }).locator(".u-value");
  await becomes(async () => Number(await value.textContent()) > 0.9, "the value under the pointer");
  await page.getByRole("button", { name: "Take ChestLeds off the timeline" }).click();
  assert.equal(await page.locator(".u-legend").getByText("ChestLeds red").count(), 0);
  await close(page);
});

test("the keyboard reads values off the timeline, and a time unseen as a gap", async () => {
  const page = await open(browser, robot.url);
  await robot.does("fadeRGB", "ChestLeds", "0.25", "0", "0", "0");
  await page.getByLabel("Add an LED to the timeline").selectOption({ label: "ChestLeds" });
  await robot.does("--wait", "fade", "FeetLeds", "0", "0.5"); // half a second to see
  await hidden(page, true);
  await robot.does("--wait", "fadeRGB", "ChestLeds", "1", "0", "0", "0.5");
  await hidden(page, false);
  const cursor = page.getByRole("slider", { name: "Cursor of the timeline, in seconds" });
  const told = async () => /ChestLeds red ([^,]+)/.exec((await cursor.getAttribute("aria-valuetext")) ?? "")?.[1];
  await becomes(async () => {
    await cursor.press("End");
    await cursor.press("ArrowLeft");
    return (await told()) === "1.000";
  }, "the value now, long enough to be met on the way back");
  await page.getByRole("button", { name: "Pause curves" }).press("Enter");
  await cursor.press("End");
  const before = [];
  for (let i = 0; i < 100 && before.at(-1) !== "0.250"; ++i) {
    await page.keyboard.press("ArrowLeft");
    if (before.at(-1) !== (await told())) before.push(await told());
  }
  assert.deepEqual(before, ["1.000", "–", "0.250"]);
  const now = Number(await cursor.getAttribute("aria-valuenow"));
  await page.keyboard.press("Shift+ArrowLeft");
  assert.equal(Number(await cursor.getAttribute("aria-valuenow")), Math.round((now - 1) * 10) / 10);
  await page.keyboard.press("Home");
  assert.equal(await cursor.getAttribute("aria-valuenow"), "-30.0");
  await page.keyboard.press("End");
  assert.match(await cursor.getAttribute("aria-valuetext"), /^time now, .*ChestLeds red 1\.000/);
  assert.notEqual(await cursor.evaluate((over) => getComputedStyle(over).outlineStyle), "none");
  await close(page);
});

test("a curve that is taken off leaves nothing behind, and the keyboard at the next one", async () => {
  const prepare = (page) =>
    page.addInitScript(() => {
      window.observed = new Set();
      const { observe, unobserve } = ResizeObserver.prototype;
      ResizeObserver.prototype.observe = function (element) {
        window.observed.add(element);
        observe.call(this, element);
      };
      ResizeObserver.prototype.unobserve = function (element) {
        window.observed.delete(element);
        unobserve.call(this, element);
      };
    });
  const page = await open(browser, robot.url, { prepare });
  await page.getByLabel("Add an LED to the timeline").selectOption({ label: "ChestLeds" });
  const off = (label) => page.getByRole("button", { name: `Take ${label} off the timeline` });
  await off("FaceLedLeft0").press("Enter");
  assert.equal(await focused(page), "Take ChestLeds off the timeline");
  await off("ChestLeds").press("Enter");
  assert.equal(await focused(page), "Add an LED to the timeline");
  assert.equal(await page.evaluate(() => [...window.observed].filter((one) => !one.isConnected).length), 0);
  await close(page);
});

test("a value that was told with the focus does not stay behind it", async () => {
  const page = await open(browser, robot.url);
  const withValues = () =>
    page
      .locator(".led[role=option]")
      .evaluateAll((shapes) =>
        shapes.map((shape) => shape.getAttribute("aria-label")).filter((label) => label.includes(":")),
      );
  await page.locator(".led[role=option]").first().focus();
  await page.keyboard.press("ArrowRight");
  assert.deepEqual(await withValues(), [await focused(page)]);
  await page.locator("#pause").focus();
  assert.deepEqual(await withValues(), []);
  await close(page);
});

test("what is being read stays while values beside it change", async () => {
  const page = await open(browser, robot.url);
  const select = (selector, text) =>
    page.evaluate(
      ({ selector, text }) => {
        const found = [...document.querySelectorAll(selector)].find((one) => one.textContent === text);
        getSelection().selectAllChildren(found);
      },
      { selector, text },
    );
  const selected = () => page.evaluate(() => getSelection().toString());
  await page.locator("#tab-leds").click();
  await page.getByRole("button", { name: "EarLedLeft1", exact: true }).click();
  const row = page.locator("#point tbody tr").first();
  const name = await row.locator("th").textContent();
  for (const [selector, text] of [
    ["#point tbody th", name],
    ["#point dt", "Colour"],
  ]) {
    await select(selector, text);
    for (const value of ["0.25", "0.75"]) {
      await robot.does("setIntensity", "EarLedLeft1", value);
      const shown = (Number(value) / 2).toFixed(3); // dimmed, as this head's ears are
      await row.getByText(shown).first().waitFor();
    }
    assert.equal(await selected(), text);
  }
  await page.locator("#tab-state").click();
  for (const [selector, text] of [
    ["#state dd", "yes"],
    ["#state tbody td", "ledctl"],
  ]) {
    await page.locator("#state tbody tr").first().waitFor();
    const cell = page.locator(selector).filter({ hasText: text }).first();
    const whole = await cell.textContent();
    await select(selector, whole);
    const upFor = page.locator("#state dt").filter({ hasText: "Up for" }).locator("+ dd");
    const before = await upFor.textContent();
    await becomes(async () => (await upFor.textContent()) !== before, "another second");
    assert.equal(await selected(), whole);
  }
  await close(page);
});

test("a button copies the line, and says aloud when it could or could not", async () => {
  const page = await open(browser, robot.url, { permissions: ["clipboard-read", "clipboard-write"] });
  const button = page.getByRole("button", { name: "Copy the ledctl line" });
  const isSaid = (text) =>
    becomes(async () => (await page.locator("#announcement").textContent()) === text, `"${text}" to be said`);
  await button.click();
  await isSaid("Copied the ledctl line");
  assert.equal(
    await page.evaluate(() => navigator.clipboard.readText()),
    await page.getByLabel("the ledctl line", { exact: true }).textContent(),
  );
  await page.evaluate(() => {
    navigator.clipboard.writeText = () => Promise.reject(new Error("no"));
  });
  await button.click();
  await isSaid("Not allowed: the browser did not copy the ledctl line");
  await close(page);
});
