// Paints the robot on a canvas: body and dark glass once, then only LEDs whose light changed and what their glow
// reaches.
import { toScreen } from "./color.js";
import { groupBy } from "./layout.js";

const DARK = 0.004; // light below this is off
const REACH = 1.9; // of an LED's size: how far beyond it its glow goes
const MOST_PATCHES = 60;
const DOT = 3; // pixels: smaller LEDs are painted as plain dots

/** Of each part: lit from above, in the shade, its edge. */
const BODY = {
  floor: ["rgb(140 170 205 / 0.05)", "rgb(140 170 205 / 0.05)", "transparent"],
  limb: ["#2b3440", "#181d25", "#3a4552"],
  trunk: ["#414d5c", "#1f262f", "#56646f"],
  ear: ["#3f4a58", "#222932", "#566474"],
  head: ["#505d6e", "#262e38", "#6b7a8c"],
  glass: ["#0f1319", "#06080b", "#2b3440"],
  socket: ["#11151b", "#080a0d", "#2c3540"],
  lens: ["#1b222b", "#090c10", "#2b3540"],
};
const LENS_VEIL = 0.72; // how much of a glow a lens hides

export class Painter {
  /** @param {HTMLCanvasElement} canvas */
  constructor(canvas) {
    this.canvas = canvas;
    this.context = canvas.getContext("2d");
    this.base = document.createElement("canvas");
    this.views = [];
  }

  /**
   * Takes over what there is to paint and how large; paints nothing yet.
   * @param {import("./views.js").View[]} views @param {import("./silhouette.js").Shape[]} shapes
   */
  arrange(views, shapes, width, height) {
    this.ratio = Math.min(window.devicePixelRatio || 1, 2);
    for (const canvas of [this.canvas, this.base]) {
      canvas.width = Math.round(width * this.ratio);
      canvas.height = Math.round(height * this.ratio);
    }
    this.views = views.map((view) => {
      const areas = groupBy(view.places, ({ area }) => area);
      const lamps = view.places.map((place) => lampOf(place, view, areas.get(place.area).length));
      for (const lamp of lamps) lamp.reach = this.xDevicePixels(lamp.reach);
      return { ...view, lamps };
    });
    this.lamps = new Map();
    for (const view of this.views) {
      for (const lamp of view.lamps) this.lamps.set(lamp.led, [...(this.lamps.get(lamp.led) ?? []), { lamp, view }]);
    }
    const context = this.base.getContext("2d");
    this.lenses = shapes.filter(({ kind }) => kind === "lens");
    for (const view of this.views) {
      this.xEnter(context, view);
      for (const shape of view.name === "rows" ? [plateUnder(view)] : shapes) paintShape(context, shape, view);
      for (const lamp of view.lamps) paintGlass(context, lamp);
      context.restore();
    }
  }

  /** Paints all. @param {Float32Array} light linear, three numbers an LED */
  paintAll(light) {
    this.xPatch(light, [{ left: 0, top: 0, right: this.canvas.width, bottom: this.canvas.height }], true);
  }

  /** Paints what changed. @param {Iterable<number>} leds */
  paint(light, leds) {
    const patches = [];
    for (const led of leds) {
      for (const { lamp } of this.lamps.get(led) ?? []) patches.push(lamp.reach);
      if (patches.length > MOST_PATCHES) return this.paintAll(light);
    }
    if (patches.length > 0) this.xPatch(light, patches, false);
  }

  /** Restores the dark robot within the patches and lights what reaches into them. */
  xPatch(light, patches, isAll) {
    const context = this.context;
    context.save();
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.beginPath();
    for (const { left, top, right, bottom } of patches) context.rect(left, top, right - left, bottom - top);
    context.clip();
    context.clearRect(0, 0, this.canvas.width, this.canvas.height);
    context.drawImage(this.base, 0, 0);
    for (const view of this.views) {
      const lit = view.lamps.filter(({ led, reach }) => {
        if (Math.max(light[3 * led], light[3 * led + 1], light[3 * led + 2]) < DARK) return false;
        return isAll || patches.some((patch) => touches(patch, reach));
      });
      this.xEnter(context, view);
      context.globalCompositeOperation = "lighter";
      for (const lamp of lit) if (!lamp.isDot) paintGlow(context, lamp, light);
      context.globalCompositeOperation = "source-over";
      context.globalAlpha = LENS_VEIL;
      if (lit.length > 0 && view.name !== "rows") for (const lens of this.lenses) paintShape(context, lens, view);
      context.globalAlpha = 1;
      for (const lamp of lit) paintLight(context, lamp, light);
      context.restore();
    }
    context.restore();
  }

  /** Lets millimetres of a view be painted, within its frame. */
  xEnter(context, view) {
    const scale = view.scale * this.ratio;
    context.save();
    if (view.name === "close") {
      const edge = [view.left, view.top, view.width, view.height].map((number) => number * this.ratio);
      context.beginPath();
      context.roundRect(...edge, 18 * this.ratio);
      context.clip();
    }
    context.transform(scale, 0, 0, scale, (view.left - view.box.left * view.scale) * this.ratio,
      (view.top - view.box.top * view.scale) * this.ratio);
  }

  xDevicePixels({ left, top, right, bottom }) {
    const { ratio } = this;
    return {
      left: Math.floor(left * ratio), top: Math.floor(top * ratio), right: Math.ceil(right * ratio),
        bottom: Math.ceil(bottom * ratio),
    };
  }
}

/** What LEDs without a position are mounted on. */
const plateUnder = ({ box }) => ({
  kind: "limb", path: `M${box.left} ${box.top}H${box.right}V${box.bottom}H${box.left}Z`,
});

const touches = (a, b) => a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;

/** An LED as one view shows it, among so many of its area; `reach` in pixels of the page. */
function lampOf(place, view, together) {
  const { wide, high, turn } = place;
  const spread = REACH * Math.min(Math.max(wide, high), 1.2 * Math.min(wide, high) + 0.12 * Math.max(wide, high)) + 2;
  const glow = { across: wide / 2 + spread, along: high / 2 + spread, turn };
  const x = view.left + (place.x - view.box.left) * view.scale;
  const y = view.top + (place.y - view.box.top) * view.scale;
  const by = Math.max(glow.across, glow.along) * view.scale + 1;
  // Many together light what is around them together.
  const strength = Math.min(1, 1.7 / Math.sqrt(together));
  const isDot = Math.max(wide, high) * view.scale < DOT;
  return { ...place, isDot, shape: isDot ? undefined : new Path2D(place.path), glow, strength,
    reach: { left: x - by, top: y - by, right: x + by, bottom: y + by } };
}

function paintShape(context, { kind, path, thick, box = undefined }, view) {
  const [above, below, edge] = BODY[kind];
  const shape = new Path2D(path);
  const { left, top, right, bottom } = box ?? view.body ?? view.box;
  const shade = context.createLinearGradient(0, top, 0, bottom);
  shade.addColorStop(0, above);
  shade.addColorStop(1, below);
  const line = Math.min(1.2 / view.scale, 0.01 * (right - left));
  context.strokeStyle = edge;
  context.fillStyle = shade;
  if (thick) {
    context.lineCap = "round";
    context.lineWidth = thick;
    context.stroke(shape);
    context.strokeStyle = shade;
    context.lineWidth = thick - 2 * line;
    context.stroke(shape);
    return;
  }
  context.fill(shape);
  if (box) {
    context.fillStyle = roundness(context, left, right);
    context.fill(shape);
  }
  context.lineWidth = line;
  context.stroke(shape);
}

/** What makes a flat part look round: the light comes from the front, a little from the left. */
function roundness(context, left, right) {
  const shade = context.createLinearGradient(left, 0, right, 0);
  for (const [at, color] of [[0, "rgb(0 0 0 / 0.42)"], [0.16, "rgb(0 0 0 / 0.12)"], [0.4, "rgb(200 220 255 / 0.07)"],
    [0.74, "rgb(0 0 0 / 0.1)"], [1, "rgb(0 0 0 / 0.5)"]]) shade.addColorStop(at, color);
  return shade;
}

/** An LED that is off: dark glass with a glint. */
function paintGlass(context, lamp) {
  const { shape, x, y, size } = lamp;
  if (lamp.isDot) return paintDot(context, lamp, "#1b222b");
  context.fillStyle = "#0b0f14";
  context.fill(shape);
  const glint = context.createRadialGradient(x - 0.14 * size, y - 0.2 * size, 0, x, y, 0.62 * size);
  glint.addColorStop(0, "rgb(176 200 230 / 0.3)");
  glint.addColorStop(0.55, "rgb(150 175 205 / 0.1)");
  glint.addColorStop(1, "rgb(150 175 205 / 0.04)");
  context.fillStyle = glint;
  context.fill(shape);
  context.strokeStyle = "rgb(160 180 205 / 0.3)";
  context.lineWidth = Math.min(Math.max(0.25, size * 0.035), 0.8);
  context.stroke(shape);
}

function paintDot(context, { x, y, wide, high }, color) {
  context.fillStyle = color;
  context.fillRect(x - wide / 2, y - high / 2, wide, high);
}

const screen = (light, led) => [toScreen(light[3 * led]), toScreen(light[3 * led + 1]), toScreen(light[3 * led + 2])];

/** Its light on what is around it. */
function paintGlow(context, { x, y, glow, led, strength: share }, light) {
  const color = screen(light, led).join(" ");
  const strength = share * Math.max(light[3 * led], light[3 * led + 1], light[3 * led + 2]) ** 0.5;
  const shade = context.createRadialGradient(0, 0, 0, 0, 0, 1);
  for (const [at, alpha] of [[0, 0.36], [0.3, 0.17], [0.62, 0.05], [1, 0]]) shade.addColorStop(at,
    `rgb(${color} / ${alpha * strength})`);
  context.save();
  context.translate(x, y);
  context.rotate(glow.turn);
  context.scale(glow.across, glow.along);
  context.fillStyle = shade;
  context.fillRect(-1, -1, 2, 2);
  context.restore();
}

/** The LED itself, its middle a little whiter. */
function paintLight(context, lamp, light) {
  const { shape, x, y, size } = lamp;
  const color = screen(light, lamp.led);
  if (lamp.isDot) return paintDot(context, lamp, `rgb(${color.join(" ")})`);
  context.fillStyle = "#05070a";
  context.fill(shape);
  const hot = color.map((value) => Math.round(value + 0.28 * (Math.max(...color) - value)));
  const shade = context.createRadialGradient(x, y, 0, x, y, size * 0.62);
  shade.addColorStop(0, `rgb(${hot.join(" ")})`);
  shade.addColorStop(1, `rgb(${color.join(" ")})`);
  context.fillStyle = shade;
  context.fill(shape);
}
