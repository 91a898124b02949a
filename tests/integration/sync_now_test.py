"""Real processes, real homes: what a person's files look like after `roamer -s`, whatever happens meanwhile."""

import json
import os
import signal
import subprocess
import sys
import time
import unittest

from harness import BUILD, World, tree, wait_for, write


class SyncNow(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.world = World()
        self.addCleanup(self.world.close)

    def assert_in_step(self):
        self.assertEqual(tree(self.world.local), tree(self.world.network))

    def fill_local(self):
        local = self.world.local
        write(local / "Documents/plan.txt", "the plan\n")
        write(local / "Documents/deep/er/notes.txt", "notes\n")
        write(local / "Music/tune", "la\n")
        write(local / ".config/app/settings", "dark = yes\n")
        write(local / "Library/Preferences/app.plist", "<plist/>")
        (local / "Documents/link").symlink_to("plan.txt")
        os.chmod(local / "Music/tune", 0o600)

    def many_files(self, count=3000):
        """Enough of them that a pass is still under way when a test looks."""
        for number in range(count):
            write(self.world.local / f"Documents/many/{number // 500}/{number}.txt", f"{number}\n" * 20)

    def wait_for_pass(self):
        self.world.wait_for_log("Pavo.doSync:kNowPeriodicSync Going into runloop")
        self.world.wait_for_log("syncState=SyncSetStateProcessing")

    # What a pass does to the homes

    def test_first_sync_copies_everything(self):
        self.fill_local()
        write(self.world.network / "Documents/from elsewhere.txt", "hello\n")
        self.world.sync_now()
        self.assert_in_step()
        self.assertTrue((self.world.local / "Documents/from elsewhere.txt").exists())
        self.assertTrue((self.world.network / ".Braid").is_dir())
        self.assertEqual(self.world.statuses(), [0])
        local, network = self.world.preferences(), self.world.preferences(self.world.network)
        self.assertEqual(local["roamerTime"], network["roamerTime"])

    def test_edits_on_both_sides_meet(self):
        self.fill_local()
        self.world.sync_now()
        local, network = self.world.local, self.world.network
        write(local / "Documents/plan.txt", "the plan, changed here\n")
        write(network / "Documents/deep/er/notes.txt", "notes, changed there\n")
        write(network / "Documents/new there.txt", "new\n")
        (local / "Music/tune").unlink()
        self.world.sync_now()
        self.assert_in_step()
        self.assertEqual((network / "Documents/plan.txt").read_text(), "the plan, changed here\n")
        self.assertEqual((local / "Documents/deep/er/notes.txt").read_text(), "notes, changed there\n")
        self.assertTrue((local / "Documents/new there.txt").exists())
        self.assertFalse((network / "Music/tune").exists())

    def test_jobs_have_exclusions_of_their_own(self):
        self.world.prefer(
            {
                "excludedPrefItems": [{"comparison": "endsWith", "value": ".pref-skip"}],
                "excludedItems": [{"comparison": "endsWith", "value": ".doc-skip"}],
            }
        )
        for folder in ("Library/App", "Documents"):
            for name in ("a.pref-skip", "a.doc-skip", "a.txt"):
                write(self.world.local / folder / name, name)
        self.world.sync_now()
        found = {path for path, facts in tree(self.world.network).items() if facts[0] == "file"}
        # A preference item that its own job leaves out is kept out of the background job by that job's rules.
        self.assertEqual(
            found, {"Library/App/a.doc-skip", "Library/App/a.txt", "Documents/a.pref-skip", "Documents/a.txt"}
        )

    def test_a_conflict_is_left_for_the_person(self):
        self.fill_local()
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

    # What happens while a pass runs

    def test_a_second_sync_now_is_turned_away(self):
        self.many_files()
        first = self.world.start_agent("-s")
        self.wait_for_pass()
        self.assertEqual(self.world.run_agent("-s"), 0)
        self.world.wait_for_log("Pavo.syncNow Server is busy! Ignoring command")
        self.assertEqual(first.wait(timeout=60), 0)
        self.assert_in_step()
        self.assertEqual(self.world.statuses(), [0])

    def test_refresh_during_a_pass_ends_the_agent_and_no_file(self):
        self.many_files()
        first = self.world.start_agent("-s")
        self.wait_for_pass()
        self.assertEqual(self.world.run_agent("-r"), 0)
        self.assertEqual(first.wait(timeout=60), 0)
        self.assertIn("Pavo.refreshPreferences Server is busy! Ignoring command", self.world.log())
        # The pass was told to end; a sync now before it has would only show how it ends.
        is_idle = r'"SyncSetStateKey"\s+variant\s+int64 0'
        wait_for(lambda: self.world.engine_says("info", is_idle), 30, "the end of the pass")
        self.world.sync_now()
        self.assert_in_step()

    def test_an_engine_that_is_killed_costs_nothing(self):
        self.many_files()
        first = self.world.start_agent("-s")
        self.wait_for_pass()
        for pid in self.world.engine_pids():
            os.kill(pid, signal.SIGKILL)
        self.assertEqual(first.wait(timeout=90), 0)
        self.assertEqual(self.world.statuses(), [-2])
        self.world.sync_now()
        self.assertEqual(self.world.statuses(), [-2, 0])
        self.assert_in_step()

    # When there is nothing to sync with

    def test_a_missing_share_deletes_nothing(self):
        self.fill_local()
        self.world.sync_now()
        before = tree(self.world.local)
        self.world.share.rename(self.world.top / "away")
        self.world.sync_now()
        self.assertEqual(tree(self.world.local), before)
        self.assertIn("Pavo.doUnableToMountHomeForSyncMsg", self.world.log())
        self.assertEqual(self.world.statuses(), [0])
        (self.world.top / "away").rename(self.world.share)
        self.world.sync_now()
        self.assert_in_step()

    def test_an_emptied_network_home_deletes_nothing(self):
        self.fill_local()
        self.world.sync_now()
        before = tree(self.world.local)
        self.world.network.rename(self.world.top / "aside")
        (self.world.network / "Library/Preferences").mkdir(parents=True)
        self.world.sync_now()
        self.assertEqual(tree(self.world.local), before)
        self.assert_in_step()

    # The agent as a server

    def test_of_two_agents_one_serves(self):
        first = self.world.start_agent()
        self.world.wait_for_name("com.kestrel.roamer")
        self.assertEqual(self.world.run_agent(seconds=20), 0)
        self.assertIn("Roamer- Unable to create the Roamer connection", self.world.log())
        self.assertIsNone(first.poll())
        self.world.bus("--dest=com.kestrel.roamer", "/com/kestrel/roamer", "com.kestrel.roamer.pavo_quit")
        self.assertEqual(first.wait(timeout=20), 0)

    def test_refresh_programs_the_background_sync(self):
        self.fill_local()
        self.world.prefer({"syncPeriodSeconds": 60})
        self.assertEqual(self.world.run_agent("-r"), 0)
        self.assertIn("Pavo.setupPeriodicSync: phdSyncSet.isAutomaticallySyncing = TRUE", self.world.log())
        # An engine that has just started leaves the machine in peace for a minute; what it will do it tells at once.
        self.assertTrue(self.world.engine_says("describeSet", r'"isAutomaticallySyncing"\s+variant\s+boolean true'))
        self.assertTrue(self.world.engine_says("describeSet", r'"automaticSyncInterval"\s+variant\s+double 60'))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
