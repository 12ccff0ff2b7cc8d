"""Runs the shell examples of docs/remote.md as they are printed there, against a real robot.

    remote_docs_test.py TAVRO LEDCTL

The guide tells first how a robot is started and then what it needs, so the blocks run by what they are.
Its address is one that only its readers have: this machine's stands in for it, and a free port.
"""
import os
import re
import socket
import stat
import subprocess
import sys
import tempfile
import unittest

from ledctl_robot import DEADLINE, VARIABLES

TAVRO, LEDCTL = sys.argv[1:3]
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


class Examples(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="remote-docs-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        path = ":".join({os.path.dirname(TAVRO), os.path.dirname(LEDCTL)}) + ":" + os.environ["PATH"]
        self.variables = VARIABLES | {"PATH": path, "HOME": self.folder,
                                      "XDG_RUNTIME_DIR": self.folder}
        port = free_port()
        with open("docs/remote.md", encoding="utf-8") as file:
            text = file.read()
        self.blocks = [(kind, block.replace("192.0.2.7", "127.0.0.1").replace("5480", port))
                       for kind, block in BLOCK.findall(text) if kind != "cpp"]

    def block(self, start):
        """The one block that begins so; each is asked for once."""
        found = [entry for entry in self.blocks if entry[1].startswith(start)]
        self.assertEqual(len(found), 1, start)
        self.blocks.remove(found[0])
        return found[0][1]

    def run_shell(self, script):
        return subprocess.run(["bash", "-euc", script], cwd=self.folder, env=self.variables,
                              capture_output=True, text=True, timeout=DEADLINE)

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, stat.S_IRUSR | stat.S_IWUSR)

    def start(self, script):
        robot = subprocess.Popen(["bash", "-euc", "exec " + script], cwd=self.folder,
                                 env=self.variables, stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, text=True)

        def end():
            robot.terminate()
            robot.communicate(timeout=DEADLINE)
        self.addCleanup(end)
        for line in robot.stdout:
            if line.startswith("ready "):
                return
        self.fail("the robot did not get ready: " + robot.stderr.read())

    def test_a_robot_is_reached_by_tls_with_a_token_as_the_guide_says(self):
        made = self.run_shell(self.block("head -c"))
        self.assertRegex(made.stdout, r"\A[\w+/]{20}\n\Z")
        tokens = self.block("# who may what")
        operator = re.search(r"^operator\s+(\S+)", tokens, re.MULTILINE)[1]
        viewer = re.search(r"^viewer\s+(\S+)", tokens, re.MULTILINE)[1]
        self.write("tokens", tokens)
        ended = self.run_shell(self.block("openssl req"))
        self.assertEqual(ended.returncode, 0, ended.stderr)
        self.start(self.block("tavro --listen"))

        ask = self.block("ledctl --robot")
        self.assertEqual(self.blocks, [], "examples that nothing runs")
        for token, status, words in ((operator, 0, ""), (made.stdout.strip(), 1, "token"),
                                     (viewer, 1, "needs the role operator; yours is viewer")):
            self.write("my-token", token + "\n")
            ended = self.run_shell(ask)
            self.assertEqual(ended.returncode, status, ended.stderr)
            self.assertIn(words, ended.stderr)
        self.write("my-token", operator + "\n")
        os.chmod(os.path.join(self.folder, "my-token"), 0o644)
        self.assertNotEqual(self.run_shell(ask).returncode, 0, "others may read the token")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
