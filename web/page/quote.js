// A call as people type it: for ledctl in a shell, and in Python. What is shown runs as it is.

const PYTHON_WORDS = new Set(
  ("False None True and as assert async await break class continue def del elif else except finally for from global " +
    "if import in is lambda nonlocal not or pass raise return try while with yield").split(" "),
);
const LEDCTL_COMMANDS = new Set(["bench", "call", "describe", "doctor", "methods", "services", "watch"]);
const LEDCTL_SERVICE = "HBLeds";

/** A word for a POSIX shell. Control characters other than line ends and tabs cannot be typed; they stay. */
export function shellWord(word) {
  return /^[\w@%+=:,./-]+$/.test(word) ? word : `'${word.replaceAll("'", `'\\''`)}'`;
}

/** A text as a Python literal: the escapes that JSON writes are Python's. */
export const pythonText = (text) => JSON.stringify(text);

/** A number as a float, with its point: "1.0"; what is not finite in words. */
export function floatText(number) {
  if (Number.isNaN(number)) return "nan";
  if (!Number.isFinite(number)) return number > 0 ? "inf" : "-inf";
  const text = String(number);
  return /^-?\d+$/.test(text) ? `${text}.0` : text;
}

/** The parts of JSON text outside of its strings, changed by `change`; its strings by `changeText`. */
export function outsideStrings(json, change, changeText = (text) => text) {
  return json.replace(/("(?:[^"\\]|\\.)*")|([^"]+)/g, (_, text, rest) => (text ? changeText(text) : change(rest)));
}

/** JSON text as Python. Its strings are written anew: Python has no "\/" and no pairs of surrogates. */
export const jsonToPython = (json) =>
  outsideStrings(json, (part) => part.replace(/\btrue\b/g, "True").replace(/\bfalse\b/g, "False").replace(/\bnull\b/g,
    "None"), (text) => pythonText(JSON.parse(text)));

/**
 * The line for a shell.
 * @param {string} service @param {string} method @param {{shell: string}[]} args each a word before quoting
 */
export function ledctlLine(service, method, args, isFuture = false) {
  const words = ["ledctl"];
  if (service !== LEDCTL_SERVICE) words.push("--service", shellWord(service));
  if (isFuture) words.push("--wait");
  if (LEDCTL_COMMANDS.has(method)) words.push("call");
  words.push(shellWord(method));
  let isAfterDashes = false;
  for (const { shell } of args) {
    if (shell.startsWith("-") && !isAfterDashes) {
      words.push("--"); // from here on every word is an argument
      isAfterDashes = true;
    }
    words.push(shell === "" ? "''" : shellWord(shell));
  }
  return words.join(" ");
}

const isPythonName = (word) => /^[A-Za-z_]\w*$/.test(word) && !PYTHON_WORDS.has(word);

/** The same as a Python program. @param {{python: string}[]} args each an expression */
export function pythonProgram(service, method, args, isFuture = false) {
  const name = service === LEDCTL_SERVICE ? "leds" : "service";
  const call = isPythonName(method) ? `.${method}` : `[${pythonText(method)}]`;
  const list = args.map(({ python }) => python).join(", ");
  return [
    "from tavro import Robot",
    "",
    "with Robot() as robot:",
    `    ${name} = robot.service(${pythonText(service)})`,
    `    ${name}${call}(${list})${isFuture ? ".result()" : ""}`,
  ].join("\n");
}
