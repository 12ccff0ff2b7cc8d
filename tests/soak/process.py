"""A robot with its page, as a process to be looked at from outside."""
import os
import re
import subprocess
import tempfile
import time

_LOUD = re.compile(r"^[-\d]+ [\d:.]+ (error|fatal) ")


class RobotProcess:
    """A running `tavro`. What it logs goes to the file `log`."""

    def __init__(self, program, model, folder=None):
        self._own = tempfile.TemporaryDirectory(prefix="tavro-soak-")
        self.log = os.path.join(folder or self._own.name, "robot.log")
        self.socket = os.path.join(self._own.name, "robot.sock")
        with open(self.log, "w", encoding="utf-8") as log:
            self._popen = subprocess.Popen(
                [program, "--model", model, "--listen", "127.0.0.1:0", "--socket", self.socket,
                 "--page", "127.0.0.1:0"], stdout=subprocess.PIPE, stderr=log, text=True)
        try:
            listening = self._await_line("listening ")
            self.address = re.search(r"grpc=(\S+)", listening).group(1)
            self.page = re.search(r"page=(\S+)", listening).group(1)
            self._await_line("ready ")
        except BaseException:
            self.stop()
            raise

    def _await_line(self, start):
        for line in self._popen.stdout:
            if line.startswith(start):
                return line
        raise RuntimeError(f"the robot ended with status {self._popen.wait()} before '{start}'")

    @property
    def is_running(self):
        return self._popen.poll() is None

    def look(self):
        """What it has now: KiB of memory by name, descriptors, threads. Errors: OSError when gone."""
        found = {}
        with open(f"/proc/{self._popen.pid}/smaps_rollup", encoding="ascii") as table:
            for line in table:
                name, _, rest = line.partition(":")
                if name in ("Rss", "Pss", "Pss_Anon"):
                    found[name] = int(rest.split()[0])
        found["descriptors"] = len(os.listdir(f"/proc/{self._popen.pid}/fd"))
        found["threads"] = len(os.listdir(f"/proc/{self._popen.pid}/task"))
        return found

    def loud_lines(self):
        """The errors that it logged."""
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return [line.rstrip() for line in log if _LOUD.match(line)]

    def kill(self):
        """Ends it as no robot should end."""
        self._popen.kill()

    def stop(self):
        """Ends it as a person would. Returns (status, seconds); None for one that had to be killed."""
        began = time.monotonic()
        self._popen.terminate()
        try:
            status = self._popen.wait(20)
        except subprocess.TimeoutExpired:
            self._popen.kill()
            self._popen.wait()
            status = None
        self._popen.stdout.close()
        return status, time.monotonic() - began
