// A robot of the test's own with its page, and clients from outside: the real programs, on free ports.
// Environment: TAVRO_PROGRAM, LEDCTL_PROGRAM.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";

/** Waits until `condition` gives something true, and gives that. */
export async function becomes(condition, what = "what is waited for", seconds = 60) {
  const end = Date.now() + seconds * 1000;
  for (;;) {
    const found = await condition();
    if (found) return found;
    if (Date.now() > end) throw new Error(`waited ${seconds} s for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 20)); // other processes tell nobody here of a change
  }
}

/** How a program ended. @returns {Promise<{status: number, out: string, err: string}>} */
export function run(program, words, options = {}) {
  const child = spawn(program, words, { stdio: ["ignore", "pipe", "pipe"], ...options });
  let [out, err] = ["", ""];
  child.stdout.on("data", (data) => (out += data));
  child.stderr.on("data", (data) => (err += data));
  return new Promise((resolve) => child.once("close", (status) => resolve({ status, out, err })));
}

export class Robot {
  /** Starts one and resolves when it is ready. `args` are further options of the program. */
  static async start({
    model = "models/vanto.xml",
    port = 0,
    args = [],
    folder = mkdtempSync(join(tmpdir(), "page-")),
  } = {}) {
    const robot = new Robot();
    robot.folder = folder;
    robot.socket = join(folder, "robot.sock");
    const words = [
      "--model",
      model,
      "--listen",
      "127.0.0.1:0",
      "--socket",
      robot.socket,
      "--page",
      `127.0.0.1:${port}`,
      ...args,
    ];
    robot.process = spawn(process.env.TAVRO_PROGRAM, words, { stdio: ["ignore", "pipe", "pipe"] });
    robot.log = "";
    robot.process.stderr.on("data", (data) => (robot.log += data));
    robot.ended = new Promise((resolve) => robot.process.once("exit", resolve));
    for await (const line of createInterface({ input: robot.process.stdout })) {
      robot.log += `${line}\n`;
      robot.url ??= /page=(\S+)/.exec(line)?.[1];
      if (line.startsWith("ready")) break;
    }
    robot.process.stdout.on("data", (data) => (robot.log += data));
    robot.process.stdout.resume();
    if (!robot.url) throw new Error(`no page: ${robot.log}`);
    robot.port = Number(new URL(robot.url).port);
    return robot;
  }

  /** What `ledctl` does with these words. */
  ledctl(...words) {
    return run(process.env.LEDCTL_PROGRAM, ["--robot", `unix:${this.socket}`, ...words]);
  }

  /** The same, which must succeed; gives what it printed. */
  async does(...words) {
    const { status, out, err } = await this.ledctl(...words);
    if (status !== 0) throw new Error(`ledctl ${words.join(" ")}: ${err}`);
    return out.trim();
  }

  /** The environment in which `ledctl` reaches this robot by itself. */
  get environment() {
    return { ...process.env, LEDCTL_ROBOT: `unix:${this.socket}` };
  }

  async kill() {
    this.process.kill("SIGKILL");
    await this.ended;
  }

  async stop() {
    this.process.kill("SIGTERM");
    const status = await this.ended;
    rmSync(this.folder, { recursive: true, force: true });
    return status;
  }
}
