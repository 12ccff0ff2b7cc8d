// Which input fits a parameter, and what its text means: decided from the signature's type, and from the name and
// the text that the service publishes. No DOM.
import { parseRgb, rgbText } from "./color.js";
import { floatText, jsonToPython, outsideStrings, pythonText } from "./quote.js";

/**
 * @typedef {{kind: string, least?: number, most?: number, unit?: string, of?: string, choices?: string[]}} Field
 * kinds: switch, color, slider, seconds, integer, number, text (`of`: led, group, color or nothing), json
 */

/** @param {import("./signature.js").Type} type @returns {Field} */
export function fieldFor(type, name, text) {
  const said = `${name} ${text}`.toLowerCase();
  if (type.kind === "bool") return { kind: "switch" };
  if (type.kind === "int") {
    if (/rgb|colou?r|0x00rrggbb|shadow/.test(said)) return { kind: "color" };
    if (/degree/.test(said)) return { kind: "slider", least: 0, most: 360, unit: "°" };
    return { kind: "integer" };
  }
  if (type.kind === "float") {
    const range = /between (\d*\.?\d+) and (\d*\.?\d+)/.exec(said) ?? /\((\d*\.?\d+) ?- ?(\d*\.?\d+)\)/.exec(said);
    if (range) return { kind: "slider", least: Number(range[1]), most: Number(range[2]) };
    if (/second|duration|time|minimum|maximum|\bmin\b|\bmax\b/.test(said)) return { kind: "seconds", unit: "s" };
    return { kind: "number" };
  }
  if (type.kind === "string") {
    if (/colou?r/.test(name.toLowerCase())) return { kind: "text", of: "color", choices: quotedIn(text) };
    if (/module/.test(said)) return { kind: "text", of: "module" };
    if (/^groupname$/i.test(name) || /name of the group\b/.test(said)) return { kind: "text", of: "group" };
    if (/led|device/.test(said)) return { kind: "text", of: "led" };
    return { kind: "text" };
  }
  return { kind: "json", of: type.kind === "list" ? "list" : "value" };
}

/** The words in double quotes of a published text. */
const quotedIn = (text) => [...text.matchAll(/"([^"]+)"/g)].map((match) => match[1]);

/** What stands in a field at first: the published example's value where there is one. */
export function firstText(field, name, type, examples) {
  const python = examples.find((example) => example.language === "python")?.text ?? "";
  const given = new RegExp(`^${name.replace(/\W/g, "\\$&")} = (.+)$`, "m").exec(python)?.[1];
  if (name && given) return given.replace(/^"(.*)"$/, "$1");
  switch (field.kind) {
    case "color": return "0x00a0ff";
    case "slider": return field.unit ? String(field.least) : String(field.most);
    case "seconds": return "1.0";
    case "integer": return "0";
    case "number": return "0.0";
    case "switch": return "false";
    case "json": return firstJson(name.toLowerCase(), type);
    default:
      if (field.of === "led") return "FaceLeds";
      return field.of === "color" ? (field.choices?.[1] ?? "") : "";
  }
}

function firstJson(name, type) {
  if (/rgb/.test(name)) return "[0xff0000, 0x0000ff]";
  if (/time/.test(name)) return "[0.5, 1.0]";
  if (type.kind === "list" && type.element.kind === "string") return /led/.test(name) ? '["FaceLeds"]' : "[]";
  return type.kind === "list" ? "[]" : "null";
}

/**
 * @typedef {{json: string, shell: string, python: string}} Argument what is sent, a word of a shell, an expression
 * of Python
 */

/** What a field's text stands for. Throws an Error that says what is expected. @returns {Argument} */
export function readField(field, type, text) {
  const word = text.trim();
  switch (type.kind) {
    case "bool": {
      const isYes = word === "true";
      return { json: String(isYes), shell: String(isYes), python: isYes ? "True" : "False" };
    }
    case "int": return readInt(field, word);
    case "float": return readFloat(word);
    case "string": return { json: JSON.stringify(text), shell: text, python: pythonText(text) };
    default: return readJson(field, word);
  }
}

function readInt(field, word) {
  const number = /^[+-]?(\d+|0x[0-9a-f]{1,8})$|^#[0-9a-f]{6}$/i.test(word) ? parseRgb(word) : undefined;
  if (number === undefined || number > 2 ** 31 - 1) {
    const example = field.kind === "color" ? "a colour such as 0xff8000" : "an integer of 32 bits";
    throw new Error(`“${word}” is not ${example}`);
  }
  const written = field.kind === "color" ? rgbText(number) : String(number);
  return { json: String(number), shell: written, python: written };
}

const NOT_FINITE = { nan: NaN, inf: Infinity, "-inf": -Infinity };
const NOT_FINITE_ON_WIRE = { nan: "NaN", inf: "Infinity", "-inf": "-Infinity" };

function readFloat(word) {
  const name = word.toLowerCase();
  if (name in NOT_FINITE) {
    return { json: JSON.stringify({ float: NOT_FINITE_ON_WIRE[name] }), shell: name, python: `float("${name}")` };
  }
  const number = Number(word);
  if (word === "" || !Number.isFinite(number)) throw new Error(`“${word}” is not a number`);
  const text = floatText(number);
  return { json: text, shell: text, python: text };
}

function readJson(field, word) {
  const json = outsideStrings(word, (part) => part.replace(/0x[0-9a-f]+/gi, (hex) => String(Number(hex))));
  let value;
  try {
    value = JSON.parse(json);
  } catch (error) {
    throw new Error(`not JSON: ${error.message.replace(/^JSON\.parse: /, "")}. Example: ["FaceLeds", 0.5, 0xff8000]`);
  }
  if (field.of === "list" && !Array.isArray(value)) throw new Error("not a list: write it in [ ]");
  return { json, shell: word, python: jsonToPython(word) };
}
