// Colours: what the channels of an LED add up to, and how a screen shows it.
// Intensities and light are linear, 0 to 1; screens want them with the usual gamma, since perceived brightness
// grows slower than light.

const GAMMA = 1 / 2.2;

/** What each kind of channel gives at full intensity: red, green and blue light. Blue LEDs look azure to the eye. */
const CHANNELS = {
  red: [1, 0, 0],
  green: [0, 1, 0],
  blue: [0, 0.09, 1],
  white: [1, 1, 1],
  amber: [1, 0.42, 0],
  infrared: [0.28, 0, 0.04],
};

/** The colours that the LED service knows by name. */
export const NAMED = {
  white: 0xffffff, red: 0xff0000, green: 0x00ff00, blue: 0x0000ff, yellow: 0xffff00, magenta: 0xff00ff, cyan: 0x00ffff,
};

/**
 * Adds up the channels of one LED.
 * @param {{color: string, value: number}[]} devices @param {Float32Array|number[]} out @param {number} at index in it
 */
export function blend(devices, out, at = 0) {
  let red = 0, green = 0, blue = 0;
  for (const { color, value } of devices) {
    const share = CHANNELS[color] ?? CHANNELS.white;
    const light = Number.isFinite(value) ? Math.min(1, Math.max(0, value)) : 0;
    red += share[0] * light;
    green += share[1] * light;
    blue += share[2] * light;
  }
  out[at] = Math.min(1, red);
  out[at + 1] = Math.min(1, green);
  out[at + 2] = Math.min(1, blue);
  return out;
}

/** Light as a screen's value, 0 to 255. */
export const toScreen = (light) => Math.round(255 * Math.pow(Math.min(1, Math.max(0, light)), GAMMA));

/** Relative luminance of linear light. */
export const luminance = (red, green, blue) => 0.2126 * red + 0.7152 * green + 0.0722 * blue;

const hex2 = (number) => number.toString(16).padStart(2, "0");

/** What was asked of red, green and blue channels as "#rrggbb", without gamma; "" when the LED has others only. */
export function askedHex(devices) {
  const of = (color) => devices.find((device) => device.color === color)?.value;
  if (of("red") === undefined && of("green") === undefined && of("blue") === undefined) return "";
  const byte = (value) => hex2(Math.round(255 * Math.min(1, Math.max(0, value ?? 0)) || 0));
  return `#${byte(of("red"))}${byte(of("green"))}${byte(of("blue"))}`;
}

/** A colour as 0xRRGGBB, however it was written: 0xff8000, #ff8000, 16744448. undefined: not a number of 32 bits. */
export function parseRgb(text) {
  const word = text.trim().toLowerCase();
  const hex = /^(?:0x|#)([0-9a-f]{1,8})$/.exec(word);
  const number = hex ? parseInt(hex[1], 16) : /^[+-]?\d+$/.test(word) ? Number(word) : NaN;
  return number >= -(2 ** 31) && number < 2 ** 32 ? number : undefined;
}

/** As people write it here: 0x00RRGGBB. */
export const rgbText = (number) =>
  number < 0 ? String(number) : `0x${number.toString(16).padStart(6, "0")}`;

/** For an input of type color. */
export const rgbHash = (number) => `#${hex2((number >> 16) & 255)}${hex2((number >> 8) & 255)}${hex2(number & 255)}`;
