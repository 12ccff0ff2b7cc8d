// No violations of accessibility that axe finds, whatever is open.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { after, before, test } from "node:test";
import { choose, close, launch, open, play, type } from "./browser.js";
import { Robot } from "./robot.js";

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const WIDTHS = [360, 1024, 1600];

let robot, browser;
before(async () => {
  [robot, browser] = await Promise.all([Robot.start(), launch()]);
  await robot.does("fadeRGB", "AllLeds", "0x00a0ff", "0");
});
after(async () => {
  await browser?.close();
  await robot?.stop();
});

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

test("axe finds nothing while the robot is gone, and in the question for a token", async () => {
  const page = await open(browser, robot.url);
  await page.evaluate(AXE);
  await page.evaluate(() => {
    document.querySelector("#link-state").dataset.state = "lost";
    document.querySelector("#link-state").textContent = "The robot is gone; looking for it…";
    document.querySelector("#token-dialog").showModal();
  });
  assert.deepEqual(await violations(page), []);
  await close(page);
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
