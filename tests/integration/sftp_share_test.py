"""A network home on a real SFTP server: an sshd of the test's own on the loopback, with a user whom nobody else knows.

It runs in a mount namespace of its own, where that user is in the account files and nobody sees the mounts.
"""

import contextlib
import os
import random
import shutil
import socket
import subprocess
import sys
import unittest
import urllib.parse
from pathlib import Path

from harness import BUILD, World, tree, wait_for, write

SERVER = "/usr/sbin/sshd"
SERVER_UID = 54321
PASSWORD = "swordfish"


def what_is_missing():
    if os.geteuid() != 0:
        return "only root can lend sshd an account"
    missing = [program for program in (SERVER, "sshfs", "openssl", "ssh-keygen") if not shutil.which(program)]
    if missing or not os.path.exists("/dev/fuse"):
        return "not here: " + ", ".join(missing or ["/dev/fuse"])
    if subprocess.run(["unshare", "--mount", "true"], capture_output=True, check=False).returncode != 0:
        return "no mount namespace can be made here"
    return None


def lend(folder, database, line):
    """Adds a line to an account file, for those in this mount namespace."""
    copy = folder / Path(database).name
    shutil.copy2(database, copy)
    with copy.open("a") as lines:
        lines.write(line)
    subprocess.run(["mount", "--bind", copy, database], check=True)


def free_port():
    """Below those that the system gives to connections, of which one could take it before the server does."""
    for port in random.sample(range(20_000, 30_000), 100):
        with socket.socket() as probe:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            with contextlib.suppress(OSError):
                probe.bind(("127.0.0.1", port))
                return port
    raise AssertionError("no port is free")


class Server:
    def __init__(self, folder, share):
        self.folder = folder
        folder.mkdir()
        self.port = free_port()
        self.url = f"sftp://sharer@127.0.0.1:{self.port}{urllib.parse.quote(str(share))}"
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / "key"], check=True)
        secret = subprocess.run(
            ["openssl", "passwd", "-6", PASSWORD], capture_output=True, text=True, check=True
        ).stdout.strip()
        lend(folder, "/etc/passwd", f"sharer:x:{SERVER_UID}:{SERVER_UID}::/:/bin/sh\n")
        lend(folder, "/etc/shadow", f"sharer:{secret}:19000:0:99999:7:::\n")
        (folder / "config").write_text(
            f"Port {self.port}\nListenAddress 127.0.0.1\nHostKey {folder}/key\nPidFile none\nUsePAM no\n"
            "PasswordAuthentication yes\nSubsystem sftp internal-sftp\nForceCommand internal-sftp\n"
        )
        Path("/run/sshd").mkdir(exist_ok=True)
        self.process = subprocess.Popen([SERVER, "-D", "-f", folder / "config", "-E", folder / "log"])
        wait_for(self.listens, 10, "sshd")

    def listens(self):
        with socket.socket() as client:
            return client.connect_ex(("127.0.0.1", self.port)) == 0

    def known_host(self):
        kind, key = (self.folder / "key.pub").read_text().split()[:2]
        return f"[127.0.0.1]:{self.port} {kind} {key}\n"

    def close(self):
        self.process.kill()
        self.process.wait()
        for database in ("/etc/shadow", "/etc/passwd"):
            subprocess.run(["umount", "-l", database], check=True)


def contents(home):
    """Files with what is in them, folders: servers have ways of their own with modes and times."""
    return {name: facts[0] if facts[0] == "folder" else facts[-1] for name, facts in tree(home).items()}


class HomeOnAServer(unittest.TestCase):
    def set_up(self, server):
        """A world whose network home is on the server of this kind."""
        self.world = World()
        self.addCleanup(self.world.close)
        self.world.top.chmod(0o711)
        self.serve_on_a_system_bus()
        write(self.world.network / "Documents/plan.txt", "the plan\n")
        write(self.world.network / "Library/Preferences/app.plist", "<plist/>")
        for name, target in (("beside", "plan.txt"), ("above", "../Library"), ("elsewhere", "/no/such/place")):
            (self.world.network / "Documents" / name).symlink_to(target)
        for folder, _, files in os.walk(self.world.share):
            for path in [folder] + [os.path.join(folder, name) for name in files]:
                os.chown(path, SERVER_UID, SERVER_UID, follow_symlinks=False)
        self.server = server(self.world.top / "server", self.world.share)
        self.addCleanup(self.server.close)
        home = urllib.parse.quote(self.world.network.name)
        self.world.write_record(
            **{
                "axAttrTypeStandard:OriginalHomeDirectory": [
                    f"<home_dir><url>{self.server.url}</url><path>{home}</path></home_dir>"
                ]
            }
        )
        self.world.prefer({"isNewMobileAccount": True})

    def serve_on_a_system_bus(self):
        """A login has a session bus of its own, but shares the system's with everybody."""
        self.world.children[-1].kill()
        self.world.children[-1].wait()
        environment = self.world.environment
        environment["DBUS_SYSTEM_BUS_ADDRESS"] = environment["DBUS_SESSION_BUS_ADDRESS"]
        self.world.start(BUILD / "bin/lobbyd", "--system")
        self.world.wait_for_name("com.kestrel.lobby.notify")

    def lobby_log(self):
        return (self.world.top / "lobbyd.out").read_text()

    def assert_nothing_is_mounted(self):
        volumes = self.world.root / "Volumes"
        is_empty = lambda: [path.name for path in volumes.glob("*")] == [".lobby"]
        wait_for(is_empty, 10, "the end of the mount:\n" + self.lobby_log())
        self.assertNotIn(str(self.world.root), Path("/proc/self/mountinfo").read_text())

    def login(self, password):
        child = self.world.session("login", password=password)
        output = child.communicate(timeout=60)[0]
        self.assert_nothing_is_mounted()
        return child.returncode, output

    def login_sync_and_logout(self):
        status, output = self.login(PASSWORD)
        what_happened = output + self.lobby_log() + self.world.log()[-4000:]
        self.assertEqual(status, 0, what_happened)
        self.assertEqual(contents(self.world.local), contents(self.world.network), what_happened)

        # The login's password serves for the session; the person types none.
        write(self.world.local / "Documents/plan.txt", "the plan, changed\n")
        self.world.sync_now()
        there = self.world.network / "Documents/plan.txt"
        self.assertEqual(there.read_text(), "the plan, changed\n", self.lobby_log())
        self.assertEqual(there.stat().st_uid, SERVER_UID)
        self.assert_nothing_is_mounted()

        write(self.world.local / "Documents/new.txt", "new\n")
        status, output = self.world.run_session("logout")
        self.assertEqual(status, 0, output)
        self.assertEqual(contents(self.world.local), contents(self.world.network))
        self.assert_nothing_is_mounted()
        for text in (self.lobby_log(), self.world.log()):
            self.assertNotIn(PASSWORD, text)


class SftpShare(HomeOnAServer):
    def setUp(self):
        if missing := what_is_missing():
            self.skipTest(missing)
        self.set_up(Server)
        self.known_hosts = self.world.root / "Library/Preferences/com.kestrel.lobby.known_hosts"
        self.known_hosts.write_text(self.server.known_host())

    def test_a_login_a_sync_and_a_logout_with_a_home_on_an_sftp_server(self):
        self.login("wrong")
        self.assertIn("wrong name or password", self.lobby_log())
        self.assertEqual(list(contents(self.world.local)), ["Library", "Library/Preferences"])
        self.login_sync_and_logout()
        # With the logout the password is forgotten.
        self.world.answer(0)
        self.world.run_agent("-s")
        self.assertIn("Permission denied", self.lobby_log().splitlines()[-1])

    def test_a_server_whose_key_is_not_known_gets_no_password(self):
        self.known_hosts.unlink()
        self.login(PASSWORD)
        self.assertIn("host key is not known", self.lobby_log())
        self.assertNotIn("Accepted password", (self.server.folder / "log").read_text())


if __name__ == "__main__":
    if what_is_missing() is None and "ROAMER_OWN_MOUNTS" not in os.environ:
        os.environ["ROAMER_OWN_MOUNTS"] = "1"
        os.execvp("unshare", ["unshare", "--mount", "--propagation", "private", sys.executable, *sys.argv])
    unittest.main()
