// What the LEDs are now: frames of the robot's memory in, light to show out. No DOM.
import { blend } from "./color.js";
import { FlashGuard } from "./flash.js";
import { toNumber } from "./value.js";

export class Live {
  /** @param {import("./model.js").Model} model @param {number[][]} areas */
  constructor(model, areas) {
    this.model = model;
    this.deviceOf = new Map(model.devices.map((device, i) => [device.key, i]));
    this.values = new Float32Array(model.devices.length).fill(NaN); // by device
    this.light = new Float32Array(3 * model.leds.length); // by LED: as they are
    this.shown = new Float32Array(3 * model.leds.length); // as they may be seen
    this.guard = new FlashGuard(areas, model.leds.length);
    this.numbers = new Map(model.devices.map((device, i) => [device, i]));
    this.forget();
  }

  /** A new watch begins: its keys are numbered anew. */
  forget() {
    this.devices = []; // of the watch's numbers
  }

  /** Takes a frame of the watch. @returns {boolean} whether an LED changed */
  take(frame) {
    for (const key of frame.keys) this.devices.push(this.deviceOf.get(key));
    const leds = new Set();
    frame.index.forEach((number, i) => {
      const device = this.devices[number];
      if (device === undefined) return;
      this.values[device] = toNumber(frame.value[i]);
      leds.add(this.model.devices[device].led);
    });
    for (const led of leds) blend(this.channels(led), this.light, 3 * led);
    return leds.size > 0;
  }

  /** The channels of an LED with their values now. */
  channels(led) {
    return this.model.leds[led].devices.map((device) => ({ device, color: device.color, value: this.valueOf(device) }));
  }

  valueOf(device) {
    return this.values[this.numbers.get(device)];
  }

  /** Brings what is shown up to date. @returns {{changed: number[], isMoving: boolean}} LEDs that look different */
  step(now) {
    const before = this.shown.slice();
    const isMoving = this.guard.apply(this.light, this.shown, now);
    const changed = [];
    for (let led = 0; led < this.model.leds.length; ++led) {
      const i = 3 * led;
      if (before[i] !== this.shown[i] || before[i + 1] !== this.shown[i + 1] ||
        before[i + 2] !== this.shown[i + 2]) changed.push(led);
    }
    return { changed, isMoving };
  }
}
