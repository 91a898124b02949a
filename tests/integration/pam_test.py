"""The PAM module in a real stack, driven by pamtester, with a stand-in for roamer-session that notes what it is given."""

import os
import secrets
import shutil
import subprocess
import unittest
from pathlib import Path

from harness import BUILD, MADE_USER as USER, MadeUser

PASSWORD = secrets.token_urlsafe()
SERVICE = f"roamer-test-{os.getpid()}"

# Notes its arguments, its input and its environment, says what the file "words" holds, and ends as "status" says.
STAND_IN = """#!/bin/sh
{ echo "$*"; cat; echo; } >> "$(dirname "$0")/calls"
env > "$(dirname "$0")/environment"
echo "all is well"
cat "$(dirname "$0")/words" >&2
exit "$(cat "$(dirname "$0")/status")"
"""


class Pam(MadeUser):
    def setUp(self):
        super().setUp()
        if not shutil.which("pamtester"):
            self.skipTest("no pamtester here")
        program = self.top / "roamer-session"
        program.write_text(STAND_IN)
        program.chmod(0o755)
        (self.top / "status").write_text("0")
        (self.top / "words").write_text("")
        self.records = self.top / "Library/Directory/Local/Users"
        self.records.mkdir(parents=True)
        (self.records / f"{USER}.plist").write_text("record")

    def stack(self, password_check="/bin/true", options=""):
        service = Path("/etc/pam.d") / SERVICE
        module = (
            f"{BUILD}/lib/pam_roamer.so program={self.top}/roamer-session root={self.top} run={self.top}/run {options}"
        )
        service.write_text(
            f"auth requisite pam_exec.so expose_authtok quiet {password_check}\n"
            f"auth optional {module}\nauth required pam_permit.so\n"
            f"account required pam_permit.so\nsession required pam_permit.so\nsession optional {module}\n"
        )
        self.addCleanup(service.unlink, missing_ok=True)

    def run_stack(self, *operations, user=USER):
        done = subprocess.run(
            ["pamtester", SERVICE, user, *operations],
            input=PASSWORD + "\n", text=True, capture_output=True, timeout=60, check=False,
        )
        return done.returncode, done.stdout + done.stderr

    def calls(self):
        file = self.top / "calls"
        return file.read_text().splitlines() if file.exists() else []

    def test_password_goes_to_the_first_session_only_by_its_input(self):
        self.stack(options="timeout=7")
        self.assertEqual(self.run_stack("authenticate", "open_session", "close_session")[0], 0)
        self.assertEqual(
            self.calls(),
            [f"login --user {USER} --timeout 7", PASSWORD, f"logout --user {USER} --timeout 7", ""],
        )
        self.assertNotIn(PASSWORD, (self.top / "environment").read_text())

    def test_only_a_persons_first_and_last_session_sync(self):
        # A session of a process that is gone does not count.
        uid = int(subprocess.run(["id", "-u", USER], capture_output=True, text=True, check=True).stdout)
        counts = self.top / "run" / str(uid)
        counts.mkdir(parents=True)
        (counts / "999999.1").touch()
        own_start = Path("/proc/self/stat").read_text().rsplit(")", 1)[1].split()[19]
        cases = [  # what is open already, user, record there, how often something runs
            ([], USER, True, 2),
            ([f"{os.getpid()}.{own_start}"], USER, True, 0),
            ([], USER, False, 0),
            ([], "root", True, 0),
        ]
        self.stack()
        for is_open, user, has_record, expected in cases:
            with self.subTest(is_open=is_open, user=user, has_record=has_record):
                (self.top / "calls").unlink(missing_ok=True)
                record = self.records / f"{USER}.plist"
                record.unlink(missing_ok=True)
                if has_record:
                    record.write_text("record")
                for name in is_open:
                    (counts / name).touch()
                self.assertEqual(self.run_stack("authenticate", "open_session", "close_session", user=user)[0], 0)
                self.assertEqual(len([line for line in self.calls() if USER in line]), expected)
                for name in is_open:
                    (counts / name).unlink()

    def test_a_login_never_fails_because_of_the_sync(self):
        self.stack()
        for status, words, expected in [
            ("1", "roamer-session: the share is not there\n", "Roamer: the share is not there"),
            ("0", "roamer-session: 2 conflicts\n", "Roamer: 2 conflicts"),
            ("0", "", None),
            ("3", "", "Roamer: the homes could not be synced"),
        ]:
            (self.top / "status").write_text(status)
            (self.top / "words").write_text(words)
            code, said = self.run_stack("authenticate", "open_session", "close_session")
            self.assertEqual(code, 0)
            self.assertIn(expected or "", said)
            self.assertEqual("Roamer" in said, expected is not None, said)
        # Without a password (a key) the person hears what that means.
        status, said = self.run_stack("open_session", "close_session")
        self.assertEqual(status, 0)
        self.assertIn("without a password", said)
        (self.top / "roamer-session").unlink()
        self.assertEqual(self.run_stack("authenticate", "open_session", "close_session")[0], 0)

    def test_wrong_password_starts_nothing(self):
        self.stack(password_check="/bin/false")
        self.assertNotEqual(self.run_stack("authenticate", "open_session")[0], 0)
        self.assertEqual(self.calls(), [])

    def test_network_home_is_stamped_at_the_end_of_each_session(self):
        (self.records / f"{USER}.plist").unlink()
        self.stack(options="network_home")
        self.assertEqual(self.run_stack("authenticate", "open_session", "close_session")[0], 0)
        self.assertEqual(self.calls(), [f"changed --user {USER}", ""])


if __name__ == "__main__":
    unittest.main()
