// The wire as a client sees it that was written by somebody else: Node.js, and no contract but the one
// that the robot shows.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { connect, next } from "./reflected_robot.js";
import { startRobot } from "./robot_process.js";

const RED = "Device/SubDeviceList/Face/Led/Red/Left/0Deg/Actuator/Value";
const GREEN = "Device/SubDeviceList/Face/Led/Green/Left/0Deg/Actuator/Value";
const text = (value) => ({ text: value });
const number = (value) => ({ number: value });
const integer = (value) => ({ integer: value });

let process;
let robot;

before(async () => {
  process = await startRobot();
  robot = await connect(process.address, "tavro.v1.Robot");
});
after(async () => {
  robot?.close();
  await process?.stop();
});

const call = (method, ...args) => robot.Call({ service: "HBLeds", method, args });
const read = async (key) => (await robot.ReadMemory({ key })).value.number;

/** Waits until `condition` resolves to true. */
async function becomes(condition) {
  for (let tries = 0; tries < 2000; ++tries) {
    if (await condition()) return true;
    await new Promise((resolve) => setTimeout(resolve, 5)); // the robot tells nobody here of a change
  }
  return false;
}

test("reflection shows the robot's service and its RPCs", () => {
  assert.ok(robot.services.includes("tavro.v1.Robot"));
  assert.ok(robot.services.includes("grpc.health.v1.Health"));
  assert.deepEqual(robot.rpcs.Call, { requestStream: false, responseStream: false });
  assert.deepEqual(robot.rpcs.Watch, { requestStream: false, responseStream: true });
  assert.deepEqual(robot.rpcs.Start, { requestStream: true, responseStream: true });
});

test("the robot says who it is", async () => {
  const info = await robot.GetInfo();
  assert.equal(info.robot_name, "Vanto");
  assert.equal(info.ready, true);
  assert.equal(info.role, "operator");
  assert.ok(info.modules.includes("leds"));
  assert.ok(info.limits.some((limit) => limit.most === 4096));
});

test("the LED service describes its 35 rows with signatures", async () => {
  const described = await robot.DescribeService({ service: "HBLeds" });
  assert.equal(described.methods.length, 35);
  const fade = described.methods.find((method) => method.name === "fade");
  assert.equal(fade.signature.text, "(string, float, float) -> future<void>");
  assert.equal(fade.signature.result.kind, "KIND_FUTURE");
});

test("a call changes what the memory holds", async () => {
  const reply = await call("fadeRGB", text("FaceLeds"), text("red"), number(0));
  assert.equal(reply.outcome, "value");
  assert.equal(reply.has_future, true);
  assert.equal(await read(RED), 1);
  assert.equal(await read(GREEN), 0);
});

test("a method's error is data, and its text is the robot's own", async () => {
  const reply = await call("fade", text("Nose"), number(1), number(1));
  assert.equal(reply.outcome, "error");
  assert.equal(reply.error.kind, "invalid_argument");
  assert.match(reply.error.text, /^HBLeds: fade: /);
});

test("a service that is not there is a status", async () => {
  await assert.rejects(robot.Call({ service: "HBNose", method: "smell" }), {
    code: 5,
    details: /There is no service 'HBNose'/,
  });
});

test("a watch begins with all that matches and goes on with changes", async () => {
  const watch = robot.Watch({ pattern: "Face/*" });
  watch.on("error", () => {});
  const first = await next(watch);
  assert.equal(first.snapshot, true);
  assert.ok(first.items.length > 0);
  await call("setIntensity", text("FaceLeds"), number(0.25));
  const change = await next(watch);
  assert.ok(!change.snapshot);
  assert.ok(change.items.every((item) => item.value.number === 0.25));
  watch.cancel();
});

test("a started call has a future that ends, and one that is cancelled", async () => {
  const begin = (seconds) => {
    const started = robot.Start();
    started.write({ call: { service: "HBLeds", method: "fade", args: [text("BrainLeds"), number(1), number(seconds)] } });
    return started;
  };
  const short = begin(0.05);
  assert.equal((await next(short)).outcome, "future");
  assert.equal((await next(short)).outcome, "value");
  const long = begin(3600);
  assert.equal((await next(long)).outcome, "future");
  long.write({ cancel: {} });
  const end = await next(long);
  assert.equal(end.outcome, "error");
  assert.equal(end.error.kind, "cancelled");
});

test("cancelling a call stops the animation", async () => {
  let running;
  const rotation = robot.Call(
    { service: "HBLeds", method: "rotateEyes", args: [integer(0x00ff00), number(0.08), number(86400)] },
    { onCall: (made) => (running = made) },
  );
  const rotations = async () => (await robot.ListCalls()).running?.filter((one) => one.method === "rotateEyes") ?? [];
  assert.ok(await becomes(async () => (await rotations()).length === 1));
  running.cancel();
  await assert.rejects(rotation, { code: 1 });
  assert.ok(await becomes(async () => (await rotations()).length === 0));
});

test("a service that this process lends is called like any other", async () => {
  const lent = robot.Lend();
  lent.on("error", () => {});
  const greet = {
    name: "greet",
    description: "Greets somebody.",
    params: [{ name: "name", text: "Whom." }],
    signature: { params: [{ kind: "KIND_STRING" }], result: { kind: "KIND_STRING" }, text: "(string) -> string" },
  };
  lent.write({ offer: { service: "Greeter", description: "From Node.", methods: [greet] } });
  assert.equal((await next(lent)).what, "accepted");
  lent.on("data", (message) => {
    if (message.what === "ping") lent.write({ pong: { number: message.ping } });
    if (message.what === "call") {
      const name = message.call.args[0].text;
      lent.write({ returned: { call: message.call.call, value: text(`Hello, ${name}`) } });
    }
  });
  lent.resume();
  const caller = await connect(process.socket, "tavro.v1.Robot");
  const reply = await caller.Call({ service: "Greeter", method: "greet", args: [text("world")] });
  assert.equal(reply.value.text, "Hello, world");
  caller.close();
  lent.end();
  const stands = async () => (await robot.ListServices()).services.includes("Greeter");
  assert.ok(await becomes(async () => !(await stands())));
});
