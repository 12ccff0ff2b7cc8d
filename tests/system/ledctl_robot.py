"""A robot of its own for tests of ledctl, and ledctl as people run it: piped, or on a terminal."""
import fcntl
import os
import pty
import select
import signal
import struct
import subprocess
import tempfile
import termios
import time

DEADLINE = 20  # seconds: more than any healthy step takes, also on a machine that is busy
# Nothing of the person who runs the tests.
VARIABLES = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "TERM": "xterm-256color"}


class Robot:
    """Runs until the end of the `with`; `address` is a Unix socket."""

    def __init__(self, tavro, ledctl, *options):
        self.ledctl = ledctl
        self._folder = tempfile.TemporaryDirectory(prefix="ledctl-")
        self.home = os.path.join(self._folder.name, "home")
        os.mkdir(self.home)
        self.address = "unix:" + os.path.join(self._folder.name, "robot.sock")
        self._process = subprocess.Popen(
            [tavro, "--model", "models/vanto.xml", "--listen", "127.0.0.1:0", "--socket",
             self.address.removeprefix("unix:"),
             *(() if "--page" in options else ("--page", "none")), *options],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        for line in self._process.stdout:
            if line.startswith("listening "):
                self.tcp = line.split("grpc=")[1].split()[0]
            if line.startswith("ready "):
                break
        else:
            raise RuntimeError("the robot did not get ready")

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self._process.send_signal(signal.SIGTERM)
        try:
            self._process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            self._process.kill()
        self._process.stdout.close()
        self._folder.cleanup()

    def variables(self, **more):
        """The environment of a person who uses this robot."""
        return VARIABLES | {"HOME": self.home, "LEDCTL_ROBOT": self.address} | more

    def run(self, *words, **variables):
        """ledctl, piped, to its end."""
        return subprocess.run([self.ledctl, *words], env=self.variables(**variables),
                              capture_output=True, text=True, timeout=DEADLINE)

    def on_terminal(self, *words, rows=24, columns=80, **variables):
        return OnTerminal([self.ledctl, *words], rows, columns, self.variables(**variables))


class OnTerminal:
    """A program on a terminal of its own; `output` is all that it has written."""

    def __init__(self, command, rows, columns, variables):
        self.fd, inner = pty.openpty()
        self.settings = termios.tcgetattr(self.fd)
        self.output = b""
        self.resize(rows, columns, tell=False)
        self.process = subprocess.Popen(command, stdin=inner, stdout=inner, stderr=inner,
                                        env=variables, start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(inner)

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.fd)

    def resize(self, rows, columns, tell=True):
        fcntl.ioctl(self.fd, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        if tell:
            self.process.send_signal(signal.SIGWINCH)

    def type(self, keys):
        os.write(self.fd, keys)

    def read(self, seconds=0.1):
        """Takes in what comes within that time; b"" when nothing did or the program has gone."""
        if not select.select([self.fd], [], [], seconds)[0]:
            return b""
        try:
            more = os.read(self.fd, 65536)
        except OSError:
            return b""
        self.output += more
        return more

    def read_until(self, holds):
        """Reads until `holds()`; fails with all that was written when it does not in time."""
        end = time.monotonic() + DEADLINE
        while not holds():
            if time.monotonic() > end:
                raise AssertionError(f"not in time; written was {self.output!r}")
            self.read()

    def wait(self):
        """The exit status; 128 + n when signal n ended it."""
        self.read_until(lambda: self.process.poll() is not None)
        while self.read(0.2):
            pass
        return self.process.returncode if self.process.returncode >= 0 else (
            128 - self.process.returncode)
