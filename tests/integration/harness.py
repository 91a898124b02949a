"""A private world for one test: system root, account, two homes, message bus and the real programs."""

import contextlib
import os
import plistlib
import pwd
import re
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
import urllib.parse
from pathlib import Path

BUILD = Path(os.environ["ROAMER_BUILD_DIR"])
AGENT = "System/Library/Hearth/Custodia.app/Contents/ZilOS/roamer"
ENGINE = "System/Library/Hearth/BraidAgent.app/Contents/ZilOS/BraidAgent"
USER = pwd.getpwuid(os.getuid()).pw_name
MADE_USER = f"roamer-{os.getpid()}"


def wait_for(condition, seconds, what):
    """Polls until the condition holds and returns its value; fails the test by its name after the time."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"waited {seconds} s in vain for {what}")
        time.sleep(0.05)

# Shows no alert but answers it: by the first line of the file "answers", which it takes away. The answer "wait" keeps
# the alert up until its reader goes or there is another answer; without an answer it is a program without a display.
# What it was asked goes to the file "alerts".
ALERT_DOUBLE = """#!/usr/bin/python3
import os, pathlib, plistlib, select, sys, time
top = pathlib.Path(os.environ["ROAMER_ROOT"]).parent
request = plistlib.loads(sys.stdin.buffer.read())
with open(top / "alerts", "a") as alerts:
    alerts.write(request["header"] + "\\n")
reader = select.poll()
reader.register(1, select.POLLERR)
while True:
    lines = (top / "answers").read_text().split()
    if not lines or lines[0] == "wait" and reader.poll(50):
        sys.exit(1)
    if lines[0] != "wait":
        break
(top / "answers").write_text("\\n".join(lines[1:]))
sys.stdout.buffer.write(plistlib.dumps({"version": 1, "responseFlags": int(lines[0])}))
"""

# Shows no window either, but knows which keys are held down.
WINDOW_DOUBLE = """#!/usr/bin/python3
import json, sys
print(json.dumps({"hello": 1, "screens": [[0, 0, 800, 600]]}), flush=True)
for line in sys.stdin:
    message = json.loads(line)
    if "keys" in message:
        print(json.dumps({"keys": True, "option": True, "shift": True}), flush=True)
    if "load" in message:
        print(json.dumps({"report": True, "loaded": False}), flush=True)
"""


def environment_of(pid):
    """What a process was started with; nothing once it has ended."""
    try:
        return Path(f"/proc/{pid}/environ").read_bytes().split(b"\0")
    except OSError:
        return []


class World:
    """One computer. Those that are given the share of another one have that one's network home."""

    def __init__(self, share=None, address="02:00:00:00:00:0a", user=USER):
        self.top = Path(tempfile.mkdtemp(prefix="roamer-test-"))
        self.root = self.top / "root"
        self.local = self.top / "local home"
        self.share = share or self.top / "share"
        self.network = self.share / "jo ü%"
        self.address = address
        self.user = user
        for folder in ("Library/Preferences", "Library/Directory/Local/Users", "Volumes", "sys/class/net/en0"):
            (self.root / folder).mkdir(parents=True)
        (self.root / "sys/class/net/en0/address").write_text(address + "\n")
        (self.root / "sys/class/net/en0/addr_assign_type").write_text("0\n")
        self.stage_programs()
        (self.local / "Library/Preferences").mkdir(parents=True)
        (self.network / "Library/Preferences").mkdir(parents=True, exist_ok=True)
        self.children = []
        self.handed_over_a_password = False
        self.environment = {
            **{key: value for key, value in os.environ.items() if not key.startswith(("DBUS_", "ROAMER_", "XDG_"))},
            "ROAMER_ROOT": str(self.root),
            "HOME": str(self.top),
            "LC_ALL": "C.UTF-8",
        }
        self.write_record()
        self.write_plist(self.root / "Library/Preferences/com.kestrel.VEXDebug.plist", {"debugOutput": "2"})
        self.prefer({})
        self.start_bus()
        self.start(BUILD / "bin/lobbyd", "--session")
        self.wait_for_name("com.kestrel.lobby.notify")

    def close(self):
        if self.handed_over_a_password:
            # lobbyd keeps it in the kernel, beyond its own end: request 1006 takes it out again.
            body = ",".join(str(byte) for byte in plistlib.dumps({"UserID": os.getuid()}))
            message = ("/com/kestrel/MessagePort", "com.kestrel.MessagePort.Message", "int32:1006", "array:byte:" + body)
            self.bus("--dest=com.kestrel.lobby.notify", *message)
        for pid in self.pids("BraidAgent", "roamer", "roamer-session"):
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGCONT)
                os.kill(pid, signal.SIGKILL)
        for child in reversed(self.children):
            child.kill()
            child.wait()
            if child.stdout:
                child.stdout.close()
        shutil.rmtree(self.top, ignore_errors=True)

    # Set-up

    def stage_programs(self):
        """The build's programs and resources, but for the program that shows alerts."""
        hearth = self.root / "System/Library/Hearth"
        programs = hearth / "Custodia.app/Contents/ZilOS"
        programs.mkdir(parents=True)
        staged = BUILD / "root/System/Library/Hearth"
        for entry in staged.iterdir():
            if entry.name != "Custodia.app":
                (hearth / entry.name).symlink_to(entry)
        for entry in [*(staged / "Custodia.app/Contents").iterdir(), *(staged / programs.relative_to(hearth)).iterdir()]:
            if entry.name != "ZilOS":
                (hearth / entry.relative_to(staged)).symlink_to(entry)
        self.replace_program("roamer-alert", ALERT_DOUBLE)
        self.answer()

    def replace_program(self, name, text):
        path = self.root / "System/Library/Hearth/Custodia.app/Contents/ZilOS" / name
        path.unlink(missing_ok=True)
        path.write_text(text)
        path.chmod(0o755)

    def hold_option_and_shift(self):
        self.replace_program("roamer-window", WINDOW_DOUBLE)
        self.environment["QT_QPA_PLATFORM"] = "offscreen"

    def give_to_the_user(self):
        """Both homes and the place for answers and logs, when the account is not the one that runs the test."""
        (self.root / "Library/Logs").mkdir()
        for top in (self.local, self.share, self.root / "Library/Logs"):
            for path in [top, *top.rglob("*")]:
                if not path.is_symlink():
                    shutil.chown(path, self.user)
        shutil.chown(self.top, self.user)

    def answer(self, *answers):
        """What the next alerts get: 0 the default button, 1 the alternate, 2 the other one, or "wait"."""
        # In one step: an alert that is up may be reading.
        (self.top / "answers.new").write_text("\n".join(str(answer) for answer in answers))
        (self.top / "answers.new").rename(self.top / "answers")

    def alerts(self):
        """The headers of the alerts that were up so far."""
        path = self.top / "alerts"
        return path.read_text().splitlines() if path.exists() else []

    @staticmethod
    def write_plist(path, value, form=plistlib.FMT_XML):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(plistlib.dumps(value, fmt=form))

    def write_record(self, **changes):
        url = "file://" + urllib.parse.quote(str(self.share))
        path = urllib.parse.quote(self.network.name)
        record = {
            "axAttrTypeStandard:NFSHomeDirectory": [str(self.local)],
            "axAttrTypeStandard:OriginalHomeDirectory": [
                f"<home_dir><url>{urllib.parse.quote(url, safe=':/')}</url><path>{path}</path></home_dir>"
            ],
            "axAttrTypeStandard:CopyTimestamp": ["2026-01-01T00:00:00Z"],
            "axAttrTypeNative:preserved_attributes": ["axAttrTypeStandard:RealName"],
            **changes,
        }
        self.write_plist(self.root / f"Library/Directory/Local/Users/{self.user}.plist", record)

    def prefer(self, preferences):
        """Sets the user's sync preferences, in the binary form as another program writes it."""
        self.write_plist(self.local / "Library/Preferences/com.kestrel.roamer.plist", preferences, plistlib.FMT_BINARY)

    def preferences(self, home=None):
        path = (home or self.local) / "Library/Preferences/com.kestrel.roamer.plist"
        return plistlib.loads(path.read_bytes()) if path.exists() else {}

    # Processes

    def start_bus(self):
        config = self.top / "bus.conf"
        config.write_text(
            "<busconfig><type>session</type><keep_umask/>"
            f"<listen>unix:path={self.top}/bus</listen><auth>EXTERNAL</auth>"
            '<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>'
            '<allow own="*"/></policy></busconfig>'
        )
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={self.top}/bus"
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = f"unix:path={self.top}/no-system-bus"
        self.start("dbus-daemon", f"--config-file={config}", "--nofork")
        wait_for((self.top / "bus").exists, 10, "the message bus")

    def start(self, *command):
        output = open(self.top / f"{Path(str(command[0])).name}.out", "ab")
        child = subprocess.Popen(
            [str(part) for part in command],
            env=self.environment,
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.STDOUT,
        )
        output.close()
        self.children.append(child)
        return child

    def start_x_server(self):
        """A display of this world's own, for everything that is started from now on."""
        ready, tell = os.pipe()
        server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(tell), "-nolisten", "tcp"], pass_fds=[tell], stderr=subprocess.DEVNULL
        )
        self.children.append(server)
        os.close(tell)
        with os.fdopen(ready) as display:
            self.environment["DISPLAY"] = ":" + display.readline().strip()
        return server

    def start_agent(self, *flags):
        return self.start(self.root / AGENT, *flags)

    def run_agent(self, *flags, seconds=60):
        """Runs the agent to its end and returns its exit status."""
        return self.start_agent(*flags).wait(timeout=seconds)

    def sync_now(self):
        status = self.run_agent("-s")
        assert status == 0, f"roamer -s ended with {status}:\n{self.log()}"

    def session(self, *arguments, password="swordfish"):
        """Starts roamer-session and hands it the password; its output comes from `communicate`."""
        child = subprocess.Popen(
            [str(BUILD / "bin/roamer-session"), *arguments],
            env=self.environment,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )
        self.handed_over_a_password = True
        child.stdin.write(password)
        child.stdin.close()
        child.stdin = None
        self.children.append(child)
        return child

    def run_session(self, *arguments, seconds=60):
        """Runs roamer-session to its end; returns (exit status, what it said)."""
        child = self.session(*arguments)
        output = child.communicate(timeout=seconds)[0]
        return child.returncode, output

    def engine_pids(self, of_session=True):
        """The engines, or only those that are not on the session's bus."""
        pids = self.pids("BraidAgent")
        if of_session:
            return pids
        mark = f"DBUS_SESSION_BUS_ADDRESS={self.environment['DBUS_SESSION_BUS_ADDRESS']}".encode()
        return [pid for pid in pids if mark not in environment_of(pid)]

    def pids(self, *names):
        """The processes of this world with these names: those started with its system root."""
        pids = []
        mark = f"ROAMER_ROOT={self.root}".encode()
        for process in Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                # A program that executed itself anew has another command name, a script another first argument.
                own_name = Path((process / "cmdline").read_bytes().split(b"\0")[0].decode(errors="replace")).name
                is_wanted = own_name in names or (process / "comm").read_text().strip() in names
                if is_wanted and mark in environment_of(process.name):
                    if (process / "stat").read_text().rsplit(")", 1)[1].split()[0] != "Z":
                        pids.append(int(process.name))
        return pids

    # Bus

    def bus(self, *arguments):
        """dbus-send on the private bus; returns (status, output)."""
        done = subprocess.run(
            ["dbus-send", "--session", "--print-reply", *arguments],
            env=self.environment,
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )
        return done.returncode, done.stdout + done.stderr

    def name_is_taken(self, name):
        status, output = self.bus(
            "--dest=org.freedesktop.DBus", "/", "org.freedesktop.DBus.NameHasOwner", f"string:{name}"
        )
        return status == 0 and "true" in output

    def wait_for_name(self, name):
        wait_for(lambda: self.name_is_taken(name), 10, f"the name {name}")

    def engine_says(self, method, pattern):
        """Whether the answer of the session's engine to the call matches the pattern."""
        status, output = self.bus("--dest=com.kestrel.braid", "/com/kestrel/braid", f"com.kestrel.braid.Engine.{method}")
        return status == 0 and re.search(pattern, output) is not None

    # Observation

    def log(self):
        path = self.root / "Library/Logs/Custodia/Custodia.log"
        return path.read_text(errors="replace") if path.exists() else ""

    def wait_for_log(self, text, seconds=30):
        wait_for(lambda: text in self.log(), seconds, f"the log line {text!r}; the log:\n{self.log()[-4000:]}")

    def wait_for_pass(self, kind):
        self.wait_for_log(f"Pavo.doSync:{kind} Going into runloop")
        self.wait_for_log("syncState=SyncSetStateProcessing")

    def statuses(self):
        """The status of each pass, as the agent logged them."""
        return [int(match) for match in re.findall(r"done  Returning status = (-?\d+)", self.log())]


def write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)


def write_many(home):
    """So many files that a pass is still under way when a test looks."""
    for number in range(2000):
        write(home / f"Documents/many/{number // 500}/{number}.txt", f"{number}\n" * 20)


def tree(home):
    """Everything in a home that is a person's: path → kind, mode, time and content."""
    found = {}
    for folder, folders, files in os.walk(home):
        folders[:] = [name for name in folders if name != ".Braid"]
        for name in folders + files:
            path = Path(folder) / name
            relative = str(path.relative_to(home))
            if relative == "Library/Preferences/com.kestrel.roamer.plist":
                continue
            facts = path.lstat()
            if path.is_symlink():
                found[relative] = ("link", os.readlink(path))
            elif path.is_dir():
                found[relative] = ("folder", facts.st_mode & 0o7777)
            else:
                found[relative] = ("file", facts.st_mode & 0o7777, facts.st_mtime_ns, path.read_bytes())
    return found


class MadeUser(unittest.TestCase):
    """A user of this machine who is there for one test, and a folder that everybody may look into."""

    def setUp(self):
        if os.getuid() != 0:
            self.skipTest("only root makes users")
        self.top = Path(tempfile.mkdtemp(prefix="roamer-test-"))
        self.addCleanup(shutil.rmtree, self.top)
        self.top.chmod(0o755)
        self.home = self.top / "home"
        subprocess.run(["useradd", "--no-create-home", "--home-dir", self.home, MADE_USER], check=True)
        self.addCleanup(subprocess.run, ["userdel", MADE_USER], check=True, capture_output=True)
