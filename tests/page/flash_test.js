// The flash guard: no area that the page shows flashes more than three times in any second.
import assert from "node:assert/strict";
import { test } from "node:test";
import { luminance } from "../../web/page/color.js";
import { FlashGuard } from "../../web/page/flash.js";

const FRAME = 20; // ms

/** Plays `colorAt(led, ms)` for some seconds; gives what was shown, frame by frame, and whether it was limited. */
function play(areas, leds, seconds, colorAt) {
  const guard = new FlashGuard(areas, leds);
  const asked = new Float32Array(3 * leds);
  const shown = new Float32Array(3 * leds);
  const frames = [];
  for (let now = 0; now <= seconds * 1000; now += FRAME) {
    for (let led = 0; led < leds; ++led) asked.set(colorAt(led, now), 3 * led);
    guard.apply(asked, shown, now);
    frames.push({ now, asked: [...asked], shown: [...shown], isLimiting: guard.isLimiting });
  }
  return frames;
}

const brightness = (light) => {
  let sum = 0;
  for (let i = 0; i < light.length; i += 3) sum += luminance(light[i], light[i + 1], light[i + 2]);
  return sum / (light.length / 3);
};

/** The most turns of a tenth or more in any second, counted another way: from one extreme to the next. */
function mostTurns(values) {
  const turns = [];
  let [extreme, direction] = [values[0].value, 0];
  for (const { now, value } of values) {
    const change = value - extreme;
    if (direction !== Math.sign(change) && Math.abs(change) >= 0.1) {
      direction = Math.sign(change);
      turns.push(now);
      extreme = value;
    } else if (direction !== 0 && Math.sign(change) === direction) {
      extreme = value;
    }
  }
  return Math.max(0, ...turns.map((start) => turns.filter((at) => at >= start && at < start + 1000).length));
}

const shownTurns = (frames) => mostTurns(frames.map(({ now, shown }) => ({ now, value: brightness(shown) })));
const WHITE = [1, 1, 1];
const BLACK = [0, 0, 0];
const square =
  (hertz, on = WHITE, off = BLACK) =>
  (_, now) =>
    ((now * hertz * 2) / 1000) % 2 < 1 ? on : off;

for (const hertz of [4, 5, 8, 12.5, 25]) {
  test(`a light that blinks ${hertz} times a second is limited to three flashes`, () => {
    const frames = play([[0]], 1, 6, square(hertz));
    assert.ok(frames.some((frame) => frame.isLimiting));
    assert.ok(shownTurns(frames) <= 6, `${shownTurns(frames)} turns`);
  });
}

for (const hertz of [0.5, 1, 2, 3]) {
  test(`a light that blinks ${hertz} times a second is shown as it is`, () => {
    const frames = play([[0]], 1, 5, square(hertz));
    for (const { asked, shown } of frames) assert.deepEqual(shown, asked);
  });
}

test("three quick flashes are shown as they are", () => {
  const frames = play([[0]], 1, 2, (_, now) => (now < 600 && (now / 100) % 2 < 1 ? WHITE : BLACK));
  for (const { asked, shown } of frames) assert.deepEqual(shown, asked);
});

test("saturated red counts although it is dark", () => {
  const frames = play([[0]], 1, 4, square(6, [0.12, 0, 0]));
  assert.ok(frames.some((frame) => frame.isLimiting));
});

test("swings below a tenth are no flashes", () => {
  const frames = play([[0]], 1, 3, square(10, [0.55, 0.55, 0.55], [0.5, 0.5, 0.5]));
  for (const { asked, shown } of frames) assert.deepEqual(shown, asked);
});

test("a light that turns within a ring is no flash, since the ring stays as bright", () => {
  const ring = [0, 1, 2, 3, 4, 5, 6, 7];
  const frames = play([ring], 8, 3, (led, now) => (Math.floor(now / 60) % 8 === led ? WHITE : BLACK));
  assert.ok(!frames.some((frame) => frame.isLimiting));
});

test("only the area that flashes is limited", () => {
  const frames = play([[0], [1]], 2, 3, (led, now) => (led === 0 ? square(10)(0, now) : square(1)(0, now)));
  for (const { asked, shown } of frames) assert.deepEqual(shown.slice(3), asked.slice(3));
  const turns = mostTurns(frames.map(({ now, shown }) => ({ now, value: shown[0] })));
  assert.ok(turns <= 6);
});

test("what is limited is shown as its mean", () => {
  const frames = play([[0]], 1, 8, square(10));
  const { shown } = frames.at(-1);
  assert.ok(shown[0] > 0.4 && shown[0] < 0.6, `shown ${shown[0]}`);
});

test("a pattern that becomes calm is shown as it is again", () => {
  const frames = play([[0]], 1, 8, (_, now) => (now < 3000 ? square(10)(0, now) : WHITE));
  assert.ok(!frames.at(-1).isLimiting);
  assert.deepEqual(frames.at(-1).shown, WHITE);
  assert.ok(shownTurns(frames) <= 6);
});

test("random colours are limited, whatever they are", () => {
  let seed = 1;
  const random = () => (seed = (seed * 16807) % 2147483647) / 2147483647;
  const frames = play([[0, 1]], 2, 20, () => [random(), random(), random()]);
  assert.ok(shownTurns(frames) <= 6, `${shownTurns(frames)} turns`);
});

for (const hertz of [4, 8, 12.5]) {
  test(`halves that flash in turn ${hertz} times a second are limited, though their mean is steady`, () => {
    const leds = [0, 1, 2, 3, 4, 5, 6, 7];
    const frames = play([leds], leds.length, 6, (led, now) => square(hertz)(led, now) === (led < 4 ? WHITE : BLACK)
      ? WHITE : BLACK);
    assert.ok(frames.some((frame) => frame.isLimiting));
    for (const led of leds) {
      const one = frames.map(({ now, shown }) => ({ now, value: luminance(...shown.slice(3 * led, 3 * led + 3)) }));
      const later = one.filter(({ now }) => now >= 2000);
      assert.ok(mostTurns(later) <= 6, `LED ${led}: ${mostTurns(later)} turns`);
    }
  });
}

test("one LED of many that flashes is shown as it is", () => {
  const leds = Array.from({ length: 16 }, (_, i) => i);
  const frames = play([leds], leds.length, 4, (led, now) => (led === 0 ? square(8)(led, now) : BLACK));
  assert.ok(frames.every((frame) => !frame.isLimiting));
});

test("a hundred thousand lights of their own are guarded each", () => {
  const leds = Array.from({ length: 100_000 }, (_, i) => i);
  const frames = play(
    leds.map((led) => [led]),
    leds.length,
    0.9,
    (led, now) => (led === 77 && (now / 40) % 2 < 1 ? WHITE : BLACK),
  );
  assert.ok(frames.at(-1).isLimiting);
  assert.ok(frames.at(-1).shown.every((light, i) => (i >= 231 && i < 234) === light > 0));
});
