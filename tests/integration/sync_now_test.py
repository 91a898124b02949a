"""Real processes, real homes: what a person's files look like after `roamer -s`, whatever happens meanwhile."""

import json
import os
import signal
import subprocess
import sys
import time
import unittest

from harness import BUILD, World, tree, wait_for, write, write_many


class SyncNow(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)

    def assert_in_step(self):
        self.assertEqual(tree(self.world.local), tree(self.world.network))

    def begin_a_long_pass(self):
        write_many(self.world.local)
        agent = self.world.start_agent("-s")
        self.world.wait_for_pass("kNowPeriodicSync")
        return agent

    def test_both_homes_meet_but_for_what_a_job_leaves_out(self):
        local, network = self.world.local, self.world.network
        self.world.prefer(
            {
                "excludedPrefItems": [{"comparison": "endsWith", "value": ".pref-skip"}],
                "excludedItems": [{"comparison": "endsWith", "value": ".doc-skip"}],
            }
        )
        for folder in ("Library/App", "Documents"):
            for name in ("a.pref-skip", "a.doc-skip", "a.txt"):
                write(local / folder / name, name)
        (local / "Documents/link").symlink_to("a.txt")
        os.chmod(local / "Documents/a.txt", 0o600)
        write(network / "Documents/from elsewhere.txt", "hello\n")
        self.world.sync_now()
        # A preference item that its own job leaves out is kept out of the background job by that job's rules.
        self.assertFalse((network / "Library/App/a.pref-skip").exists() or (network / "Documents/a.doc-skip").exists())
        self.assertEqual(len(tree(network)), len(tree(local)) - 2)

        (local / "Library/App/a.pref-skip").unlink()
        (local / "Documents/a.doc-skip").unlink()
        self.assert_in_step()
        write(local / "Documents/a.txt", "changed here\n")
        write(network / "Documents/a.pref-skip", "changed there\n")
        (local / "Documents/from elsewhere.txt").unlink()
        self.world.sync_now()
        self.assert_in_step()
        self.assertEqual((network / "Documents/a.txt").read_text(), "changed here\n")
        self.assertEqual((local / "Documents/a.pref-skip").read_text(), "changed there\n")
        self.assertFalse((network / "Documents/from elsewhere.txt").exists())
        self.assertEqual(self.world.statuses(), [0, 0])
        self.assertEqual(self.world.preferences()["roamerTime"], self.world.preferences(network)["roamerTime"])

    def test_a_conflict_is_left_for_the_person(self):
        write(self.world.local / "Documents/plan.txt", "the plan\n")
        self.world.sync_now()
        write(self.world.local / "Documents/plan.txt", "mine\n")
        write(self.world.network / "Documents/plan.txt", "theirs, longer\n")
        write(self.world.local / "Documents/other.txt", "no conflict\n")
        self.world.sync_now()
        self.assertEqual((self.world.local / "Documents/plan.txt").read_text(), "mine\n")
        self.assertEqual((self.world.network / "Documents/plan.txt").read_text(), "theirs, longer\n")
        self.assertTrue((self.world.network / "Documents/other.txt").exists())
        # What the server's administrator sees of it names no file.
        fleet = subprocess.run(
            [BUILD / "bin/roamerctl", "fleet", self.world.share, "--json"], capture_output=True, text=True, check=False
        )
        self.assertEqual(fleet.returncode, 1)
        row = json.loads(fleet.stdout)[0]
        self.assertEqual((row["home"], row["conflicts"], row["errors"]), (self.world.network.name, 1, 0))
        self.assertAlmostEqual(row["lastGoodPass"], time.time(), delta=60)
        self.assertNotIn("plan", fleet.stdout)

    def test_refresh_during_a_pass_ends_the_agent_and_no_file(self):
        first = self.begin_a_long_pass()
        self.assertEqual(self.world.run_agent("-r"), 0)
        self.assertEqual(first.wait(timeout=60), 0)
        self.assertIn("Pavo.refreshPreferences Server is busy! Ignoring command", self.world.log())
        # The pass was told to end; a sync now before it has would only show how it ends.
        is_idle = r'"SyncSetStateKey"\s+variant\s+int64 0'
        wait_for(lambda: self.world.engine_says("info", is_idle), 30, "the end of the pass")
        self.world.sync_now()
        self.assert_in_step()

    def test_an_engine_that_is_killed_costs_nothing(self):
        first = self.begin_a_long_pass()
        for pid in self.world.engine_pids():
            os.kill(pid, signal.SIGKILL)
        self.assertEqual(first.wait(timeout=90), 0)
        self.assertEqual(self.world.statuses(), [-2])
        self.world.sync_now()
        self.assertEqual(self.world.statuses(), [-2, 0])
        self.assert_in_step()

    def test_a_missing_share_or_an_emptied_network_home_deletes_nothing(self):
        write(self.world.local / "Documents/plan.txt", "the plan\n")
        self.world.sync_now()
        before = tree(self.world.local)
        self.world.share.rename(self.world.top / "away")
        self.world.sync_now()
        self.assertEqual(tree(self.world.local), before)
        self.assertIn("Pavo.doUnableToMountHomeForSyncMsg", self.world.log())
        self.assertEqual(self.world.statuses(), [0])
        (self.world.top / "away").rename(self.world.share)
        self.world.network.rename(self.world.top / "aside")
        (self.world.network / "Library/Preferences").mkdir(parents=True)
        self.world.sync_now()
        self.assertEqual(tree(self.world.local), before)
        self.assert_in_step()


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
