"""tools/install-deps on machines that it does not run on here: bare, without root, offline, foreign.

The machine is a folder of stand-ins for the package tools, the only folder on the script's PATH.
"""
import os
import shutil
import subprocess
import tempfile
import unittest

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/install-deps")
PLAIN_TOOLS = ("sed", "tr", "grep", "wc", "env", "echo")


class InstallDeps(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        for tool in PLAIN_TOOLS:
            os.symlink(shutil.which(tool), os.path.join(self.folder, tool))
        self.tool("id", "echo 0")
        self.tool("apt-cache", 'shift; for p; do echo "  Candidate: 1.0"; done')
        self.tool("apt-get", f'echo "apt-get $*" >>"{self.folder}/calls"')

    def tool(self, name, body):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\n" + body + "\n")
        os.chmod(path, 0o755)

    def has(self, *packages):
        listing = "".join(f"echo 'installed {name}'\n" for name in packages)
        self.tool("dpkg-query", listing + "exit 1")

    def has_all(self):
        self.tool("dpkg-query", 'shift 2; for p; do echo "installed $p"; done')

    def run_script(self, *args):
        return subprocess.run(["/bin/sh", SCRIPT, *args], env={"PATH": self.folder},
                              capture_output=True, text=True)

    def calls(self):
        path = os.path.join(self.folder, "calls")
        if not os.path.exists(path):
            return []
        with open(path, encoding="utf-8") as file:
            return file.read().splitlines()

    def test_does_nothing_when_nothing_is_missing(self):
        self.has_all()
        run = self.run_script("test")
        self.assertEqual((run.returncode, self.calls()), (0, []))
        self.assertIn("nothing to install", run.stdout)

    def test_installs_exactly_what_is_missing(self):
        self.tool("dpkg-query", 'shift 2; for p; do [ $p = cmake ] || echo "installed $p"; done; exit 1')
        run = self.run_script()
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(self.calls(), ["apt-get install -y -q --no-install-recommends cmake"])

    def test_installs_node_only_where_there_is_none(self):
        self.tool("dpkg-query", 'shift 2; for p; do case $p in nodejs|npm) ;; '
                  '*) echo "installed $p";; esac; done; exit 1')
        self.assertEqual(self.run_script("test").returncode, 0)
        self.assertEqual(self.calls(), ["apt-get install -y -q --no-install-recommends nodejs npm"])
        self.tool("node", ":")
        self.tool("npm", ":")
        self.assertIn("nothing to install", self.run_script("test").stdout)

    def test_a_package_that_was_removed_is_missing(self):
        self.tool("dpkg-query", 'shift 2; for p; do [ $p = cmake ] && echo "config-files $p" || '
                  'echo "installed $p"; done')
        self.assertEqual(self.run_script().returncode, 0)
        self.assertEqual(self.calls(), ["apt-get install -y -q --no-install-recommends cmake"])

    def test_fetches_the_lists_first_when_a_package_is_in_none(self):
        self.has("make")
        self.tool("apt-cache", ":")
        self.assertEqual(self.run_script().returncode, 0)
        self.assertEqual([call.split()[1] for call in self.calls()], ["update", "install"])

    def test_uses_sudo_when_not_root(self):
        self.has("make")
        self.tool("id", "echo 1000")
        self.tool("sudo", f'echo "sudo" >>"{self.folder}/calls"; "$@"')
        self.assertEqual(self.run_script().returncode, 0)
        self.assertEqual(self.calls()[0], "sudo")

    def assert_names_packages(self, run, reason):
        self.assertEqual(run.returncode, 1)
        self.assertIn(reason, run.stderr)
        self.assertIn("Install these packages", run.stderr)
        self.assertIn("libgrpc++-dev", run.stderr)

    def test_without_root_and_sudo_it_names_the_packages(self):
        self.has("make")
        self.tool("id", "echo 1000")
        run = self.run_script()
        self.assert_names_packages(run, "needs root, and there is no sudo")
        self.assertNotIn(" make ", run.stderr.splitlines()[-1] + " ")

    def test_on_a_foreign_system_it_names_the_packages(self):
        self.assert_names_packages(self.run_script(), "not a Debian system")

    def test_without_apt_get_it_names_the_packages(self):
        self.has("make")
        os.remove(os.path.join(self.folder, "apt-get"))
        self.assert_names_packages(self.run_script(), "no apt-get")

    def test_offline_it_tries_the_lists_once_and_names_the_packages(self):
        self.has("make")
        self.tool("apt-get", f'echo "apt-get $1" >>"{self.folder}/calls"; exit 100')
        self.assert_names_packages(self.run_script(), "could not be fetched")
        self.assertEqual(self.calls(), ["apt-get install", "apt-get update"])

    def test_the_sets_grow_from_running_over_python_to_testing(self):
        self.has("make")
        wanted = []
        for one in ("run", "python", "test"):
            self.assertEqual(self.run_script(one).returncode, 0)
            wanted.append(set(self.calls()[-1].split()))
        self.assertTrue(wanted[0] < wanted[1] < wanted[2])
        self.assertIn("python3-grpcio", wanted[1] - wanted[0])
        self.assertIn("python3-pytest", wanted[2] - wanted[1])

    def test_an_unknown_set_is_wrong_usage(self):
        run = self.run_script("everything")
        self.assertEqual(run.returncode, 2)
        self.assertIn("usage:", run.stderr)


if __name__ == "__main__":
    unittest.main()
