// No violations of accessibility that axe finds, whatever is open.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { choose, close, isMissing, open, play, stage, type } from "./browser.js";
import { Robot } from "./robot.js";

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const WIDTHS = [360, 1024, 1600];

const { robot, browser } = await stage();
await robot.does("fadeRGB", "AllLeds", "0x00a0ff", "0");

const violations = (page) =>
  page.evaluate(async () => {
    const found = await window.axe.run(document, { resultTypes: ["violations"] });
    return found.violations.map(
      ({ id, nodes }) => `${id}: ${nodes.map(({ html }) => html.slice(0, 160)).join(" | ")}`,
    );
  });

for (const colorScheme of ["dark", "light"]) {
  for (const width of WIDTHS) {
    test(`axe finds nothing in the ${colorScheme} theme at ${width} pixels, with each panel open`, async () => {
      const page = await open(browser, robot.url, { colorScheme, viewport: { width, height: 900 } });
      await page.evaluate(AXE);
      const tabs = page.locator("#tabs button:not([hidden])");
      for (let i = 0; i < (await tabs.count()); ++i) {
        await tabs.nth(i).click();
        assert.deepEqual(await violations(page), [], await tabs.nth(i).textContent());
      }
      await page.locator("#tab-leds").click();
      await page.getByRole("button", { name: "EarLedLeft3", exact: true }).click();
      await page
        .locator("#point .facts")
        .getByText(/HBLeds\.fadeRGB/)
        .waitFor();
      assert.deepEqual(await violations(page), [], "an LED that is pointed at");
      if (width < 1200) await page.locator("#tab-play").click();
      await choose(page, "setIntensity name, intensity");
      await type(page, "name", "Nose");
      await play(page);
      await page.locator(".field .error").filter({ hasText: "Nose" }).waitFor();
      assert.deepEqual(await violations(page), [], "an error");
      await close(page);
    });
  }
}

test("axe finds nothing while the robot is gone", async (t) => {
  const gone = await Robot.start();
  t.after(() => gone.stop());
  const page = await open(browser, gone.url);
  await page.evaluate(AXE);
  await gone.stop();
  await isMissing(page);
  assert.deepEqual(await violations(page), []);
  await page.context().close(); // whose connections fail by now, and are complained of
});

test("axe finds nothing in the question for a token", async () => {
  const folder = mkdtempSync(join(tmpdir(), "page-"));
  const tokens = join(folder, "tokens");
  writeFileSync(tokens, "operator 3q8hVn2TzL0cYb7RkXs4\n", { mode: 0o600 });
  const guarded = await Robot.start({ args: ["--tokens", tokens] });
  try {
    const page = await browser.newPage();
    await page.addInitScript(() => sessionStorage.setItem("token", "wrong-wrong-wrong-wrong"));
    await page.goto(guarded.url);
    await page.getByLabel("Token", { exact: true }).waitFor();
    await page.evaluate(AXE);
    assert.deepEqual(await violations(page), []);
    await page.close();
  } finally {
    await guarded.stop();
    rmSync(folder, { recursive: true });
  }
});

test("axe can find something", async () => {
  const page = await open(browser, robot.url);
  await page.evaluate(AXE);
  await page.evaluate(() => {
    const image = document.createElement("img");
    image.src = "icon.svg";
    document.querySelector("main").append(image);
  });
  assert.match((await violations(page)).join(), /image-alt/);
  await close(page);
});
