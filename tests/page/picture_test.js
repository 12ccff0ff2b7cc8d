// Colours, places, bodies and views: what the stage shows, without a browser.
import assert from "node:assert/strict";
import { test } from "node:test";
import { askedHex, blend, parseRgb, rgbHash, rgbText, toScreen } from "../../web/page/color.js";
import { areasOf, nearest, placeLeds } from "../../web/page/layout.js";
import { bodyAround } from "../../web/page/silhouette.js";
import { arrange } from "../../web/page/views.js";

const led = (index, x, y, more = {}) => ({ index, x, y, shape: "circle", width: 6, height: 6, angle: 0, ...more });

/** Eight sectors around a middle, the first at the top, clockwise as one sees it. */
const ring = (from, x, y, radius) =>
  Array.from({ length: 8 }, (_, i) => {
    const turn = (i * Math.PI) / 4;
    const more = { shape: "sector", width: 12, height: 6, angle: (360 - 45 * i) % 360 };
    return led(from + i, x + radius * Math.sin(turn), y + radius * Math.cos(turn), more);
  });
const eyes = [...ring(0, -28, 520, 18), ...ring(8, 28, 520, 18)];

test("channels of one LED add up", () => {
  const light = blend(
    [
      { color: "red", value: 1 },
      { color: "green", value: 0.5 },
    ],
    [],
  );
  assert.deepEqual(light, [1, 0.5, 0]);
  assert.deepEqual(blend([{ color: "white", value: 0.25 }], []), [0.25, 0.25, 0.25]);
  assert.deepEqual(blend([{ color: "red", value: NaN }], []), [0, 0, 0]);
  assert.deepEqual(blend([{ color: "red", value: 7 }], []), [1, 0, 0]);
});

test("half the light looks brighter than half", () => {
  assert.equal(toScreen(0), 0);
  assert.equal(toScreen(1), 255);
  assert.equal(toScreen(0.5), 186);
});

test("colours are read and written in the ways that people use", () => {
  assert.equal(parseRgb("0xff8000"), 0xff8000);
  assert.equal(parseRgb("#ff8000"), 0xff8000);
  assert.equal(parseRgb(" 255 "), 255);
  assert.equal(parseRgb("red"), undefined);
  assert.equal(parseRgb("0x"), undefined);
  assert.equal(rgbText(255), "0x0000ff");
  assert.equal(rgbHash(0xff8000), "#ff8000");
  assert.equal(
    askedHex([
      { color: "red", value: 1 },
      { color: "blue", value: 0.5 },
    ]),
    "#ff0080",
  );
  assert.equal(askedHex([{ color: "amber", value: 1 }]), "");
});

test("sectors find their ring, and both eyes are one area", () => {
  const { placed, rings } = placeLeds(eyes);
  assert.equal(rings.length, 2);
  for (const { x, y, radius } of rings) {
    assert.ok(Math.abs(Math.abs(x) - 28) < 1e-6 && Math.abs(y + 520) < 1e-6 && Math.abs(radius - 18) < 1e-6);
  }
  assert.deepEqual(
    areasOf(placed, rings).map((area) => area.length),
    [16],
  );
  assert.deepEqual(
    areasOf(placed, []).map((area) => area.length),
    [8, 8],
  );
});

test("LEDs without a position stand in rows", () => {
  const { placed, rows } = placeLeds([
    led(0, 1, 2),
    led(1),
    led(2),
    led(3, undefined, undefined, { width: 900, height: 900 }),
  ]);
  assert.equal(placed.length, 1);
  assert.deepEqual(
    rows.map((one) => one.led),
    [1, 2, 3],
  );
  assert.ok(rows[2].box.right - rows[2].box.left < 14);
  assert.equal(new Set(rows.map((one) => one.area)).size, 3);
});

test("a head with eyes, ears and a trunk with feet is made out of positions", () => {
  const ears = [...ring(16, -92, 515, 20), ...ring(24, 92, 515, 20)];
  const below = [led(32, 0, 370), led(33, -50, 22), led(34, 50, 22)];
  const { placed, rings } = placeLeds([...eyes, ...ears, ...below]);
  const body = bodyAround(placed, rings);
  const count = (kind) => body.shapes.filter((shape) => shape.kind === kind).length;
  assert.equal(count("head"), 1);
  assert.equal(count("ear"), 2);
  assert.equal(count("trunk"), 3);
  assert.equal(body.body.bottom, Math.max(0, body.body.bottom));
  assert.ok(body.closeUp.top > body.body.top - 20 && body.closeUp.bottom < -400);
});

for (const [what, leds] of [
  ["one LED", [led(0, 0, 0)]],
  ["two in one place", [led(0, 5, 5), led(1, 5, 5)]],
  ["LEDs without size", [led(0, 0, 0, { width: 0, height: 0 }), led(1, 10000, -10000, { width: 0, height: 0 })]],
  ["five hundred", Array.from({ length: 500 }, (_, i) => led(i, (i % 25) * 12, Math.floor(i / 25) * 12))],
]) {
  test(`${what} can be drawn`, () => {
    const { placed, rows, rings } = placeLeds(leds);
    const body = bodyAround(placed, rings);
    const text = JSON.stringify([body, arrange({ placed, rows, ...body }, 300, 200)]);
    assert.ok(!/null|NaN/.test(text), text.slice(0, 300));
  });
}

const MANY = 100_000;
const inGrid = (index, more) => led(index, (index % 400) * 12, Math.floor(index / 400) * 12, more);
for (const [what, make, areas] of [
  ["in a grid", (i) => inGrid(i), 1],
  ["far from each other", (i) => inGrid(i, { width: 1, height: 1 }), MANY],
  ["of two sizes", (i) => inGrid(i, i % 2 === 0 ? { width: 1, height: 1 } : {}), 1],
  ["in one place", (i) => led(i, 5, 5), 1],
  ["in one place, without a size", (i) => led(i, 5, 5, { width: 0, height: 0 }), 1],
  ["in rings", (i) => ring(0, 500 * ((i >> 3) % 100), 500 * Math.floor(i / 800), 18)[i % 8], undefined],
  ["without a position", (i) => led(i), MANY],
]) {
  test(`a hundred thousand LEDs ${what} are placed with few looks at each`, () => {
    let looks = 0;
    const leds = Array.from({ length: MANY }, (_, i) => {
      const { x, ...rest } = make(i);
      return Object.defineProperty({ ...rest, index: i }, "x", { get: () => (++looks, x), enumerable: true });
    });
    const { placed, rows, rings } = placeLeds(leds);
    assert.ok(looks < 200 * MANY, `${looks} looks`);
    assert.equal(placed.length + rows.length, MANY);
    const found = areasOf([...placed, ...rows], rings);
    assert.equal(found.flat().length, MANY);
    if (areas) assert.equal(found.length, areas);
    else assert.equal(rings.length, MANY / 8);
    const body = placed.length > 0 ? bodyAround(placed, rings) : { shapes: [] };
    const views = arrange({ placed, rows, ...body }, 900, 700);
    assert.equal(new Set(views.flatMap((view) => view.places.map((place) => place.led))).size, MANY);
  });
}

test("LEDs lie together within the larger one's reach, and no farther", () => {
  let seed = 7;
  const random = () => (seed = (seed * 16807) % 2147483647) / 2147483647;
  const leds = Array.from({ length: 300 }, (_, i) =>
    led(i, 900 * random(), 900 * random(), { width: 40 * random() ** 4, shape: i % 3 === 0 ? "sector" : "circle" }),
  );
  const of = leds.map((_, i) => i);
  const reach = (a, b) => (a.shape === "sector" ? 1.5 : 3.2) * Math.max(a.width, b.width);
  const isNear = (a, b) =>
    (a.shape === "sector") === (b.shape === "sector") && Math.hypot(a.x - b.x, a.y - b.y) <= reach(a, b);
  leds.forEach((a, i) =>
    leds.forEach((b, j) => {
      if (isNear(a, b) && of[i] !== of[j]) of.forEach((one, k) => one === of[j] && k !== j && (of[k] = of[i]));
      if (isNear(a, b)) of[j] = of[i];
    }),
  );
  const { placed } = placeLeds(leds);
  const area = new Map(placed.map((place) => [place.led, place.area]));
  const groups = new Set(of);
  assert.ok(groups.size > 30 && groups.size < 270, `${groups.size} areas`);
  assert.equal(new Set(area.values()).size, groups.size);
  leds.forEach((_, i) => assert.equal(new Set(of.flatMap((one, j) => (one === of[i] ? [area.get(j)] : []))).size, 1));
});

test("views stay on the stage and show every LED", () => {
  const leds = [...eyes, led(16, 0, 370), led(17, -50, 22), led(18, 50, 22), led(19)];
  const { placed, rows, rings } = placeLeds(leds);
  const scene = { placed, rows, ...bodyAround(placed, rings) };
  for (const [width, height] of [
    [320, 280],
    [560, 700],
    [900, 560],
    [2000, 900],
    [5, 5],
  ]) {
    const views = arrange(scene, width, height);
    assert.equal(new Set(views.flatMap((view) => view.places.map((place) => place.led))).size, 20);
    for (const view of views) {
      assert.ok(
        view.left >= 0 && view.top >= 0 && view.left + view.width <= Math.max(width, 13) + 0.01,
        JSON.stringify(view.box),
      );
      assert.ok(view.top + view.height <= Math.max(height, 13) + 0.01);
    }
  }
});

test("arrow keys go to the nearest LED on that side", () => {
  const spots = [
    { x: 0, y: 0 },
    { x: 10, y: 1 },
    { x: 30, y: 0 },
    { x: 2, y: 12 },
  ];
  assert.equal(nearest(spots, spots[0], 1, 0), spots[1]);
  assert.equal(nearest(spots, spots[1], 1, 0), spots[2]);
  assert.equal(nearest(spots, spots[0], 0, 1), spots[3]);
  assert.equal(nearest(spots, spots[0], -1, 0), undefined);
});
