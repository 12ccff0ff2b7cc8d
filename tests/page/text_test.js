// What is typed into forms, and the calls that are shown for shells and for Python.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { test } from "node:test";
import { fieldFor, firstText, readField } from "../../web/page/fields.js";
import { floatText, jsonToPython, ledctlLine, pythonProgram, pythonText, shellWord } from "../../web/page/quote.js";
import { parseSignature, parseType } from "../../web/page/signature.js";

const NASTY = [
  "plain",
  "",
  "two words",
  "it's",
  '"quoted"',
  "$HOME `id` \\ !",
  "a\nb\tc",
  "-dash",
  "*",
  "~",
  "ü€😀",
  "a;b|c&d",
  "#x",
  "(x)",
];

test("a shell reads a quoted word as it was", () => {
  for (const word of NASTY) {
    const quoted = word === "" ? "''" : shellWord(word);
    assert.equal(execFileSync("/bin/sh", ["-c", `printf %s ${quoted}`], { encoding: "utf8" }), word);
  }
});

test("Python reads a quoted text as it was", () => {
  const program = `import sys\nfor text in [${NASTY.map(pythonText).join(", ")}]: sys.stdout.write(text + "\\0")`;
  const read = execFileSync("/usr/bin/python3", ["-X", "utf8", "-c", program], { encoding: "utf8" });
  assert.deepEqual(read.split("\0").slice(0, -1), NASTY);
});

test("the line for a shell names service, ways and arguments", () => {
  const args = (...words) => words.map((shell) => ({ shell }));
  assert.equal(ledctlLine("HBLeds", "off", args("AllLeds")), "ledctl off AllLeds");
  assert.equal(ledctlLine("HBLeds", "fade", args("A B", "1.0"), true), "ledctl --wait fade 'A B' 1.0");
  assert.equal(ledctlLine("HBMemory", "getData", args("k")), "ledctl --service HBMemory getData k");
  assert.equal(ledctlLine("HBLeds", "watch", []), "ledctl call watch");
  assert.equal(ledctlLine("HBLeds", "set", args("x", "-0.5", "-1")), "ledctl set x -- -0.5 -1");
  assert.equal(ledctlLine("HBLeds", "say", args("")), "ledctl say ''");
});

test("the program in Python calls methods whose names are words of Python too", () => {
  const args = [{ python: '"x"' }];
  assert.match(pythonProgram("HBLeds", "off", args), /leds = robot\.service\("HBLeds"\)\n    leds\.off\("x"\)$/);
  assert.match(pythonProgram("HBLeds", "fade", args, true), /leds\.fade\("x"\)\.result\(\)$/);
  assert.match(pythonProgram("Other", "import", args), /service\["import"\]\("x"\)$/);
});

test("numbers stay floats, and JSON becomes Python outside of texts alone", () => {
  assert.equal(floatText(1), "1.0");
  assert.equal(floatText(-0.25), "-0.25");
  assert.equal(floatText(1e-7), "1e-7");
  assert.equal(floatText(NaN), "nan");
  assert.equal(
    jsonToPython('[true, "true", null, "null \\" false", false]'),
    '[True, "true", None, "null \\" false", False]',
  );
  assert.equal(jsonToPython('["a\\/b", "\\ud83d\\ude00"]'), '["a/b", "\u{1f600}"]');
});

test("types are read from signatures", () => {
  const { parameters, result } = parseSignature("(string, list<list<float>>, value) -> future<void>");
  assert.deepEqual(
    parameters.map(({ kind }) => kind),
    ["string", "list", "value"],
  );
  assert.equal(parameters[1].element.element.kind, "float");
  assert.equal(result.kind, "future");
  assert.deepEqual(parseSignature("() -> list<string>").parameters, []);
  assert.equal(parseSignature("(int)").result.kind, "void");
  assert.equal(parseType("surprise").kind, "value");
});

test("inputs fit what parameters are called and what their texts say", () => {
  const kind = (type, name, text = "") => fieldFor(parseType(type), name, text).kind;
  assert.equal(kind("bool", "leaveOnAtEnd"), "switch");
  assert.equal(kind("int", "rgb", "0x00RRGGBB."), "color");
  assert.equal(kind("int", "eyeShadow"), "color");
  assert.equal(kind("int", "times"), "integer");
  assert.equal(kind("float", "duration", "Time used to fade in seconds."), "seconds");
  assert.equal(kind("value", "rgbList"), "json");
  assert.equal(kind("list<string>", "ledNames"), "json");
  const ratio = fieldFor(parseType("float"), "intensity", "The intensity ratio between 0.6 and 1.");
  assert.deepEqual([ratio.kind, ratio.least, ratio.most], ["slider", 0.6, 1]);
  const red = fieldFor(parseType("float"), "red", "the intensity of red channel (0-1).");
  assert.deepEqual([red.kind, red.least, red.most], ["slider", 0, 1]);
  const name = fieldFor(parseType("string"), "colorName", 'the name (supported: "white", "red")');
  assert.deepEqual([name.of, name.choices], ["color", ["white", "red"]]);
  assert.equal(fieldFor(parseType("string"), "name", "The name of the LED or Group.").of, "led");
  assert.equal(fieldFor(parseType("string"), "groupName", "The name of the Group.").of, "group");
});

test("a published example's value stands in its field", () => {
  const examples = [{ language: "python", text: '# how\nname = "LeftEye"\nduration = 2.5\n' }];
  const field = fieldFor(parseType("string"), "name", "LED or Group");
  assert.equal(firstText(field, "name", parseType("string"), examples), "LeftEye");
  assert.equal(firstText({ kind: "seconds" }, "duration", parseType("float"), examples), "2.5");
  assert.equal(firstText({ kind: "seconds" }, "other", parseType("float"), examples), "1.0");
});

test("fields are read as wire, shell and Python", () => {
  const read = (type, text, kind = "number") =>
    readField({ kind, of: type.startsWith("list") ? "list" : undefined }, parseType(type), text);
  assert.deepEqual(read("float", "1"), { json: "1.0", shell: "1.0", python: "1.0" });
  assert.deepEqual(read("float", "-inf"), { json: '{"float":"-Infinity"}', shell: "-inf", python: 'float("-inf")' });
  assert.deepEqual(read("int", "#ff8000", "color"), { json: "16744448", shell: "0xff8000", python: "0xff8000" });
  assert.deepEqual(read("int", "-3", "integer"), { json: "-3", shell: "-3", python: "-3" });
  assert.deepEqual(read("string", " a "), { json: '" a "', shell: " a ", python: '" a "' });
  assert.deepEqual(read("bool", "true"), { json: "true", shell: "true", python: "True" });
  assert.deepEqual(read("value", '[0xff, "0xff", 1.0, true]'), {
    json: '[255, "0xff", 1.0, true]',
    shell: '[0xff, "0xff", 1.0, true]',
    python: '[0xff, "0xff", 1.0, True]',
  });
});

test("what cannot be read is named", () => {
  const wrong =
    (type, text, field = {}) =>
    () =>
      readField(field, parseType(type), text);
  assert.throws(wrong("float", "much"), /“much” is not a number/);
  assert.throws(wrong("float", ""), /“” is not a number/);
  assert.throws(wrong("int", "reddish", { kind: "color" }), /“reddish” is not a colour such as 0xff8000/);
  assert.throws(wrong("int", "4294967295", { kind: "integer" }), /an integer of 32 bits/);
  assert.throws(wrong("int", "1.5", { kind: "integer" }), /an integer/);
  assert.throws(wrong("value", "[1,"), /^Error: not JSON: /);
  assert.throws(wrong("list<int>", "3", { of: "list" }), /not a list/);
});
