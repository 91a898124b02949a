"""Logins and logouts while the network home's server does not answer: a bindfs process that is stopped."""

import os
import signal
import subprocess
import sys
import time
import unittest

from harness import tree, wait_for, write
from login_test import Logins

GOES_ON_WITHIN = 30


class StalledServer(Logins):
    def setUp(self):
        super().setUp()
        behind = self.world.top / "behind"
        self.world.network.rename(behind)
        self.world.network.mkdir()
        try:
            self.server = subprocess.Popen(["bindfs", "-f", str(behind), str(self.world.network)])
        except FileNotFoundError:
            self.skipTest("no bindfs here")
        self.addCleanup(self.end_server)
        if not os.path.exists("/dev/fuse"):
            self.skipTest("no FUSE here")
        wait_for(lambda: os.path.ismount(self.world.network), 10, "the server")
        self.sync_once()

    def assert_synced(self, world):
        """In content: bindfs forgets a modification time that is set alone."""

        def contents(home):
            return {name: (facts[0], facts[-1]) for name, facts in tree(home).items()}

        self.assertEqual(contents(world.local), contents(world.network))
        self.assertFalse(self.lock.exists())
        self.assertEqual(world.preferences()["roamerTime"], world.preferences(world.network)["roamerTime"])

    def end_server(self):
        self.resume()
        self.server.kill()
        self.server.wait()
        subprocess.run(["umount", "-l", str(self.world.network)], stderr=subprocess.DEVNULL, check=False)

    def stall(self):
        os.kill(self.server.pid, signal.SIGSTOP)

    def resume(self):
        os.kill(self.server.pid, signal.SIGCONT)

    def assert_goes_on(self, child, said):
        """Although the server is silent."""
        start = time.monotonic()
        child.communicate(timeout=120)
        self.assertLess(time.monotonic() - start, GOES_ON_WITHIN, self.world.log()[-4000:])
        self.assertIn(said, self.world.log())

    def workers(self):
        return self.world.pids("roamer-far")

    def test_a_server_that_is_silent_at_login_and_logout(self):
        write(self.world.local / "Documents/plan.txt", "changed meanwhile\n")
        for command in ("login", "logout"):
            self.stall()
            self.world.answer(0)  # the home cannot be used, a person is told
            said = f'no answer from the file system at "{self.world.network}"'
            self.assert_goes_on(self.world.session(command), said)
            wait_for(lambda: not self.workers(), 10, "the end of the stuck workers")
            self.resume()
            self.wait_for_the_end(self.world)
        self.expect(self.world, "login")
        self.assert_synced(self.world)
        self.assertEqual(self.workers(), [])

    def test_a_server_that_falls_silent_while_the_home_is_locked(self):
        self.change_at_the_server()
        self.world.answer("wait")
        login = self.world.session("login")
        wait_for(self.world.alerts, 20, "the question about the changed home")
        self.assertEqual(self.lock.read_text(), self.world.address)
        self.stall()
        self.world.answer(1)
        self.assert_goes_on(login, "pavoCleanupVEXLockFileInHomeDir delete of")
        self.resume()
        self.wait_for_the_end(self.world)
        self.assertEqual(self.lock.read_text(), self.world.address, "our own lock is left, for us to take again")
        self.world.answer(0)
        self.expect(self.world, "login")
        self.assert_synced(self.world)

    def test_a_server_that_falls_silent_in_the_pass(self):
        for number in range(1000):
            write(self.world.local / f"Library/Preferences/many/{number}.txt", f"{number}\n")
        before = len(self.world.log())
        login = self.world.session("login")
        wait_for(lambda: "syncState=SyncSetStateProcessing" in self.world.log()[before:], 30, "the pass at work")
        self.stall()
        self.assert_goes_on(login, f'"{self.world.network}" does not answer')
        self.resume()
        self.wait_for_the_end(self.world)
        self.expect(self.world, "login")
        self.assert_synced(self.world)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
