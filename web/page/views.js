// How the stage is shared out: the whole robot, a closer look at the part with most LEDs, and the rows of LEDs
// without a position. No DOM.
import { boxAround, heightOf, padded, widthOf } from "./layout.js";

/**
 * @typedef {{name: string, box: import("./layout.js").Box, scale: number, left: number, top: number, width: number,
 *            height: number, places: import("./layout.js").Place[]}} View
 * `box` is in millimetres; `left`, `top`, `width`, `height` and the scale (pixels a millimetre) say where it is shown.
 */

const GAP = 12; // pixels
const FOOT = 30; // pixels, left for the meter

/**
 * @param {{placed: any[], rows: any[], body: import("./layout.js").Box, closeUp?: import("./layout.js").Box}} scene
 * @returns {View[]}
 */
export function arrange(scene, width, height) {
  const views = [];
  let room = { left: GAP, top: GAP, width: Math.max(1, width - 2 * GAP), height: Math.max(1, height - GAP - FOOT) };
  if (scene.rows.length > 0) {
    const box = padded(boxAround(scene.rows.map((place) => place.box)), 4);
    const share = scene.placed.length === 0 ? 1 : Math.min(0.35, Math.max(0.12, heightOf(box) / (widthOf(box) + 1)));
    const strip = { ...room, height: room.height * share };
    strip.top = room.top + room.height - strip.height;
    room = { ...room, height: Math.max(1, room.height - strip.height - GAP) };
    views.push(fit("rows", box, strip, scene.rows, 6));
  }
  if (scene.placed.length === 0) return views;
  const whole = padded(scene.body, Math.max(widthOf(scene.body), heightOf(scene.body)) * 0.03);
  if (!scene.closeUp) return [fit("whole", whole, room, scene.placed, 9, scene.body), ...views];
  const [far, close, box] = split(room, whole, withShoulders(scene));
  const near = scene.placed.filter((place) => isInside(place, box));
  return [fit("whole", whole, far, scene.placed, 9, scene.body), fit("close", box, close, near, 9, scene.body),
    ...views];
}

const isInside = ({ x, y }, box) => x >= box.left && x <= box.right && y >= box.top && y <= box.bottom;

/** The whole robot stands beside the closer look or under it, whichever shows it larger. */
function split(room, whole, closeUp) {
  const wide = Math.min(room.width * 0.34, (room.height * widthOf(whole)) / heightOf(whole));
  const high = room.height * 0.52;
  const ways = [
    [{ ...room, width: wide }, { ...room, left: room.left + wide + GAP, width: room.width - wide - GAP }],
    [{ ...room, top: room.top + room.height - high, height: high }, { ...room, height: room.height - high - GAP }],
  ].map(([far, close]) => [far, close, filling(closeUp, close, whole)]);
  const scaleOf = (space, box) => Math.min(space.width / widthOf(box), space.height / heightOf(box));
  const worth = ([far, close, box]) => scaleOf(close, box) * scaleOf(far, whole) ** 0.5;
  return worth(ways[1]) > worth(ways[0]) ? ways[1] : ways[0];
}

/** The closer look, wide enough for the shoulders unless that makes it much less close. */
function withShoulders({ closeUp, shoulders }) {
  if (!shoulders || widthOf(shoulders) > 1.45 * widthOf(closeUp)) return closeUp;
  return { ...closeUp, left: Math.min(closeUp.left, shoulders.left), right: Math.max(closeUp.right, shoulders.right) };
}

/** The box made higher, to show more of the body where the room is higher than it needs. */
function filling(box, room, whole) {
  const lacking = Math.min((widthOf(box) * room.height) / room.width, 1.25 * widthOf(box)) - heightOf(box);
  if (lacking <= 0) return box;
  const above = Math.min(0.16 * lacking, 0.12 * heightOf(box));
  return { ...box, top: Math.max(box.top - above, whole.top),
    bottom: Math.min(box.bottom + lacking - above, whole.bottom) };
}

/** The box in the middle of the room, as large as it fits, at most `most` pixels a millimetre. */
function fit(name, box, room, places, most, body) {
  const scale = Math.min(room.width / widthOf(box), room.height / heightOf(box), most);
  const [width, height] = [widthOf(box) * scale, heightOf(box) * scale];
  return {
    name, box, body, scale, width, height, places,
    left: room.left + (room.width - width) / 2,
    top: room.top + (room.height - height) / 2,
  };
}
