// Where the LEDs are and what they look like: shapes as SVG paths in millimetres, y downwards as on a screen; areas
// of LEDs that lie together; the views that a stage shows. No DOM.

/**
 * @typedef {{left: number, top: number, right: number, bottom: number}} Box
 * @typedef {{led: number, path: string, x: number, y: number, size: number, wide: number, high: number, turn: number,
 *            box: Box, area: number}} Place `turn` in radians, clockwise as a screen shows it
 */

const CELL = 14; // mm, of an LED that has no position
const SECTOR_REACH = 1.5; // of an LED's width: neighbours of one ring
const REACH = 3.2;
const TINY = 1e-3; // mm

export const boxAround = (boxes) => boxes.reduce((all, box) => ({
  left: Math.min(all.left, box.left),
  top: Math.min(all.top, box.top),
  right: Math.max(all.right, box.right),
  bottom: Math.max(all.bottom, box.bottom),
}), { left: Infinity, top: Infinity, right: -Infinity, bottom: -Infinity });

/** Values in lists by what they have in common. @returns {Map<any, any[]>} */
export function groupBy(values, keyOf) {
  const lists = new Map();
  for (const value of values) {
    const key = keyOf(value);
    if (lists.has(key)) lists.get(key).push(value);
    else lists.set(key, [value]);
  }
  return lists;
}

export const padded = (box, by) => ({
  left: box.left - by, top: box.top - by, right: box.right + by, bottom: box.bottom + by,
});

export const widthOf = (box) => box.right - box.left;
export const heightOf = (box) => box.bottom - box.top;

/**
 * Places the LEDs that have a position, and the others in rows of their own.
 * @param {import("./model.js").Led[]} leds @returns {{placed: Place[], rows: Place[], rings: Ring[]}}
 */
export function placeLeds(leds) {
  const seen = leds.filter((led) => led.x !== undefined);
  const clusters = clustersOf(seen);
  const rings = clusters.map((cluster, area) => ringOf(cluster, area));
  const placed = clusters.flatMap((cluster, area) =>
    cluster.map((led) => place(led, led.x, -led.y, area, rings[area])));
  const unseen = leds.filter((led) => led.x === undefined);
  const columns = Math.ceil(Math.sqrt(unseen.length * (seen.length > 0 ? 7 : 1.3))) || 1;
  const rows = unseen.map((led, i) => {
    const scale = Math.min(1, (CELL - 4) / Math.max(led.width, led.height, 1));
    const small = { ...led, angle: 0, width: led.width * scale, height: led.height * scale };
    if (small.shape === "sector") small.shape = "circle";
    return place(small, CELL * (i % columns), CELL * Math.floor(i / columns), clusters.length + i);
  });
  return { placed, rows, rings: rings.filter(Boolean) };
}

/** LEDs that lie together, such as one eye: each list is one area. Neighbours of neighbours belong to it. */
function clustersOf(leds) {
  const group = leds.map((_, i) => i);
  const rootOf = (i) => {
    while (group[i] !== i) i = group[i] = group[group[i]];
    return i;
  };
  const join = (i, j) => (group[rootOf(j)] = rootOf(i));
  const reachOf = ({ shape, width }) => (shape === "sector" ? SECTOR_REACH : REACH) * Math.max(width, TINY);
  // Those of one kind and about one size in cells so small that all in a cell lie together.
  const kindOf = (led) => `${led.shape === "sector"} ${Math.ceil(Math.log2(reachOf(led)))}`;
  for (const [kind, members] of groupBy(leds.keys(), (i) => kindOf(leds[i]))) {
    const most = 2 ** Number(kind.split(" ")[1]);
    const cell = most / 2 / Math.SQRT2;
    const columns = new Map();
    const at = ({ x, y }) => [Math.floor(x / cell), Math.floor(y / cell)];
    for (const [column, those] of groupBy(members, (i) => at(leds[i])[0])) {
      columns.set(column, groupBy(those, (i) => at(leds[i])[1]));
      for (const together of columns.get(column).values()) for (const i of together) join(together[0], i);
    }
    // Whoever is not larger may lie within the reach of these.
    leds.forEach((led, i) => {
      if ((led.shape === "sector") !== kind.startsWith("true") || reachOf(led) > most) return;
      const [column, row] = at(led);
      for (let c = column - 3; c <= column + 3; ++c) {
        for (let r = row - 3; r <= row + 3; ++r) {
          const there = columns.get(c)?.get(r);
          if (!there || rootOf(there[0]) === rootOf(i)) continue;
          const isNear = (j) =>
            Math.hypot(led.x - leds[j].x, led.y - leds[j].y) <= Math.max(reachOf(led), reachOf(leds[j]));
          if (there.some(isNear)) join(there[0], i);
        }
      }
    });
  }
  return [...groupBy(leds.keys(), rootOf).values()].map((cluster) => cluster.map((i) => leds[i]));
}

/**
 * The ring that sectors are pieces of: a middle and a radius such that each lies where its angle says.
 * @typedef {{x: number, y: number, radius: number, thickness: number, area: number}} Ring
 * @returns {Ring|undefined}
 */
function ringOf(leds, area) {
  if (leds[0].shape !== "sector" || leds.length < 3) return undefined;
  const points = leds.map((led) => {
    const turn = (led.angle * Math.PI) / 180; // counter-clockwise from the top
    return { x: led.x, y: -led.y, dx: -Math.sin(turn), dy: -Math.cos(turn) };
  });
  const mean = (of) => points.reduce((sum, point) => sum + of(point), 0) / points.length;
  const [x, y, dx, dy] = [mean((p) => p.x), mean((p) => p.y), mean((p) => p.dx), mean((p) => p.dy)];
  const spread = mean((p) => (p.dx - dx) ** 2 + (p.dy - dy) ** 2);
  const together = mean((p) => (p.x - x) * (p.dx - dx) + (p.y - y) * (p.dy - dy));
  const radius = together / spread;
  const thickness = leds.reduce((most, led) => Math.max(most, led.height), 0);
  if (!(radius > thickness / 2) || radius > 100 * thickness) return undefined;
  return { x: x - radius * dx, y: y - radius * dy, radius, thickness, area };
}

function place(led, x, y, area, ring) {
  const size = Math.max(led.width, led.height, 0.5);
  const path = ring ? arcPath(led, ring) : led.shape === "circle" ? circlePath(x, y, size / 2) : barPath(led, x, y);
  const reach = ring || led.shape === "circle" ? size / 2 : Math.hypot(led.width, led.height) / 2 || 0.25;
  const turn = ring ? 0 : (-led.angle * Math.PI) / 180;
  const [wide, high] = ring ? [size, size] : [led.width, led.height];
  return { led: led.index, path, x, y, size, wide, high, turn, area,
    box: { left: x - reach, top: y - reach, right: x + reach, bottom: y + reach } };
}

export const n = (number) => String(Math.round(number * 100) / 100);
export const at = (x, y) => `${n(x)} ${n(y)}`;

export const circlePath = (x, y, r) =>
  `M${at(x - r, y)}A${n(r)} ${n(r)} 0 1 1 ${at(x + r, y)}A${n(r)} ${n(r)} 0 1 1 ${at(x - r, y)}Z`;

/** A rectangle with rounded ends, or a sector of no known ring, turned. */
function barPath(led, x, y) {
  const [w, h] = [Math.max(led.width, 0.5) / 2, Math.max(led.height, 0.5) / 2];
  const r = Math.min(w, h) * (led.shape === "sector" ? 0.9 : 0.45);
  const turn = (-led.angle * Math.PI) / 180;
  const to = (px, py) => at(x + px * Math.cos(turn) - py * Math.sin(turn),
    y + px * Math.sin(turn) + py * Math.cos(turn));
  const corner = (px, py) => `A${n(r)} ${n(r)} 0 0 1 ${to(px, py)}`;
  return `M${to(-w + r, -h)}L${to(w - r, -h)}${corner(w, -h + r)}L${to(w, h - r)}${corner(w - r, h)}` +
    `L${to(-w + r, h)}${corner(-w, h - r)}L${to(-w, -h + r)}${corner(-w + r, -h)}Z`;
}

/** A piece of a ring: as long as the LED is wide, as thick as it is high. */
function arcPath(led, ring) {
  const middle = Math.atan2(-led.y - ring.y, led.x - ring.x);
  const half = Math.min(led.width / ring.radius / 2, Math.PI);
  const inner = Math.max(ring.radius - led.height / 2, 0.1);
  const outer = ring.radius + led.height / 2;
  const point = (r, angle) => at(ring.x + r * Math.cos(angle), ring.y + r * Math.sin(angle));
  const isLong = half > Math.PI / 2 ? 1 : 0;
  return `M${point(outer, middle - half)}A${n(outer)} ${n(outer)} 0 ${isLong} 1 ${point(outer, middle + half)}` +
    `L${point(inner, middle + half)}A${n(inner)} ${n(inner)} 0 ${isLong} 0 ${point(inner, middle - half)}Z`;
}

/**
 * The LEDs of each area, for the flash guard. Rings of one size at one height, such as both eyes, are one.
 * @param {Place[]} places @param {Ring[]} rings
 */
export function areasOf(places, rings) {
  const pairs = new Map(rings.map(({ area, y, radius }) => [area, `ring ${Math.round(y)} ${Math.round(radius)}`]));
  const areas = groupBy(places, ({ area }) => pairs.get(area) ?? area);
  return [...areas.values()].map((area) => area.map(({ led }) => led));
}

/** The place that lies nearest in a direction; undefined when there is none. @param {Place[]} places */
export function nearest(places, from, dx, dy) {
  let best, least = Infinity;
  for (const one of places) {
    const [x, y] = [one.x - from.x, one.y - from.y];
    const along = x * dx + y * dy;
    const aside = Math.abs(x * dy - y * dx);
    if (one === from || along <= 1e-6 || aside > 3 * along) continue;
    const distance = along + 2 * aside;
    if (distance < least) [best, least] = [one, distance];
  }
  return best;
}
