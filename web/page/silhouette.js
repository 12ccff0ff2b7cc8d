// A faint body around the LEDs, made from nothing but where they are: the topmost LEDs make a head, a pair outside of
// it ears, a pair near the ground feet; what is between makes a trunk. Any model gets one. Millimetres, y downwards.
import { at as p, boxAround, circlePath, heightOf, n, padded, widthOf } from "./layout.js";

/**
 * @typedef {{kind: "floor"|"limb"|"trunk"|"ear"|"head"|"glass"|"socket"|"lens", path: string, thick?: number,
 *            box?: import("./layout.js").Box}} Shape back to front; one with `thick` is a line of that thickness, one
 * with a box is lit as a body of that size
 * @typedef {{shapes: Shape[], body: import("./layout.js").Box, closeUp?: import("./layout.js").Box,
 *            shoulders?: import("./layout.js").Box}} Body
 */

const MANY = 4; // LEDs that are worth a closer look

/** @param {import("./layout.js").Place[]} places @param {import("./layout.js").Ring[]} rings @returns {Body} */
export function bodyAround(places, rings) {
  const bands = bandsOf(places);
  if (bands.length === 1 && rings.length === 0 && places.length > MANY) return plateAround(places);
  const head = headAround(bands[0], rings);
  if (bands.length === 1) {
    return { shapes: [...head.shapes, ...sockets(rings, head)], body: head.box };
  }
  const lower = bands.slice(1);
  const ground = groundUnder(places, head.box.top);
  const trunk = trunkUnder(head, lower, ground);
  const shapes = [...trunk.shapes, ...head.shapes, ...sockets(rings, head)];
  const body = boxAround([head.box, trunk.box]);
  const most = bands.reduce((a, b) => (b.length > a.length ? b : a));
  if (most.length < MANY) return { shapes, body };
  const near = most === bands[0] ? head.box : boxAround(most.map((place) => place.box));
  const closeUp = padded(near, Math.max(widthOf(near), heightOf(near)) * 0.05);
  return { shapes, body, closeUp, shoulders: trunk.shoulders };
}

/** A plain plate: many LEDs that make nothing out. */
function plateAround(places) {
  const all = boxAround(places.map((place) => place.box));
  const box = padded(all, 0.06 * Math.max(widthOf(all), heightOf(all)) + 2);
  return { shapes: [{ kind: "head", path: roundedPath(box, 0.1 * Math.min(widthOf(box), heightOf(box))), box }],
    body: box };
}

/** LEDs in bands from top to bottom, with gaps between them. */
function bandsOf(places) {
  const sorted = [...places].sort((a, b) => a.box.top - b.box.top);
  const all = boxAround(places.map((place) => place.box));
  const gap = Math.max(0.12 * heightOf(all), 8);
  const bands = [];
  let bottom = -Infinity;
  for (const place of sorted) {
    if (bands.length === 0 || place.box.top - bottom > gap) bands.push([]);
    bands.at(-1).push(place);
    bottom = Math.max(bottom, place.box.bottom);
  }
  return bands;
}

/** The areas of a band, each with its box. */
function areasIn(band) {
  const boxes = new Map();
  for (const { area, box } of band) boxes.set(area, boxes.has(area) ? boxAround([boxes.get(area), box]) : box);
  return [...boxes].map(([area, box]) => ({ area, box }));
}

/** Two areas that lie left and right of all others, as far out as each other: ears. */
function earsOf(areas) {
  if (areas.length < 3) return [];
  const sorted = [...areas].sort((a, b) => a.box.left + a.box.right - b.box.left - b.box.right);
  const [left, right, inner] = [sorted[0].box, sorted.at(-1).box, boxAround(sorted.slice(1, -1).map((one) => one.box))];
  const isOutside = left.right <= inner.left && right.left >= inner.right;
  const isEven = Math.abs((left.top + left.bottom - right.top - right.bottom) / 2) < heightOf(left) / 2;
  return isOutside && isEven ? [sorted[0], sorted.at(-1)] : [];
}

function headAround(band, rings) {
  const areas = areasIn(band);
  const ears = earsOf(areas);
  const inside = boxAround(areas.filter((one) => !ears.includes(one)).map((one) => one.box));
  const all = boxAround(band.map((place) => place.box));
  const x = ears.length > 0 ? (all.left + all.right) / 2 : (inside.left + inside.right) / 2;
  const reach = Math.max(inside.right - x, x - inside.left);
  let half = reach * 1.28 + 4;
  if (ears.length > 0) half = Math.max(reach * 1.1, Math.min(half, ears[1].box.left - x + 4));
  let [top, bottom] = [inside.top - 0.26 * reach - 3, inside.bottom + 0.62 * reach + 3];
  const lacking = 1.66 * half - (bottom - top);
  if (lacking > 0) [top, bottom] = [top - 0.6 * lacking, bottom + 0.4 * lacking];
  const box = { left: x - half, right: x + half, top, bottom };
  const shapes = ears.map(({ area, box: ear }) => ({ kind: "ear",
    path: earPath(ear, rings.find((one) => one.area === area)), box: padded(ear, 3) }));
  shapes.push({ kind: "head", path: bodyPath(HEAD, box), box });
  const inner = new Set(areas.filter((one) => !ears.includes(one)).map(({ area }) => area));
  const eyes = rings.filter((ring) => inner.has(ring.area));
  if (eyes.length > 0) {
    const visor = padded(boxAround(eyes.map(ringBox)), 0.35 * eyes[0].thickness);
    shapes.push({ kind: "glass", path: roundedPath(visor, heightOf(visor) / 2) });
  }
  const earBoxes = ears.map((one) => padded(one.box, 0.1 * widthOf(one.box)));
  return { box: boxAround([box, ...earBoxes]), skull: box, x, half, shapes, eyes };
}

const ringBox = ({ x, y, radius, thickness }) => {
  const reach = radius + thickness / 2;
  return { left: x - reach, right: x + reach, top: y - reach, bottom: y + reach };
};

const earPath = (box, ring) =>
  ring ? circlePath(ring.x, ring.y, ring.radius + ring.thickness) : roundedPath(padded(box, 3), 0.4 * widthOf(box) + 3);

/** The dark plate behind each ring, and the lens within. */
function sockets(rings, head) {
  const eyes = new Set(head.eyes);
  return rings.flatMap((ring) => {
    const inner = ring.radius - 0.85 * ring.thickness;
    const shapes = eyes.has(ring) ? []
      : [{ kind: "socket", path: circlePath(ring.x, ring.y, ring.radius + 0.8 * ring.thickness) }];
    return inner > 0 ? [...shapes, { kind: "lens", path: circlePath(ring.x, ring.y, inner) }] : shapes;
  });
}

/** The origin's height where the LEDs stand above it, as on a robot measured from the ground; else a little below. */
function groundUnder(places, top) {
  const all = boxAround(places.map((place) => place.box));
  const isMeasured = all.bottom <= 0 && heightOf(all) >= 0.1 * -top;
  return isMeasured ? 0 : all.bottom + 0.15 * heightOf(all);
}

function trunkUnder(head, bands, ground) {
  const { x } = head;
  const shoulder = head.skull.bottom + 0.1 * head.half;
  const feet = feetOf(bands.at(-1), x, ground, shoulder);
  const carried = (feet ? bands.slice(0, -1) : bands).flat();
  const all = boxAround(carried.map((place) => place.box));
  const reach = Math.max(0, all.right - x, x - all.left);
  const half = Math.max(1.1 * reach, 0.92 * head.half);
  const lowest = Math.max(shoulder + 1.5 * half, all.bottom + 0.5 * half);
  const hip = feet ? Math.min(Math.max(lowest, shoulder + 0.5 * (ground - shoulder)), ground) : ground;
  const hand = feet ? hip + 0.1 * half : Math.min(shoulder + 0.52 * (ground - shoulder), shoulder + 3.2 * half);
  const neck = { kind: "limb",
    path: `M${p(x, head.skull.bottom - 0.3 * head.half)}L${p(x, shoulder + 0.3 * head.half)}`,
    thick: 0.55 * head.half };
  const shapes = [floor(x, half, ground), neck, ...arms(x, half, shoulder, hand)];
  if (feet) {
    shapes.push(...feet.map((foot) => leg(x, half, hip, foot)));
    shapes.push(...feet.map((foot) => ({ kind: "trunk", path: roundedPath(foot, 0.42 * heightOf(foot)), box: foot })));
  }
  const box = { left: x - half, right: x + half, top: shoulder, bottom: hip };
  shapes.push({ kind: "trunk", path: bodyPath(feet ? TORSO : GOWN, box), box });
  const arm = half * 1.62;
  return { shapes, shoulders: padded(box, 0.2 * half), box: { left: x - arm, right: x + arm, top: shoulder,
    bottom: ground + 0.1 * half } };
}

/** The boxes of two feet, when the lowest band is a pair near the ground. */
function feetOf(band, x, ground, shoulder) {
  const sides = [band.filter((place) => place.x < x), band.filter((place) => place.x > x)];
  if (sides.some((side) => side.length === 0)) return undefined;
  const boxes = sides.map((side) => boxAround(side.map((place) => place.box)));
  if (boxes[0].right >= x || boxes[1].left <= x) return undefined;
  if (ground - Math.min(boxes[0].top, boxes[1].top) > 0.2 * (ground - shoulder)) return undefined;
  return boxes.map((box) => {
    const wide = padded(box, 0.24 * widthOf(box));
    return { ...wide, top: Math.min(box.top, ground - 0.8 * widthOf(wide)), bottom: ground };
  });
}

function arms(x, half, shoulder, hand) {
  const top = shoulder + 0.32 * half;
  return [-1, 1].map((side) => {
    const at = (across, down) => p(x + side * across * half, down);
    const path = `M${at(0.98, top)}Q${at(1.46, top + 0.35 * (hand - top))} ${at(1.36, hand)}`;
    return { kind: "limb", path, thick: 0.34 * half };
  });
}

function leg(x, half, hip, foot) {
  const ankle = (foot.left + foot.right) / 2;
  const from = x + Math.sign(ankle - x) * 0.42 * half;
  return { kind: "limb", path: `M${p(from, hip - 0.3 * half)}L${p(ankle, foot.top + 0.2 * heightOf(foot))}`,
    thick: 0.52 * half };
}

/** A faint reflection of the light on the ground. */
function floor(x, half, ground) {
  const [wide, high] = [1.9 * half, 0.2 * half];
  const arc = (to) => `A${n(wide)} ${n(high)} 0 1 1 ${p(to, ground)}`;
  return { kind: "floor", path: `M${p(x - wide, ground)}${arc(x + wide)}${arc(x - wide)}Z` };
}

function roundedPath({ left, top, right, bottom }, radius) {
  const r = Math.min(radius, (right - left) / 2, (bottom - top) / 2);
  const turn = (x, y) => `A${n(r)} ${n(r)} 0 0 1 ${p(x, y)}`;
  return `M${p(left + r, top)}L${p(right - r, top)}${turn(right, top + r)}L${p(right, bottom - r)}` +
    turn(right - r, bottom) +
    `L${p(left + r, bottom)}${turn(left, bottom - r)}L${p(left, top + r)}${turn(left + r, top)}Z`;
}

/**
 * Outlines of parts, from the middle or the neck down their right side: curves of three points each; how far out in
 * halves of the part's width, how far down in its heights.
 */
const HEAD = [[0, 0], [0.68, 0], [1, 0.14], [1, 0.47], [1, 0.74], [0.8, 1], [0.4, 1]];
/** Shoulders that narrow to the hips. */
const TORSO = [[0.5, 0], [1.04, 0], [1.04, 0.1], [1.04, 0.3], [1.04, 0.62], [0.8, 0.7], [0.8, 0.84], [0.8, 1], [0.4, 1],
  [0.4, 1]];
/** Shoulders, a waist, and a wide foot: for robots whose LEDs tell of no feet. */
const GOWN = [[0.45, 0], [0.95, 0], [1.1, 0.03], [1.06, 0.13], [1, 0.3], [0.64, 0.32], [0.62, 0.5], [0.6, 0.66],
  [0.82, 0.72], [0.84, 0.92],
  [0.85, 0.98], [0.8, 1], [0.6, 1]];

/** An outline and its mirror image. */
function bodyPath(outline, { left, right, top, bottom }) {
  const [x, half, height] = [(left + right) / 2, (right - left) / 2, bottom - top];
  const side = (sign) => outline.map(([across, down]) => p(x + sign * across * half, top + down * height));
  const [there, back] = [side(1), side(-1).reverse()];
  return `M${there[0]}C${there.slice(1).join(" ")}L${back[0]}C${back.slice(1).join(" ")}Z`;
}
