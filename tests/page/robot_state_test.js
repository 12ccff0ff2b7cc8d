// What is derived from last calls, samples of the timeline, and the connection with its losses.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Link } from "../../web/page/link.js";
import { habits, ratioOf, ratios } from "../../web/page/settings.js";
import { Samples } from "../../web/page/samples.js";
import { durationText, toNumber, valueText } from "../../web/page/value.js";

const call = (method, args, when, more = {}) => ({
  service: "HBLeds",
  method,
  args: JSON.stringify(args),
  when,
  client: "c",
  error: "",
  ...more,
});
const model = (type, version) => ({
  config: new Map([
    ["RobotConfig/Head/Type", type],
    ["RobotConfig/Head/Version", version],
  ]),
  devices: [
    { name: "Ear/1", short: "Ear1", led: 0 },
    { name: "Face/1", short: "Face1", led: 1 },
  ],
});
const groups = new Map([
  ["EarLeds", ["Ear/1"]],
  ["FaceLeds", ["Face/1/Actuator/Value"]],
]);

test("a head's own ratios hold from a version on", () => {
  const names = (type, version) => ratios(model(type, version), []).map(({ name, ratio }) => [name, ratio]);
  assert.deepEqual(names("Vanto", "4.1.0"), [["EarLeds", 0.5]]);
  assert.deepEqual(names("Vanto", "4.0.9"), []);
  assert.deepEqual(names("Lirae", "0.10.0"), [
    ["EarLeds", 0.7],
    ["FaceLeds", 0.7],
  ]);
  assert.deepEqual(names("Other", "9.0.0"), []);
});

test("the ratio of an LED is what was asked last of a name that means it", () => {
  const latest = [
    call("_setIntensityRatio", ["Face1", 0.8], 2),
    call("_setIntensityRatio", ["FaceLeds", 0.9], 1),
    call("_setIntensityRatio", ["FaceLeds", 0.6], 3, { error: "no" }),
  ];
  assert.equal(ratioOf(1, model("Other", "1"), groups, latest).ratio, 0.8);
  assert.equal(ratioOf(0, model("Vanto", "5.0.0"), groups, latest).ratio, 0.5);
  assert.equal(ratioOf(0, model("Other", "1"), groups, latest).ratio, 1);
});

test("habits follow the last call, and end with the module", () => {
  const started = call("_startPassiveBlinking", [], 1);
  const text = (...latest) => habits(latest)[0].text;
  assert.equal(text(), "not asked for");
  assert.equal(text(started), "on, asked by c");
  assert.equal(text(call("_stopPassiveBlinking", [], 2), started), "off, asked by c");
  assert.equal(text(started, call("loadModule", ["leds"], 3, { service: "HBHost" })), "not asked for");
  const rotation = habits([call("_startEyesRotationASR", [], 1), call("_setEnabledEyesRotationASR", [false], 2)])[1]
    .text;
  assert.equal(rotation, "on, asked by c; disabled by c");
});

test("samples keep half a minute, and steps stay steps", () => {
  const samples = new Samples();
  samples.keep(["a"]);
  samples.add(0, [0]);
  samples.add(10, [1]);
  const [times, values] = samples.until(11);
  assert.deepEqual(values, [0, 0, 1, 1]);
  assert.ok(times[1] > 9.9 && times[1] < 10);
  const merged = new Samples();
  merged.keep(["a"]);
  merged.add(0, [0]);
  merged.add(10, [1], true);
  assert.deepEqual(merged.until(11)[1], [0, 1, 1]);
  for (let now = 11; now < 100; now += 0.02) samples.add(now, [1]);
  assert.ok(samples.times.length < 2000);
  samples.keep(["b", "a"]);
  assert.deepEqual(
    samples.until(101).map((row) => row.at(-1)),
    [101, null, 1],
  );
});

test("a time in which nothing was known is a gap between samples", () => {
  const samples = new Samples();
  samples.keep(["a"]);
  samples.add(0, [0.5]);
  samples.gap(2);
  samples.gap(3); // it goes on
  assert.deepEqual(samples.until(4)[1], [0.5, 0.5, 0.5, null, null]);
  samples.keep(["a", "b"]);
  samples.add(9, [1, 0]);
  const [times, a, b] = samples.until(10);
  assert.deepEqual(a, [0.5, 0.5, 0.5, null, null, 1, 1]);
  assert.deepEqual(b.slice(-3), [null, 0, 0]);
  assert.ok(times[3] - 2 < 0.01 && 9 - times[4] < 0.01, `known until ${times[3]}, from ${times[4]} on`);
});

test("values are told in few words", () => {
  assert.equal(valueText(["a", "b"]), "a\nb");
  assert.equal(valueText([0.1, [1, "x"]]), '[0.1, [1, "x"]]');
  assert.equal(valueText({ int: "9007199254740993" }), "9007199254740993");
  assert.equal(valueText({ float: "NaN" }), "NaN");
  assert.ok(Number.isNaN(toNumber("x")));
  assert.equal(toNumber({ float: "-Infinity" }), -Infinity);
  assert.equal(durationText(340), "340 ms");
  assert.equal(durationText(185000), "3 min 5 s");
});

/** The robot's end of a socket. */
class Wire {
  readyState = 1;
  sent = [];
  send(text) {
    this.sent.push(JSON.parse(text));
  }
  say(message) {
    this.onmessage({ data: JSON.stringify(message) });
  }
  close() {
    this.readyState = 3;
    this.onclose();
  }
}

const LONGEST_SILENCE = 5000; // ms

function linked(options = {}) {
  const told = { states: [], events: [], pauses: [], limits: [], wires: [] };
  const open = () => {
    told.wires.push(new Wire());
    return told.wires.at(-1);
  };
  told.link = new Link({
    name: "page",
    open,
    onState: (...state) => told.states.push(state),
    onEvent: (event) => told.events.push(event),
    setTimer: (run, ms) => {
      if (ms === LONGEST_SILENCE) told.limits.push(run);
      else told.pauses.push(ms) && (told.again = run);
    },
    ...options,
  });
  return told;
}
const settled = () => new Promise((resolve) => setImmediate(resolve));

test("the link says hello, and matches replies to requests", async () => {
  const {
    link,
    wires: [wire],
    states,
  } = linked();
  wire.onopen();
  assert.deepEqual(wire.sent[0], { id: 1, op: "hello", name: "page" });
  wire.say({ id: 1, robot: "R" });
  await settled();
  assert.equal(states.at(-1)[0], "live");
  const first = link.request("read", { key: "a" });
  const second = link.begin(
    "call",
    { service: "S", method: "m", argsJson: "[1.0]" },
    () => (second.hadFuture = true),
  );
  assert.deepEqual(wire.sent.at(-1), { id: 3, op: "call", service: "S", method: "m", args: [1] });
  wire.say({ id: 3, future: true });
  wire.say({ id: 3, error: { kind: "invalid_argument", text: "No" } });
  wire.say({ id: 2, value: 5 });
  assert.equal((await first).value, 5);
  await assert.rejects(second.reply, { message: "No", kind: "invalid_argument" });
  assert.ok(second.hadFuture);
});

test("a robot that stays silent is taken as gone, though its connection is open", async () => {
  const told = linked();
  const [wire] = told.wires;
  wire.onopen();
  wire.say({ id: 1, robot: "R" });
  await settled();
  const answered = told.link.requestSoon("state");
  wire.say({ id: 2, uptime: 1 });
  assert.equal((await answered).uptime, 1);
  told.limits.forEach((isOver) => isOver()); // that of the handshake and of hello too
  assert.equal(told.states.at(-1)[0], "live");
  const asked = told.link.requestSoon("state");
  told.limits.at(-1)();
  await assert.rejects(asked, { kind: "lost" });
  assert.deepEqual(told.states.at(-1), ["lost", "The robot does not answer."]);
  told.again();
  assert.equal(told.wires.length, 2);
});

test("a robot that never answers hello, or never ends the handshake, is left and looked for again", async () => {
  const told = linked();
  const [first] = told.wires;
  first.onopen();
  told.limits.at(-1)();
  await settled();
  assert.deepEqual(told.states, [["lost", "The robot does not answer."]]);
  assert.equal(first.readyState, 3, "the silent connection is closed");
  told.again();
  const [, second] = told.wires;
  second.readyState = 0;
  told.limits.at(-1)();
  assert.deepEqual(told.states.slice(1), [["lost", "The robot does not answer."]]);
  second.onopen(); // too late
  assert.deepEqual(second.sent, []);
  told.again();
  const [, , third] = told.wires;
  third.onopen();
  third.say({ id: 1, robot: "R" });
  await settled();
  told.limits.forEach((isOver) => isOver());
  assert.equal(told.states.at(-1)[0], "live");
});

test("a robot that is gone is looked for with growing pauses, and requests end", async () => {
  const told = linked();
  told.wires[0].onopen();
  told.wires[0].say({ id: 1, robot: "R" });
  await settled();
  const asked = told.link.request("state");
  told.wires[0].say({ event: "goodbye", text: "closing" });
  told.wires[0].close();
  await assert.rejects(asked, { kind: "lost" });
  assert.deepEqual(told.states.at(-1), ["lost", "closing"]);
  for (let i = 0; i < 6; ++i) {
    told.again();
    told.wires.at(-1).close();
  }
  assert.deepEqual(told.pauses, [250, 500, 1000, 2000, 2000, 2000, 2000]);
  await assert.rejects(told.link.request("state"), { kind: "lost" });
});

test("a robot that wants a token is told one", async () => {
  const {
    link,
    wires: [wire],
    states,
  } = linked({ token: "old" });
  wire.onopen();
  assert.equal(wire.sent[0].token, "old");
  wire.say({ id: 1, error: { kind: "token", text: "wrong" } });
  await settled();
  assert.deepEqual(states.at(-1), ["token", "wrong"]);
  link.useToken("new");
  assert.equal(wire.sent.at(-1).token, "new");
  wire.say({ id: 2, robot: "R" });
  await settled();
  assert.equal(states.at(-1)[0], "live");
});
