"""What whole processes cost: the robot beside a bare gRPC server, at rest and until they are ready."""
import os
import signal
import statistics
import subprocess
import tempfile
import time
from contextlib import contextmanager
from dataclasses import dataclass


@dataclass
class Rest:
    """Of a process that nobody asks anything."""
    wakeups: float  # a second, of all threads
    percent: float  # of a core
    mebibytes: float  # resident


@dataclass
class Starts:
    """Seconds from the start of the process to its ready line."""
    robot: float
    echo: float


@contextmanager
def running(command, ready):
    """The process, once it said a line that begins so."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
    try:
        for line in process.stdout:
            if line.startswith(ready):
                break
        else:
            raise RuntimeError(f"{command[0]} ended before it was ready")
        yield process
    finally:
        process.send_signal(signal.SIGTERM)
        process.wait()
        process.stdout.close()


def echo(build):
    return running([os.path.join(build, "bench/remote_call_bench"), "--serve", "echo"], "listening")


def robot(build, folder):
    return running([os.path.join(build, "bin/tavro"), "--listen", "127.0.0.1:0", "--socket",
                    os.path.join(folder, "robot.sock"), "--page", "none", "--log-level", "warning"], "ready")


def status_of(process, task, field):
    with open(f"/proc/{process}/task/{task}/status", encoding="ascii") as file:
        return next(int(line.split()[1]) for line in file if line.startswith(field + ":"))


def counts(process):
    """Wake-ups and seconds of processor time so far, of all threads."""
    wakeups, nanoseconds = 0, 0
    for task in os.listdir(f"/proc/{process}/task"):
        wakeups += status_of(process, task, "voluntary_ctxt_switches")
        with open(f"/proc/{process}/task/{task}/schedstat", encoding="ascii") as file:
            nanoseconds += int(file.read().split()[0])
    return wakeups, nanoseconds * 1e-9


def watch(process, seconds):
    time.sleep(2)  # what its start left behind
    before = counts(process)
    begin = time.monotonic()
    time.sleep(seconds)  # what a resting process does is counted over this time
    after = counts(process)
    took = time.monotonic() - begin
    return Rest((after[0] - before[0]) / took, 100 * (after[1] - before[1]) / took,
                status_of(process, process, "VmRSS") / 1024)


def at_rest(build, seconds):
    """The bare server, the robot, and the robot with passive blinking on."""
    with echo(build) as process:
        bare = watch(process.pid, seconds)
    with tempfile.TemporaryDirectory() as folder, robot(build, folder) as process:
        quiet = watch(process.pid, seconds)
        subprocess.run([os.path.join(build, "bin/ledctl"), "--robot",
                        f"unix:{folder}/robot.sock", "_startPassiveBlinking"], check=True,
                       stdout=subprocess.DEVNULL)
        blinking = watch(process.pid, seconds)
    return bare, quiet, blinking


def seconds_to(context):
    begin = time.monotonic()
    with context:
        return time.monotonic() - begin


def starts(build, times):
    """Medians, taken in turn so that both meet the same machine."""
    robots, echoes = [], []
    for _ in range(times):
        echoes.append(seconds_to(echo(build)))
        with tempfile.TemporaryDirectory() as folder:
            robots.append(seconds_to(robot(build, folder)))
    return Starts(statistics.median(robots), statistics.median(echoes))
