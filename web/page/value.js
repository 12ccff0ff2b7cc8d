// Values as they cross the wire, for people.
import { askedHex } from "./color.js";

/** A wire value as text: numbers short, lists as JSON. */
export function valueText(value) {
  if (value === null || value === undefined) return "nothing";
  if (typeof value === "number") return numberText(value);
  if (typeof value === "string") return value;
  if (Array.isArray(value)) {
    const isOfTexts = value.length > 0 && value.every((one) => typeof one === "string");
    return isOfTexts ? value.join("\n") : `[${value.map(inner).join(", ")}]`;
  }
  if (typeof value === "object") return String(value.int ?? value.float ?? value.binary ?? JSON.stringify(value));
  return String(value);
}

const inner = (value) => (typeof value === "string" ? JSON.stringify(value) : valueText(value));

/** At most six digits, none for nothing. */
export const numberText = (number) => String(Number(number.toPrecision(6)));

/** A wire value as a number; NaN when it is none. */
export function toNumber(value) {
  if (typeof value === "number") return value;
  return value && typeof value === "object" ? Number(value.float ?? value.int) : NaN;
}

/** 0..1 as a percentage, of one word. */
export const percent = (number) => `${Math.round(number * 100)}\u00a0%`;

/** What the channels of an LED hold: "red 100 %, green 50 % (#ff8000)". */
export function valuesText(channels) {
  const each = channels.map(({ color, value }) => `${color} ${Number.isNaN(value) ? "unknown" : percent(value)}`);
  const hex = channels.length > 1 && askedHex(channels);
  return hex ? `${each.join(", ")} (${hex})` : each.join(", ");
}

/** A time of day, given in seconds of Unix time. */
export const clockText = (seconds) =>
  new Date(seconds * 1000).toLocaleTimeString(undefined, { hour12: false });

/** How long something lasts: "340 ms", "4.2 s", "3 min 5 s", "2 h 4 min". */
export function durationText(ms) {
  if (ms < 1000) return `${Math.round(ms)} ms`;
  const seconds = ms / 1000;
  if (seconds < 60) return `${seconds.toFixed(1)} s`;
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) return `${minutes} min ${Math.floor(seconds % 60)} s`;
  return `${Math.floor(minutes / 60)} h ${minutes % 60} min`;
}
