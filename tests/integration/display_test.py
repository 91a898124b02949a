"""Logins and logouts with a display: a person who decides a conflict with the keyboard, and a display that dies."""

import shutil
import signal
import subprocess
import sys
import unittest

from harness import wait_for, write, write_many
from login_test import Logins


class Displays(Logins):
    def setUp(self):
        if not (shutil.which("Xvfb") and shutil.which("xdotool")):
            self.skipTest("no Xvfb or no xdotool here")
        super().setUp()

    def xdotool(self, *arguments):
        done = subprocess.run(
            ["xdotool", *arguments], env=self.world.environment, capture_output=True, text=True, timeout=20, check=False
        )
        return done.stdout.split()

    def assert_well_ended(self, child):
        output = child.communicate(timeout=60)[0]
        self.assertEqual(child.returncode, 0, output + self.world.log()[-6000:])
        self.assert_nothing_is_left(self.world)
        self.assert_synced(self.world)

    def test_a_conflict_decided_in_the_window_ends_a_waiting_login(self):
        self.world.prefer(
            {"backgroundConflictResolution": "showConflictDialogs", "loginSyncDialogTimeoutSeconds": 60.0}
        )
        self.sync_once()
        write(self.world.local / "Documents/plan.txt", "mine\n")
        write(self.world.network / "Documents/plan.txt", "theirs, longer\n")
        write(self.world.local / "Documents/fine.txt", "no conflict\n")
        self.world.start_x_server()
        login = self.world.session("login")
        self.world.wait_for_log("Pavo.waitTillConflictsResolved:1 maxWait = 60")
        window = wait_for(lambda: self.xdotool("search", "--onlyvisible", "--class", "BraidConflicts"), 20, "the window")
        self.assertIsNone(login.poll(), "the login waits")
        self.assertEqual((self.world.network / "Documents/plan.txt").read_text(), "theirs, longer\n")

        def keep_this_computers():
            self.xdotool("windowfocus", window[-1], "key", "alt+t")
            return "exiting with result = 1" in self.world.log()

        wait_for(keep_this_computers, 20, "the end of the login's wait")
        self.assert_well_ended(login)
        wait_for(lambda: not self.world.pids("BraidConflicts"), 10, "the end of the window")
        self.assertEqual((self.world.network / "Documents/plan.txt").read_text(), "mine\n")
        self.assertEqual(self.world.log().count("Pavo.doSync:kLoginSync Going into runloop"), 2, "a further pass")

    def test_an_x_server_that_dies_in_a_logout(self):
        self.sync_once()
        write_many(self.world.local)
        server = self.world.start_x_server()
        logout = self.world.session("logout")
        self.world.wait_for_log('layout "PavoProgressNoClose" loaded=1')
        self.world.wait_for_log("Pavo.doSync:kLogoutSync Going into runloop")
        wait_for(lambda: self.world.log().split("Pavo.doSync:kLogoutSync Going")[1].count("Processing"), 20, "the pass")
        server.send_signal(signal.SIGKILL)
        self.assert_well_ended(logout)
        self.assertFalse(self.world.pids("roamer-window"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
