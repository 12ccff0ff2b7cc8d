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

export const boxAround = (boxes) => ({
  left: Math.min(...boxes.map((box) => box.left)),
  top: Math.min(...boxes.map((box) => box.top)),
  right: Math.max(...boxes.map((box) => box.right)),
  bottom: Math.max(...boxes.map((box) => box.bottom)),
});

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
  const rings = clusters.map((cluster, area) => ringOf(cluster, area)).filter(Boolean);
  const placed = clusters.flatMap((cluster, area) => {
    const ring = rings.find((one) => one.area === area);
    return cluster.map((led) => place(led, led.x, -led.y, area, ring));
  });
  const unseen = leds.filter((led) => led.x === undefined);
  const columns = Math.ceil(Math.sqrt(unseen.length * (seen.length > 0 ? 7 : 1.3))) || 1;
  const rows = unseen.map((led, i) => {
    const scale = Math.min(1, (CELL - 4) / Math.max(led.width, led.height, 1));
    const small = { ...led, angle: 0, width: led.width * scale, height: led.height * scale };
    if (small.shape === "sector") small.shape = "circle";
    return place(small, CELL * (i % columns), CELL * Math.floor(i / columns), clusters.length + i);
  });
  return { placed, rows, rings };
}

/** LEDs that lie together, such as one eye: each list is one area. Neighbours of neighbours belong to it. */
function clustersOf(leds) {
  const group = leds.map((_, i) => i);
  const rootOf = (i) => {
    while (group[i] !== i) i = group[i] = group[group[i]];
    return i;
  };
  leds.forEach((a, i) => {
    for (let j = i + 1; j < leds.length; ++j) {
      const b = leds[j];
      if ((a.shape === "sector") !== (b.shape === "sector")) continue;
      const reach = (a.shape === "sector" ? SECTOR_REACH : REACH) * Math.max(a.width, b.width);
      if (Math.hypot(a.x - b.x, a.y - b.y) <= reach) group[rootOf(j)] = rootOf(i);
    }
  });
  const clusters = new Map();
  leds.forEach((led, i) => clusters.set(rootOf(i), [...(clusters.get(rootOf(i)) ?? []), led]));
  return [...clusters.values()];
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
  const thickness = Math.max(...leds.map((led) => led.height));
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

const n = (number) => String(Math.round(number * 100) / 100);
const at = (x, y) => `${n(x)} ${n(y)}`;

const circlePath = (x, y, r) =>
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
  const areas = new Map();
  for (const { led, area } of places) {
    const key = pairs.get(area) ?? area;
    areas.set(key, [...(areas.get(key) ?? []), led]);
  }
  return [...areas.values()];
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
