"""Network homes on the kernel's own clients of SMB and NFS. Runs inside the guest that scripts/test-uml boots."""

import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "integration"))

from harness import wait_for
from sftp_share_test import PASSWORD, SERVER_UID, HomeOnAServer, lend


class SmbServer:
    def __init__(self, folder, share):
        folder.mkdir()
        lend(folder, "/etc/passwd", f"sharer:x:{SERVER_UID}:{SERVER_UID}::/:/bin/sh\n")
        self.url = "smb://sharer@127.0.0.1/Shared"
        config = folder / "smb.conf"
        config.write_text(
            f"[global]\nserver role = standalone\nlog file = {folder}/log\ninterfaces = lo\n"
            f"bind interfaces only = yes\nsmb ports = 445\nload printers = no\n[Shared]\npath = {share}\nread only = no\n"
        )
        subprocess.run(
            ["smbpasswd", "-c", config, "-L", "-a", "-s", "sharer"],
            input=f"{PASSWORD}\n{PASSWORD}\n",
            text=True,
            check=True,
            stdout=subprocess.DEVNULL,
        )
        self.process = subprocess.Popen(["smbd", "-F", "--no-process-group", "-s", config], start_new_session=True)
        wait_for(lambda: ":01BD" in Path("/proc/net/tcp").read_text(), 20, "smbd")

    def close(self):
        self.process.terminate()
        self.process.wait()
        subprocess.run(["umount", "-l", "/etc/passwd"], check=True)


class NfsServer:
    def __init__(self, folder, share):
        folder.mkdir()
        self.share = share
        self.url = "nfs://127.0.0.1/"
        # The root of what is served: the guest's own root cannot be.
        options = "rw,insecure,no_subtree_check,no_root_squash,fsid=0"
        subprocess.run(["exportfs", "-o", options, f"127.0.0.1:{share}"], check=True)
        self.mountd = subprocess.Popen(["rpc.mountd", "-F", "-N", "3"])
        subprocess.run(["rpc.nfsd", "-N", "3", "2"], check=True)

    def close(self):
        subprocess.run(["rpc.nfsd", "0"], check=True)
        subprocess.run(["exportfs", "-u", f"127.0.0.1:{self.share}"], check=True)
        self.mountd.terminate()
        self.mountd.wait()


class KernelShares(HomeOnAServer):
    def test_smb(self):
        self.set_up(SmbServer)
        self.login("wrong")
        self.assertIn("wrong name or password", self.lobby_log())
        self.login_sync_and_logout()

    def test_nfs(self):
        self.set_up(NfsServer)
        self.login_sync_and_logout()


if __name__ == "__main__":
    unittest.main()
