// The robot as its model describes it: LEDs, their devices and groups, and where they sit (docs/robot-model.md).
// The model was accepted by the robot, so it is read, not checked again.

/**
 * @typedef {{name: string, key: string, color: string, short: string, groups: Set<string>, led: number}} Device
 * @typedef {{index: number, label: string, short: string, groups: Set<string>, devices: Device[], x?: number,
 *            y?: number, shape: string, width: number, height: number, angle: number}} Led
 * @typedef {{name: string, version: string, config: Map<string, string>, leds: Led[], devices: Device[]}} Model
 */

const SUFFIX = "/Actuator/Value";
const PREFIX = "Device/SubDeviceList/";
const SIZE = 6; // mm, of an LED that tells none

/** What matches the keys of all devices. */
export const ALL_KEYS = `${PREFIX}*${SUFFIX}`;

/** A device's name as services write it, with or without what surrounds it in the memory, as in the model. */
export const plainName = (name) => name.replace(PREFIX, "").replace(SUFFIX, "");

const groupsOf = (element) => (element.getAttribute("groups") ?? "").split(/\s+/).filter(Boolean);

/** @param {string} xml @returns {Model} */
export function parseModel(xml) {
  const root = new DOMParser().parseFromString(xml, "text/xml").documentElement;
  const model = {
    name: root.getAttribute("name") ?? "",
    version: root.getAttribute("version") ?? "",
    config: new Map(),
    leds: [],
    devices: [],
  };
  for (const config of root.getElementsByTagName("config")) {
    model.config.set(config.getAttribute("key"), config.getAttribute("value"));
  }
  const names = new Set();
  const walk = (element, groups) => {
    for (const child of element.children) {
      const all = [...groups, ...groupsOf(child)];
      if (child.tagName === "leds") walk(child, all);
      if (child.tagName === "led") addLed(model, child, all, names);
    }
  };
  walk(root, []);
  return model;
}

function addLed(model, element, groups, names) {
  const number = (name, otherwise) => (element.hasAttribute(name) ? Number(element.getAttribute(name)) : otherwise);
  const width = number("width", SIZE);
  const led = {
    index: model.leds.length,
    short: element.getAttribute("short") ?? "",
    groups: new Set(groups),
    devices: [],
    x: number("x", undefined),
    y: number("y", undefined),
    shape: element.getAttribute("shape") ?? "circle",
    width,
    height: number("height", width),
    angle: number("angle", 0),
  };
  for (const child of element.children) {
    const name = child.getAttribute("name");
    if (!name || names.has(name)) continue; // of one that is listed twice the first holds
    names.add(name);
    const device = {
      name,
      key: PREFIX + name + SUFFIX,
      color: child.getAttribute("color") ?? "white",
      short: child.getAttribute("short") ?? led.short,
      groups: new Set([...groups, ...groupsOf(child)]),
      led: led.index,
    };
    led.devices.push(device);
    model.devices.push(device);
  }
  if (led.devices.length === 0) return;
  led.label = led.short || commonStart(led.devices.map((device) => device.short || device.name));
  model.leds.push(led);
}

/** What several names begin with, without a colour's half word at its end. */
function commonStart(names) {
  let length = 0;
  while (length < names[0].length && names.every((name) => name[length] === names[0][length])) ++length;
  return names[0].slice(0, length).replace(/[/\s]+$/, "") || names[0];
}

/** The indices of the LEDs that a name means: a device, a short name or a group, as the LED service looks them up. */
export function ledsNamed(model, name, groups) {
  const plain = plainName(name);
  const ofDevice = model.devices.filter((device) => device.name === plain);
  const found = ofDevice.length > 0 ? ofDevice : model.devices.filter((device) => device.short === name);
  if (found.length > 0) return new Set(found.map((device) => device.led));
  const members = new Set((groups.get(name) ?? []).map(plainName));
  return new Set(model.devices.filter((device) => members.has(device.name)).map((device) => device.led));
}
