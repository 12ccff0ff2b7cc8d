// The robot on the stage: its picture, and over it one shape an LED that pointer and keyboard reach.
import { askedHex } from "./color.js";
import { fill, furnish, setText, svg } from "./dom.js";
import { areasOf, nearest, placeLeds } from "./layout.js";
import { Painter } from "./paint.js";
import { bodyAround } from "./silhouette.js";
import { percent, valuesText } from "./value.js";
import { arrange } from "./views.js";

const ARROWS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

const CROWD = 2000; // LEDs that are too many to give each an element
const REST = { tabindex: "-1", "aria-selected": "false" };

const shapeOf = ({ led, path }) => ({ class: "led", d: path, "data-led": led });

export class Stage {
  /** @param {HTMLElement} root @param {{onHover: (led?: number) => void, onSelect: (led: number) => void}} handlers */
  constructor(root, handlers) {
    this.root = root;
    this.handlers = handlers;
    this.tip = root.querySelector("#tip");
    this.painter = new Painter(root.querySelector("canvas"));
    this.overlay = svg("svg", { role: "listbox", "aria-label": "LEDs; arrow keys go to the nearest one" });
    root.querySelector("canvas").after(this.overlay);
    this.overlay.addEventListener("keydown", (event) => this.xKey(event));
    this.overlay.addEventListener("focusin", ({ target }) => this.xFocus(target));
    this.overlay.addEventListener("focusout", ({ target }) => this.xBlur(target));
    this.overlay.addEventListener("pointerover", ({ target }) => this.xHover(target));
    this.overlay.addEventListener("pointerleave", () => this.xHover(undefined));
    for (const event of ["pointermove", "pointerdown"]) this.overlay.addEventListener(event, (at) => this.xMeet(at));
    this.overlay.addEventListener("click", ({ target }) => this.xClick(target));
    new ResizeObserver(() => this.arrange()).observe(root);
  }

  /** Shows another robot. @param {import("./model.js").Model} model @returns {number[][]} its areas of LEDs */
  show(model) {
    const { placed, rows, rings } = placeLeds(model.leds);
    const body = placed.length > 0 ? bodyAround(placed, rings) : { shapes: [], body: undefined };
    this.model = model;
    this.scene = { placed, rows, ...body };
    this.selected = undefined;
    this.live = undefined;
    return areasOf([...placed, ...rows], rings);
  }

  /** @param {import("./live.js").Live} live what the LEDs are */
  follow(live) {
    this.live = live;
    this.arrange();
  }

  /** Fits the robot into the stage as large as it is now. */
  arrange() {
    const { width, height } = this.root.getBoundingClientRect();
    if (!this.live || width < 2 || height < 2) return;
    const views = arrange(this.scene, width, height);
    this.painter.arrange(views, this.scene.shapes, width, height);
    this.painter.paintAll(this.live.shown);
    this.xOverlay(views);
  }

  paint(leds) {
    this.painter.paint(this.live.shown, leds);
  }

  /** Outlines these LEDs. @param {Set<number>} leds */
  outline(leds) {
    this.outlined = leds;
    if (this.isCrowd) {
      for (const spot of this.spots) if (spot.shape && spot !== this.current) spot.shape = void spot.shape.remove();
      for (const spot of this.spots.filter(({ led }) => leds.has(led)).slice(0, CROWD)) this.xShape(spot);
    }
    for (const shape of this.overlay.querySelectorAll(".led")) shape.classList.toggle("grouped",
      leds.has(Number(shape.dataset.led)));
  }

  /** One LED at a time is a stop of the tab key. @param {number|undefined} led */
  select(led) {
    this.selected = led;
    const spot = this.spots.find((one) => one.led === led);
    for (const shape of this.overlay.querySelectorAll("[role=option]")) furnish(shape, REST);
    this.current = spot ?? this.spots[0];
    if (this.current) furnish(this.xShape(this.current), { tabindex: "0", "aria-selected": String(Boolean(spot)) });
  }

  /** Of very many LEDs only those have a shape that are pointed at, gone to, or outlined. */
  xOverlay(views) {
    const hadFocus = this.overlay.contains(document.activeElement);
    const whole = views.find((view) => view.name === "whole");
    const close = views.find((view) => view.name === "close");
    const isClose = new Set(close?.places.map((place) => place.led));
    this.isCrowd = this.model.leds.length > CROWD;
    this.spots = [];
    const layers = views.map((view) => {
      const [left, top] = [view.left - view.box.left * view.scale, view.top - view.box.top * view.scale];
      const layer = svg("g", { transform: `translate(${left} ${top}) scale(${view.scale})` });
      for (const place of view.places) {
        const { led, path, size } = place;
        // Of an LED that a closer look shows too, that one is for keyboard and screen reader.
        const isTwin = view === whole && isClose.has(led);
        const spot = { led, path, layer, x: left + place.x * view.scale, y: top + place.y * view.scale,
          reach: Math.max(2, (size / 2) * view.scale) };
        if (!isTwin) this.spots.push(spot);
        else if (!this.isCrowd) layer.append(svg("path", { ...shapeOf(spot), "aria-hidden": "true" }));
      }
      return layer;
    });
    fill(this.overlay, ...(close ? frames(whole, close) : []), ...layers);
    if (!this.isCrowd) for (const spot of this.spots) this.xShape(spot);
    this.spots.sort((a, b) => a.led - b.led);
    this.select(this.selected);
    if (this.outlined) this.outline(this.outlined);
    if (hadFocus) this.current?.shape.focus();
  }

  xShape(spot) {
    if (!spot.shape) {
      spot.shape = svg("path", { ...shapeOf(spot), ...REST, role: "option",
        "aria-label": this.model.leds[spot.led].label });
      spot.layer.append(spot.shape);
    }
    return spot.shape;
  }

  /** Gives the LED under the pointer the shape that the pointer meets next. */
  xMeet({ clientX, clientY }) {
    if (!this.isCrowd) return;
    const { left, top } = this.root.getBoundingClientRect();
    const [x, y] = [clientX - left, clientY - top];
    const spot = this.spots.find((one) => Math.abs(one.x - x) <= one.reach && Math.abs(one.y - y) <= one.reach);
    if (spot) this.xShape(spot);
  }

  xKey(event) {
    const from = this.spots.find(({ shape }) => shape === document.activeElement);
    if (!from) return;
    const way = ARROWS[event.key];
    const to = way ? nearest(this.spots, from, ...way)
      : event.key === "Home" ? this.spots[0] : event.key === "End" ? this.spots.at(-1) : undefined;
    if (event.key === "Enter" || event.key === " ") this.xClick(from.shape);
    else if (to) this.xShape(to).focus();
    else if (!way) return;
    event.preventDefault();
  }

  xFocus(shape) {
    const spot = this.spots.find((one) => one.shape === shape);
    if (!spot) return;
    this.select(spot.led);
    shape.setAttribute("aria-label", `${this.model.leds[spot.led].label}: ${valuesText(this.live.channels(spot.led))}`);
    if (shape.matches(":focus-visible")) this.xTip(spot.led, shape);
    this.handlers.onHover(spot.led);
  }

  /** A value that was told with the focus does not stay behind it. */
  xBlur(shape) {
    this.xTip();
    const spot = this.spots.find((one) => one.shape === shape);
    if (spot) shape.setAttribute("aria-label", this.model.leds[spot.led].label);
  }

  xHover(target) {
    const led = target?.dataset?.led;
    if (led === undefined) return this.xTip();
    this.xTip(Number(led), target);
    this.handlers.onHover(Number(led));
  }

  xClick(target) {
    const led = target?.dataset?.led;
    if (led === undefined) return;
    this.select(Number(led));
    this.handlers.onSelect(Number(led));
  }

  /** A word beside an LED; without one the tip goes. */
  xTip(led, shape) {
    this.tip.hidden = led === undefined;
    if (led === undefined) return;
    const channels = this.live.channels(led);
    setText(this.tip, `${this.model.leds[led].label} ${askedHex(channels) || percent(channels[0].value || 0)}`);
    const stage = this.root.getBoundingClientRect();
    const box = shape.getBoundingClientRect();
    const left = Math.min(Math.max(box.left - stage.left, 6), Math.max(6, stage.width - this.tip.offsetWidth - 6));
    const above = box.top - stage.top - this.tip.offsetHeight - 8;
    this.tip.style.left = `${left}px`;
    this.tip.style.top = `${above > 4 ? above : box.bottom - stage.top + 8}px`;
  }
}

/** The frame of the closer look, that of what it shows, and the lines between both. */
function frames(whole, close) {
  const left = whole.left + (close.box.left - whole.box.left) * whole.scale;
  const top = whole.top + (close.box.top - whole.box.top) * whole.scale;
  const small = { x: left, y: top, width: (close.width / close.scale) * whole.scale,
    height: (close.height / close.scale) * whole.scale, rx: 4 };
  const large = { x: close.left, y: close.top, width: close.width, height: close.height, rx: 18 };
  const isBeside = close.left >= small.x + small.width;
  const lines = isBeside
    ? [`M${small.x + small.width} ${small.y}L${large.x} ${large.y + 16}`,
      `M${small.x + small.width} ${small.y + small.height}L${large.x} ${large.y + large.height - 16}`]
    : [`M${small.x} ${small.y}L${large.x + 16} ${large.y + large.height}`,
      `M${small.x + small.width} ${small.y}L${large.x + large.width - 16} ${large.y + large.height}`];
  const rest = { "aria-hidden": "true" };
  return [
    svg("rect", { class: "frame", ...small, ...rest }),
    svg("rect", { class: "frame", ...large, ...rest }),
    ...lines.map((d) => svg("path", { class: "frame beam", d, ...rest })),
  ];
}
