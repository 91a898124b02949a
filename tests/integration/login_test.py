"""Logins and logouts with real processes: what becomes of both homes, the lock, the times and the flags."""

import os
import pwd
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

from harness import BUILD, World, environment_of, tree, wait_for, write, write_many

NETWORK_HOME, LOCAL_HOME = 0, 2  # the answers about a network home that was changed
SYNC_LATER, SYNC_NOW = 0, 1  # the answers about a home that is in use
OTHER_ADDRESS = "02:00:00:00:00:0b"


class Logins(unittest.TestCase):
    maxDiff = None

    def computer(self, **settings):
        world = World(**settings)
        self.addCleanup(world.close)
        return world

    def setUp(self):
        self.world = self.computer()
        self.lock = self.world.network / ".vexlc"

    def expect(self, world, command, *flags, status=0, words="nothing is left to sync"):
        """Runs a login or logout to its end, and looks that nothing of it stays behind."""
        code, output = world.run_session(command, *flags)
        self.assertEqual(code, status, output + world.log()[-6000:])
        self.assertIn(words, output)
        self.assert_nothing_is_left(world)

    def wait_for_the_end(self, world):
        """The engine on the session's own bus ends with the session, everything else with the login or logout."""

        def left():
            return world.pids("roamer", "roamer-session", "roamer-alert") or world.engine_pids(of_session=False)

        wait_for(lambda: not left(), 40, "the end of every process")

    def assert_nothing_is_left(self, world):
        self.wait_for_the_end(world)
        uid = pwd.getpwnam(world.user).pw_uid
        self.assertEqual([entry.name for entry in (world.root / "Library/Session").iterdir()], [f"{uid}.lock"])

    def assert_synced(self, world):
        self.assertEqual(tree(world.local), tree(world.network))
        self.assertFalse(self.lock.exists())
        local, network = world.preferences(), world.preferences(world.network)
        self.assertEqual(local["roamerTime"], network["roamerTime"])

    def fill(self, home):
        write(home / "Library/Preferences/app.plist", "<plist/>")
        write(home / ".profile", "umask 022\n")
        write(home / "Documents/plan.txt", "the plan\n")

    def sync_once(self):
        """An account that is in use: only then does a login trust the network home."""
        self.fill(self.world.local)
        self.world.sync_now()
        self.assert_synced(self.world)

    def change_at_the_server(self, text="theirs, longer\n"):
        """What a computer without a copy of the home does to it, from login to logout."""
        write(self.world.network / "Documents/plan.txt", text)
        write(self.world.network / "Library/Preferences/app.plist", "<plist>theirs</plist>")
        before = self.world.preferences(self.world.network)
        program = [BUILD / "bin/roamer-session", "changed", "--home", self.world.network]
        subprocess.run(program, check=True, env=self.world.environment, timeout=20)
        after = self.world.preferences(self.world.network)
        self.assertGreater(after.pop("homeChangeTime"), self.world.preferences()["roamerTime"])
        self.assertEqual(after, before)


class TwoComputers(Logins):
    def test_a_home_goes_from_one_computer_to_the_other_and_back(self):
        one, other = self.world, self.computer(share=self.world.share, address=OTHER_ADDRESS)
        self.sync_once()
        self.expect(one, "login")
        self.assert_synced(one)

        write(one.local / "Documents/plan.txt", "the plan, changed\n")
        one.sync_now()
        self.assertEqual((one.network / "Documents/plan.txt").read_text(), "the plan, changed\n")
        write(one.local / ".profile", "umask 077\n")
        write(one.local / "Documents/new.txt", "new\n")
        first_time = one.preferences()["roamerTime"]
        self.expect(one, "logout")
        self.assert_synced(one)
        self.assertIs(one.preferences()["roamerCompleted"], True)
        self.assertGreater(one.preferences()["roamerTime"], first_time)

        other.answer(NETWORK_HOME)  # to a computer that has never synced, the network home is a changed one
        self.expect(other, "login")
        self.assert_synced(other)
        self.assertEqual(tree(other.local), tree(one.local))
        (other.local / "Documents/new.txt").unlink()
        write(other.local / "Documents/plan.txt", "the plan, from the other computer\n")
        self.expect(other, "logout")
        self.assert_synced(other)

        self.expect(one, "login")
        self.assert_synced(one)
        self.assertEqual(tree(one.local), tree(other.local))
        self.assertEqual((len(one.alerts()), len(other.alerts())), (0, 1))

    def test_a_home_in_use_is_left_alone_until_the_person_says_otherwise(self):
        self.sync_once()
        other = self.computer(share=self.world.share, address=OTHER_ADDRESS)
        other.answer("wait")
        holder = other.session("login")
        wait_for(lambda: self.lock.exists() and self.lock.read_text() == OTHER_ADDRESS, 20, "the other computer's lock")
        wait_for(other.alerts, 20, "the other computer's question")

        write(self.world.local / "Library/Preferences/app.plist", "<plist>mine</plist>")
        time_before = self.world.preferences()["roamerTime"]
        self.world.answer(SYNC_LATER)
        self.expect(self.world, "logout", words="not everything is synced")
        self.assertEqual((self.world.network / "Library/Preferences/app.plist").read_text(), "<plist/>")
        self.assertEqual(self.lock.read_text(), OTHER_ADDRESS)
        self.assertIs(self.world.preferences()["roamerCompleted"], False)
        self.assertEqual(self.world.preferences()["roamerTime"], time_before)

        # The other computer loses its agent: its lock stays, but nobody holds it open.
        for pid in other.pids("roamer"):
            os.kill(pid, signal.SIGKILL)
        self.assertEqual(holder.wait(timeout=30), 1)
        self.assertIn("the agent ended before the sync was done", holder.stdout.read())
        self.assert_nothing_is_left(other)
        self.assertEqual(self.lock.read_text(), OTHER_ADDRESS)
        self.world.answer(SYNC_NOW, LOCAL_HOME)
        self.expect(self.world, "logout")
        self.assert_synced(self.world)
        self.assertEqual((self.world.network / "Library/Preferences/app.plist").read_text(), "<plist>mine</plist>")


class OneComputer(Logins):
    def test_a_changed_network_home_is_taken(self):
        self.sync_once()
        write(self.world.local / "Library/Preferences/app.plist", "<plist>mine</plist>")
        self.change_at_the_server()
        self.world.answer(NETWORK_HOME)
        self.expect(self.world, "login")
        self.assert_synced(self.world)
        self.assertEqual((self.world.local / "Library/Preferences/app.plist").read_text(), "<plist>theirs</plist>")
        self.assertEqual((self.world.local / "Documents/plan.txt").read_text(), "theirs, longer\n")
        self.expect(self.world, "login")
        self.assertEqual(len(self.world.alerts()), 1, "what was answered is not asked again")

    def test_a_first_login_brings_the_network_home(self):
        self.fill(self.world.network)
        self.world.prefer({"isNewMobileAccount": True})
        self.expect(self.world, "login")
        self.assert_synced(self.world)
        self.assertIs(self.world.preferences()["isNewMobileAccount"], False)
        self.assertEqual(self.world.alerts(), [])
        self.assertIn("kLoginFirstTimeSync", self.world.log())
        self.expect(self.world, "logout", "--first-time")
        self.assertIn("kLogoutFirstTimeSync", self.world.log())

    def test_option_and_shift_forget_what_the_homes_agreed_on(self):
        self.sync_once()
        self.world.hold_option_and_shift()
        write(self.world.network / "Documents/from elsewhere.txt", "hello\n")
        self.world.answer(NETWORK_HOME)
        self.expect(self.world, "login")
        self.assertIn("userWantsForgetMirrorPair=1", self.world.log())
        self.assertIn("prefSyncType=kLoginFirstTimePrefSync", self.world.log())
        self.assertEqual(len(self.world.alerts()), 1, "a pair that starts anew counts as changed")
        self.assert_synced(self.world)

    @unittest.skipUnless(os.getuid() == 0, "only root logs somebody else in")
    def test_links_in_the_home_lead_a_login_that_root_starts_nowhere(self):
        world = self.computer(user="nobody")
        roots = world.top / "roots"
        write(roots / "file", "root's own")
        write(world.network / "Documents/plan.txt", "theirs\n")
        (world.network / "Library/Preferences").rmdir()
        (world.network / "Library/Preferences").symlink_to(roots)
        (world.network / ".vexlc").symlink_to(roots / "file")
        (world.network / ".Braid").symlink_to(roots)
        world.give_to_the_user()
        world.answer(SYNC_NOW, NETWORK_HOME)
        (world.top / "answers").chmod(0o666)
        code, output = world.run_session("login", "--user", "nobody", "--first-time")
        self.assertIn('login of "nobody"', output)
        self.assert_nothing_is_left(world)
        self.assertIn("Pavo.doPavoLoginLogout: done", world.log())
        self.assertEqual([entry.name for entry in roots.iterdir()], ["file"])
        self.assertEqual((roots / "file").read_text(), "root's own")
        self.assertEqual({path.owner() for path in world.local.rglob("*")}, {"nobody"})

    def test_giving_up_the_wait_ends_nothing(self):
        self.sync_once()
        self.change_at_the_server()
        self.world.answer("wait")
        code, output = self.world.run_session("login", "--timeout", "3")
        self.assertEqual(code, 1)
        self.assertIn("gave up waiting after 3 s; the sync goes on", output)
        code, output = self.world.run_session("logout", "--timeout", "1")
        self.assertEqual(code, 1)
        self.assertIn("another login or logout is still under way; nothing was begun", output)
        agents = self.world.pids("roamer")
        self.assertEqual(len(agents), 1)
        for place in ("cmdline", "environ"):
            self.assertNotIn(b"swordfish", Path(f"/proc/{agents[0]}/{place}").read_bytes())
        self.world.answer(LOCAL_HOME)
        self.assert_nothing_is_left(self.world)
        self.assert_synced(self.world)
        self.assertNotIn("swordfish", self.world.log())


class Interrupted(Logins):
    def begin_login(self):
        """A login whose pass is under way."""
        self.sync_once()
        write_many(self.world.local)
        self.before = tree(self.world.local)
        login = self.world.session("login")
        self.world.wait_for_pass("kLoginSync")
        return login

    def recover(self):
        """Nothing is lost or left, and the next login brings all of it to the server."""
        self.wait_for_the_end(self.world)
        self.assertEqual(tree(self.world.local), self.before)
        self.expect(self.world, "login")
        self.assert_synced(self.world)

    def test_an_agent_that_is_killed_in_the_pass(self):
        login = self.begin_login()
        for pid in self.world.pids("roamer"):
            os.kill(pid, signal.SIGKILL)
        self.assertEqual(login.wait(timeout=50), 1)
        self.assertEqual(self.lock.read_text(), self.world.address, "the lock of a killed agent is left behind")
        self.recover()

    def test_a_session_process_that_is_killed_in_the_pass(self):
        login = self.begin_login()
        for pid in self.world.pids("roamer-session"):
            if pid != login.pid:
                os.kill(pid, signal.SIGKILL)
        self.assertEqual(login.wait(timeout=10), 1)
        self.assertIn("the process that did it was ended", login.stdout.read())
        wait_for(lambda: not self.world.pids("roamer"), 40, "the end of what it had started")
        self.recover()

    def test_a_quit_during_a_login(self):
        login = self.begin_login()
        agent = self.world.pids("roamer")[0]
        mark = b"DBUS_SESSION_BUS_ADDRESS="
        address = next(entry for entry in environment_of(agent) if entry.startswith(mark)).removeprefix(mark).decode()
        quit_call = ["--dest=com.kestrel.roamer", "/com/kestrel/roamer", "com.kestrel.roamer.pavo_quit"]
        subprocess.run(["dbus-send", f"--bus={address}", *quit_call], check=True, timeout=20)
        self.assertIn(login.wait(timeout=50), (0, 1))
        self.assertNotIn("the agent ended", login.stdout.read(), "the caller gets its answer")
        self.assertFalse(self.lock.exists())
        self.recover()

    def test_a_logout_during_a_sync_now(self):
        self.fill(self.world.local)
        write_many(self.world.local)
        agent = self.world.start_agent("-s")
        self.world.wait_for_pass("kNowPeriodicSync")
        self.world.answer(LOCAL_HOME)
        code, output = self.world.run_session("logout")
        self.assertEqual(code, 0, output)
        self.assertEqual(agent.wait(timeout=30), 0, "the sync now ends once the logout is done")
        self.assertNotIn("Pavo.setupPeriodicSync", self.world.log())
        self.assert_synced(self.world)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
