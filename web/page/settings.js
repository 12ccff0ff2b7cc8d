// What the robot does not tell: passive blinking, rotations and intensity ratios, as clients asked for them. Derived
// from the model and from the last calls; wrong where a module inside the robot asked. No DOM.
import { ledsNamed } from "./model.js";

const SERVICE = "HBLeds";

/** From which version of a head on which groups shine dimmed, and by how much. */
const DIMMED = {
  Vanto: { from: [4, 1, 0], ratio: 0.5, groups: ["EarLeds"] },
  Lirae: { from: [0, 6, 0], ratio: 0.7, groups: ["EarLeds", "FaceLeds"] },
};

/** Successful calls of the LED service since it was loaded, in order, oldest first. */
function callsSince(latest) {
  const sorted = [...latest].sort((a, b) => a.when - b.when).filter((call) => call.error === "");
  const loaded = sorted.findLastIndex((call) => call.service === "HBHost" && call.method === "loadModule" &&
    call.args.includes('"leds"'));
  return sorted.slice(loaded + 1).filter((call) => call.service === SERVICE);
}

/** The arguments of a call, as far as their text was kept. */
function argsOf(call) {
  try {
    return JSON.parse(call.args);
  } catch {
    return [];
  }
}

const isAtLeast = (version, least) => {
  const parts = version.split(".").map(Number);
  for (let i = 0; i < least.length; ++i) if ((parts[i] || 0) !== least[i]) return (parts[i] || 0) > least[i];
  return true;
};

/**
 * Names with a ratio of their own, those set last at the end.
 * @returns {{name: string, ratio: number, why: string}[]}
 */
export function ratios(model, latest) {
  const head = DIMMED[model.config.get("RobotConfig/Head/Type")];
  const isDimmed = head && isAtLeast(model.config.get("RobotConfig/Head/Version") ?? "", head.from);
  const found = new Map((isDimmed ? head.groups : []).map((name) => [name,
    { name, ratio: head.ratio, why: "this head's own" }]));
  for (const call of callsSince(latest).filter(({ method }) => method === "_setIntensityRatio")) {
    const [name, ratio] = argsOf(call);
    found.delete(name);
    if (typeof ratio === "number") found.set(name, { name, ratio, why: `asked by ${call.client}` });
  }
  return [...found.values()];
}

/** The ratio of one LED: that of the last name that means it. */
export function ratioOf(led, model, groups, latest) {
  const meaning = ratios(model, latest).filter(({ name }) => ledsNamed(model, name, groups).has(led));
  return meaning.at(-1) ?? { ratio: 1, why: "as asked" };
}

/** Which of these methods was called last. */
function lastOf(calls, ...methods) {
  return calls.findLast(({ method }) => methods.includes(method));
}

/** @returns {{name: string, text: string}[]} what moves by itself, as clients asked */
export function habits(latest) {
  const calls = callsSince(latest);
  const told = (name, start, stop, enable) => {
    const last = lastOf(calls, start, stop);
    const state = !last ? "not asked for" : last.method === start ? `on, asked by ${last.client}`
      : `off, asked by ${last.client}`;
    const enabled = enable && lastOf(calls, enable);
    const isDisabled = enabled && argsOf(enabled)[0] === false;
    return { name, text: isDisabled ? `${state}; disabled by ${enabled.client}` : state };
  };
  return [
    told("Passive blinking", "_startPassiveBlinking", "_stopPassiveBlinking"),
    told("Eyes' rotation", "_startEyesRotationASR", "_stopEyesRotationASR", "_setEnabledEyesRotationASR"),
    told("Ears' rotation", "_startEarsRotationASR", "_stopEarsRotationASR", "_setEnabledEarsRotationASR"),
  ];
}
