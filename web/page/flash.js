// The flash guard: whatever the LEDs do, what the page shows flashes at most three times in any second, so that it
// cannot hurt people with photosensitive epilepsy (WCAG 2.3.1). A flash is a pair of opposing changes of a tenth or
// more in luminance, or a fifteenth in saturated red, of one area of LEDs, or of a quarter of its LEDs each by itself:
// halves that flash in turn have a steady mean. An area whose pattern flashes more often is shown as its slow mean;
// whatever is left of swings is held. No DOM, no clock of its own.
import { luminance } from "./color.js";

const WINDOW = 1000; // ms
const MOST_TURNS = 6; // in WINDOW: three flashes are six turns
const CALM_TURNS = 4; // a pattern with no more than these is shown as it is again
const SWING = 0.1;
const RED_SCALE = 1.55; // saturated red counts from a fifteenth on
const MEAN_TIME = 1200; // ms
const SHARE = 0.25; // so many of an area's LEDs that flash are an area that flashes

/** Counts the turns of one quantity: changes of SWING or more against the direction of the one before. */
class Turns {
  constructor() {
    this.times = [];
    this.low = this.high = undefined;
    this.direction = 0;
  }
  /** Whether `value` would be another turn. */
  isTurn(value) {
    if (this.low === undefined) return false;
    if (this.direction !== 1 && value - this.low >= SWING) return true;
    return this.direction !== -1 && this.high - value >= SWING;
  }
  note(value, now) {
    if (this.low === undefined) this.low = this.high = value;
    if (this.isTurn(value)) {
      this.direction = this.direction !== 1 && value - this.low >= SWING ? 1 : -1;
      this.times.push(now);
      this.low = this.high = value;
    }
    // Only the extreme that the next turn is measured from follows.
    if (this.direction !== 1) this.low = Math.min(this.low, value);
    if (this.direction !== -1) this.high = Math.max(this.high, value);
  }
  count(now) {
    while (this.times.length > 0 && now - this.times[0] >= WINDOW) this.times.shift();
    return this.times.length;
  }
}

/** Luminance and saturated red of an area, each with its turns. */
class Watched {
  constructor() {
    this.turns = [new Turns(), new Turns()];
  }
  note(measures, now) {
    this.turns.forEach((turns, i) => turns.note(measures[i], now));
  }
  count(now) {
    return Math.max(...this.turns.map((turns) => turns.count(now)));
  }
  /** Whether showing these would be one turn too many. */
  isTooMuch(measures, now) {
    return this.turns.some((turns, i) => turns.isTurn(measures[i]) && turns.count(now) >= MOST_TURNS);
  }
}

/** Mean luminance of the area's LEDs and the mean of their saturated red. */
function measure(area, light) {
  let bright = 0, red = 0;
  for (const led of area) {
    const [r, g, b] = [light[3 * led], light[3 * led + 1], light[3 * led + 2]];
    bright += luminance(r, g, b);
    if (r >= 0.8 * (r + g + b)) red += RED_SCALE * Math.max(0, r - g - b);
  }
  return [bright / area.length, red / area.length];
}

export class FlashGuard {
  /** @param {number[][]} areas indices of the LEDs of each area; every LED in one @param {number} leds how many */
  constructor(areas, leds) {
    this.areas = areas.map((leds) => ({
      leds, isLimited: false, isHeld: false, // the rest when its light changes first
    }));
    this.mean = new Float32Array(3 * leds);
    this.before = undefined;
  }

  /** Whether any area is shown otherwise than it is. */
  get isLimiting() {
    return this.areas.some((area) => area.isLimited);
  }

  /**
   * Takes what the LEDs are and leaves in `shown` what may be seen of it.
   * @param {Float32Array} asked linear light, three a LED @param {Float32Array} shown the same, changed in place
   * @param {number} now ms
   * @returns {boolean} whether `shown` will change by itself: call again with the next picture
   */
  apply(asked, shown, now) {
    const share = this.before === undefined ? 1 : 1 - Math.exp(-(now - this.before) / MEAN_TIME);
    this.before = now;
    let isMoving = false;
    for (const area of this.areas) isMoving = this.xApplyTo(area, asked, shown, now, share) || isMoving;
    return isMoving;
  }

  xApplyTo(area, asked, shown, now, share) {
    if (!area.isLimited && !area.isHeld && isSame(area, asked, shown)) return false;
    if (!area.asked) wake(area, share < 1 ? shown : asked, now); // what the page is opened with is no change
    area.asked.note(measure(area.leds, asked), now);
    area.each.forEach((one, i) => one.note(measure([area.leds[i]], asked), now));
    if (!area.isLimited && turnsMore(area, MOST_TURNS, now)) {
      area.isLimited = true;
      for (const i of channelsOf(area)) this.mean[i] = shown[i];
    } else if (area.isLimited && !turnsMore(area, CALM_TURNS, now)) {
      area.isLimited = false;
    }
    const wanted = area.isLimited ? this.mean : asked;
    if (area.isLimited) for (const i of channelsOf(area)) this.mean[i] += share * (asked[i] - this.mean[i]);
    const measures = measure(area.leds, wanted);
    area.isHeld = area.shown.isTooMuch(measures, now);
    if (!area.isHeld) {
      for (const i of channelsOf(area)) shown[i] = wanted[i];
      area.shown.note(measures, now);
    }
    return area.isLimited || area.isHeld;
  }
}

function isSame(area, asked, shown) {
  for (const i of channelsOf(area)) if (asked[i] !== shown[i]) return false;
  return true;
}

/** Begins to count, from that light on. */
function wake(area, light, now) {
  const { leds } = area;
  const watch = (some) => {
    const watched = new Watched();
    watched.note(measure(some, light), now);
    return watched;
  };
  [area.asked, area.shown] = [watch(leds), watch(leds)];
  area.each = leds.length > 1 ? leds.map((led) => watch([led])) : []; // one is its area
}

/** Whether the area as a whole, or SHARE of its LEDs, turned more than so many times in the last second. */
function turnsMore(area, most, now) {
  if (area.asked.count(now) > most) return true;
  const flashing = area.each.filter((one) => one.count(now) > most).length;
  return flashing > 0 && flashing >= SHARE * area.leds.length;
}

function* channelsOf(area) {
  for (const led of area.leds) for (let c = 0; c < 3; ++c) yield 3 * led + c;
}
