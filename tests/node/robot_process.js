// A robot of the test's own: the real program, on a free port.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";

/** Starts `tavro` (environment TAVRO_PROGRAM) and resolves when it is ready. */
export async function startRobot() {
  const folder = mkdtempSync(join(tmpdir(), "robot-"));
  const socket = join(folder, "robot.sock");
  const robot = spawn(
    process.env.TAVRO_PROGRAM,
    ["--model", "models/vanto.xml", "--listen", "127.0.0.1:0", "--socket", socket, "--page", "none"],
    { stdio: ["ignore", "pipe", "ignore"] },
  );
  const ended = new Promise((resolve) => robot.once("exit", resolve));
  let address;
  for await (const line of createInterface({ input: robot.stdout })) {
    address ??= /grpc=(\S+)/.exec(line)?.[1];
    if (line.startsWith("ready")) break;
  }
  return {
    address,
    socket: `unix:${socket}`,
    async stop() {
      robot.kill("SIGTERM");
      await ended;
      rmSync(folder, { recursive: true, force: true });
    },
  };
}
