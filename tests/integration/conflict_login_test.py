"""A login that waits for a person, who decides a conflict with the keyboard."""

import shutil
import subprocess
import sys
import unittest

from harness import wait_for, write
from login_test import Logins

NEEDED = ("Xvfb", "xdotool")
SKIPPED = 77


class Conflicts(Logins):
    def xdotool(self, *arguments):
        done = subprocess.run(
            ["xdotool", *arguments], env=self.world.environment, capture_output=True, text=True, timeout=20, check=False
        )
        return done.stdout.split()

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
        output = login.communicate(timeout=40)[0]
        self.assertEqual(login.returncode, 0, output + self.world.log()[-6000:])
        self.assertIn("nothing is left to sync", output)
        self.assert_nothing_is_left(self.world)
        wait_for(lambda: not self.world.pids("BraidConflicts"), 10, "the end of the window")
        self.assert_synced(self.world)
        self.assertEqual((self.world.network / "Documents/plan.txt").read_text(), "mine\n")
        self.assertEqual(self.world.log().count("Pavo.doSync:kLoginSync Going into runloop"), 2, "a further pass")


if __name__ == "__main__":
    if not all(shutil.which(program) for program in NEEDED):
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv)
