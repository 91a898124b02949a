#!/usr/bin/env python3
"""Measures one sync engine against its peers on generated homes, in one run, and prints ratios.

The contenders of a case take turns, so that whatever else the machine does hits all of them alike. Every first sync
gets a folder of its own and nothing is deleted before the end: file systems create files more slowly where others
were deleted a moment ago.
"""
import argparse
import json
import os
import platform
import random
import shutil
import socket
import statistics
import subprocess
import sys
import time

SEED = 7
CASES = ["10k", "100k", "1m", "4gib"]
RUNNER = None  # set before anything takes memory


class Sample:
    def __init__(self, seconds, processor, memory):
        self.seconds, self.processor, self.memory = seconds, processor, memory


def measure(command, env):
    """Wall and processor seconds and peak bytes of one process with its children that it waited for; null: it failed."""
    start = time.monotonic()
    pid = os.posix_spawnp(command[0], command, dict(os.environ, **env),
                          file_actions=[(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0),
                                        (os.POSIX_SPAWN_OPEN, 2, "/dev/null", os.O_WRONLY, 0)])
    _, status, usage = os.wait4(pid, 0)
    seconds = time.monotonic() - start
    if os.waitstatus_to_exitcode(status) != 0:
        return None
    return seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024


class Runner:
    """Starts what is measured, from a process that stays small: the kernel counts the starter's peak as the program's."""

    def __init__(self):
        here, there = socket.socketpair()
        if os.fork() == 0:
            here.close()
            with there.makefile("rw") as lines:
                for line in lines:
                    lines.write(json.dumps(measure(*json.loads(line))) + "\n")
                    lines.flush()
            os._exit(0)
        there.close()
        self.lines = here.makefile("rw")

    def run(self, command, env):
        self.lines.write(json.dumps([command, env]) + "\n")
        self.lines.flush()
        return json.loads(self.lines.readline())


def run(command, env=None):
    sample = RUNNER.run(command, env or {})
    if sample is None:
        sys.exit(f"failed: {' '.join(command)}")
    return Sample(*sample)


def warm(home):
    """Reads all files there: some machines take pages away that nobody has used for some seconds."""
    subprocess.run(["sh", "-ec", 'find "$1" -type f -print0 | xargs -0 cat > /dev/null', "warm", home], check=True)


def let_go(home):
    """The memory that its files hold: what one contender left there must not cost the next."""
    os.sync()
    for at, _, names in os.walk(home):
        for name in names:
            file = os.open(os.path.join(at, name), os.O_RDONLY | os.O_NOFOLLOW)
            os.posix_fadvise(file, 0, 0, os.POSIX_FADV_DONTNEED)
            os.close(file)


class Pair:
    """Two homes of one contender, and how it brings them in step."""

    def __init__(self, bench, tool, local, network):
        self.bench, self.tool, self.local, self.network = bench, tool, local, network

    def sync(self):
        if self.tool == "braid":
            return run([self.bench.braid, "sync", self.local, self.network])
        if self.tool == "unison":
            return run(["unison", self.local, self.network, "-batch", "-ui", "text", "-times", "-owner=false",
                        "-confirmbigdel=false", "-silent"], {"UNISON": os.path.join(self.bench.work, "unison")})
        if self.tool == "rsync":
            return run(["rsync", "-a", self.local + "/", self.network + "/"])
        if self.tool == "cp -a":
            return run(["cp", "-a", self.local + "/.", self.network])
        if self.tool == "cp, durable":
            return run(["sh", "-ec", 'cp -a "$1/." "$2"; sync -f "$2"', "sh", self.local, self.network])
        return run([self.bench.stat_walk, self.local, self.network])


class Bench:
    def __init__(self, options):
        self.work, self.tools = options.work, options.tools
        self.braid, self.options = options.braid, options
        self.stat_walk, self.make_home = (os.path.join(options.tools, name) for name in ("stat_walk", "make_home"))
        self.peers = [tool for tool in ("rsync", "unison") if shutil.which(tool)]
        self.rows, self.serial = [], 0

    def folder(self):
        self.serial += 1
        return os.path.join(self.work, str(self.serial))

    def home(self, files, median, mean):
        """The home of these arguments; the same one at every call."""
        path = os.path.join(self.work, f"home-{files}")
        if not os.path.exists(path):
            subprocess.run([self.make_home, path, str(files), str(median), str(mean), str(SEED)], check=True,
                           stdout=subprocess.DEVNULL)
        os.sync()
        return path

    def add(self, case, samples, bound):
        """`bound` names the contender that the ratio is taken against."""
        medians = {tool: [statistics.median(getattr(s, field) for s in of) for field in
                          ("seconds", "processor", "memory")] for tool, of in samples.items()}
        self.rows.append((case, medians, bound))
        print(case, {tool: f"{m[0]:.2f} s, {m[1]:.2f} s CPU, {m[2] / 1e6:.0f} MB" for tool, m in medians.items()},
              flush=True)

    def take_turns(self, contenders, rounds):
        samples = {name: [] for name in contenders}
        for turn in range(rounds):
            for name, once in contenders.items():
                sample = once(turn)
                if sample:
                    samples[name].append(sample)
        return {name: of for name, of in samples.items() if of}

    def first_sync(self, name, home, rounds):
        def contender(tool):
            def once(turn):
                if tool == "unison" and turn > 0:
                    return None  # minutes each
                network = self.folder()
                os.mkdir(network)
                shutil.rmtree(os.path.join(home, ".Braid"), ignore_errors=True)
                os.sync()
                warm(home)
                sample = Pair(self, tool, home, network).sync()
                let_go(network)
                return sample
            return once
        tools = ["cp -a", "braid", "cp, durable", *self.peers]
        self.add(name, self.take_turns({tool: contender(tool) for tool in tools}, rounds), "cp -a")

    def pair(self, tool, home):
        """A pair of its own, in step."""
        local, network = self.folder(), self.folder()
        run(["cp", "-a", home, local])
        shutil.rmtree(os.path.join(local, ".Braid"), ignore_errors=True)
        run(["cp", "-a", local, network])
        pair = Pair(self, tool, local, network)
        for _ in range(2):
            pair.sync()
        return pair

    def no_change(self, name, pairs, rounds):
        walk = Pair(self, "stat walk", pairs["braid"].local, pairs["braid"].network)
        contenders = {"stat walk": lambda turn: walk.sync()}
        for tool, pair in pairs.items():
            contenders[tool] = lambda turn, pair=pair: pair.sync()
        if "rsync" in self.peers:
            rsync = Pair(self, "rsync", walk.local, walk.network)
            contenders["rsync"] = lambda turn: run(["rsync", "-an", rsync.local + "/", rsync.network + "/"])
        self.add(name, self.take_turns(contenders, rounds), "stat walk")

    def edited(self, name, pairs, rounds, edit, reference=None):
        def contender(tool):
            def once(turn):
                if tool in pairs:
                    edit(pairs[tool], random.Random(SEED + turn))
                    os.sync()  # only braid waits for the disk, and must not wait for what others wrote
                    warm(pairs[tool].local)
                    return pairs[tool].sync()
                return reference()
            return once
        names = list(pairs) + (["reference"] if reference else ["no change"])
        if not reference:
            reference = pairs["braid"].sync
        self.add(name, self.take_turns({tool: contender(tool) for tool in names}, rounds), names[-1])


def files_of(home):
    return sorted(os.path.join(at, name) for at, folders, names in os.walk(home) for name in names
                  if f"{os.sep}.Braid{os.sep}" not in at + os.sep)


def everyday(pair, chance):
    """1 % edited here, 0.5 % there, 0.2 % deleted, 0.5 % added, a folder of files renamed."""
    paths = [os.path.relpath(path, pair.local) for path in files_of(pair.local)]
    paths = [path for path in paths if not path.startswith("Many ")]  # an edit in a renamed folder is a conflict
    chance.shuffle(paths)
    share = max(1, len(paths) // 1000)
    for home, some in ((pair.local, paths[:10 * share]), (pair.network, paths[10 * share:15 * share])):
        for path in some:
            with open(os.path.join(home, path), "ab") as file:
                file.write(b"one more line\n")
    for path in paths[15 * share:17 * share]:
        os.unlink(os.path.join(pair.local, path))
    for path in paths[17 * share:22 * share]:
        with open(os.path.join(pair.local, f"{path}.{chance.getrandbits(48):x}"), "wb") as file:
            file.write(chance.randbytes(4096))
    folder = os.path.join(pair.local, "Many")
    present = next((folder + end for end in (" a", " b") if os.path.exists(folder + end)), None)
    if present:
        os.rename(present, folder + (" b" if present.endswith(" a") else " a"))


def many(pair):
    """The folder that everyday() renames."""
    os.mkdir(os.path.join(pair.local, "Many a"))
    for number in range(1000):
        with open(os.path.join(pair.local, "Many a", str(number)), "wb") as file:
            file.write(b"%d\n" % number * 100)
        os.utime(file.name, ns=(1, 1_600_000_000_123_456_789 + number))
    pair.sync()
    pair.sync()


def touched(pair, chance):
    """10 % touched, the content the same."""
    paths = files_of(pair.local)
    for path in chance.sample(paths, len(paths) // 10):
        stamp = 1_650_000_000 * 10**9 + chance.randrange(10**17)
        os.utime(path, ns=(stamp, stamp))


def list_of_tenth(home):
    """A file that names a tenth of the home's files, each with a NUL at its end."""
    path = home + ".tenth"
    with open(path, "w") as file:
        file.write("".join(name + "\0" for name in files_of(home)[::10]))
    return path


def large(bench):
    home = bench.folder()
    os.mkdir(home)
    path = os.path.join(home, "large.bin")
    block = random.Random(SEED).randbytes(1 << 20)
    with open(path, "wb") as file:
        for number in range(4096):
            file.write(number.to_bytes(8, "big") + block[8:])
    stamp = 1_600_000_000_123_456_789
    os.utime(path, ns=(stamp, stamp))
    network = bench.folder()
    os.mkdir(network)
    pair = Pair(bench, "braid", home, network)
    pair.sync()

    def write_at(offset):
        def edit(pair, chance):
            time.sleep(3)  # a file as young as the last edit is compared once more, which is not what is measured
            pair.sync()
            with open(path, "r+b") as file:
                file.seek(offset, os.SEEK_END if offset == 0 else os.SEEK_SET)
                file.write(chance.randbytes(1 << 20))
        return edit
    reading = lambda: run(["sh", "-c", f"cat '{path}' | cat"])
    for name, offset in (("1 MB appended to a file of 4 GiB", 0), ("1 MB changed inside it", 1 << 31)):
        bench.edited(name, {"braid": pair}, 3, write_at(offset), reading)


def usual_cases(bench, name, files, median, mean):
    rounds = 5 if files <= 10_000 else 3
    home = bench.home(files, median, mean)
    bench.first_sync(f"first sync, {name}", home, rounds)
    if bench.options.only_first_sync:
        return
    pairs = {tool: bench.pair(tool, home) for tool in ["braid", *[p for p in bench.peers if p == "unison"]]}
    bench.no_change(f"no change, {name}", pairs, 5)
    for pair in pairs.values():
        many(pair)
    bench.edited(f"everyday edits, {name}", pairs, rounds, everyday)
    tenth = list_of_tenth(home)

    def reading():
        """Those files read twice, besides a pass without changes."""
        warm(home)
        once = f"xargs -0 cat < '{tenth}'"
        twice = run(["sh", "-ec", f"{once}; {once}"])
        idle = pairs["braid"].sync()
        return Sample(twice.seconds + idle.seconds, twice.processor + idle.processor, twice.memory)
    bench.edited(f"10 % touched, {name}", pairs, rounds, touched, reading)


def million(bench):
    """Both homes hold the same at first: what is measured of that pass is its memory."""
    home = bench.home(1_000_000, 64, 64)
    local, network = bench.folder(), bench.folder()
    run(["cp", "-a", home, local])
    run(["cp", "-a", home, network])
    pair = Pair(bench, "braid", local, network)
    walk = Pair(bench, "stat walk", local, network)
    bench.add("first comparison, 1,000,000 tiny files", {"stat walk": [walk.sync()], "braid": [pair.sync()]}, "stat walk")
    pair.sync()
    bench.no_change("no change, 1,000,000 tiny files", {"braid": pair}, 3)


def table(bench):
    columns = ["braid", "cp -a", "cp, durable", "stat walk", "rsync", "unison", "no change", "reference"]
    used = [c for c in columns if any(c in medians for _, medians, _ in bench.rows)]
    lines = ["| case | " + " | ".join(used) + " | braid : bound | CPU : bound's CPU | unison : braid | peak | unison's |",
             "|---|" + "---|" * (len(used) + 5)]
    for case, medians, bound in bench.rows:
        mine, against = medians["braid"], medians[bound]
        cells = [f"{medians[c][0]:.2f} s" if c in medians else "" for c in used]
        lines.append(f"| {case} | " + " | ".join(cells) + f" | {mine[0] / against[0]:.2f} × {bound} | "
                     f"{mine[1] / max(against[1], 1e-3):.2f} | "
                     + (f"{medians['unison'][0] / mine[0]:.1f} | {mine[2] / 1e6:.0f} MB | "
                        f"{medians['unison'][2] / 1e6:.0f} MB |" if "unison" in medians else
                        f" | {mine[2] / 1e6:.0f} MB | |"))
    return "\n".join(lines)


def machine(work, load):
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    kind = subprocess.run(["stat", "-f", "-c", "%T", work], capture_output=True, text=True, check=True).stdout.strip()
    return (f"{os.cpu_count()} cores, {memory / 2**30:.0f} GiB of memory, kernel {platform.release().split('-')[0]}, "
            f"{kind}. Load average (1 minute) before the run {load[0]:.1f}, after it {os.getloadavg()[0]:.1f}; the "
            "measured programs account for about one of it.")


def main():
    global RUNNER
    RUNNER = Runner()
    parser = argparse.ArgumentParser()
    parser.add_argument("--braid", required=True)
    parser.add_argument("--tools", required=True, help="the folder of make_home and stat_walk")
    parser.add_argument("--work", required=True, help="an empty folder on the disk to measure")
    parser.add_argument("--cases", default=",".join(CASES), help="some of " + ",".join(CASES))
    parser.add_argument("--only-first-sync", action="store_true")
    options = parser.parse_args()
    cases = options.cases.split(",")
    if not set(cases) <= set(CASES):
        parser.error("--cases takes some of " + ",".join(CASES))
    bench, load = Bench(options), os.getloadavg()
    if "10k" in cases:
        usual_cases(bench, "10,000 files, 400 MB", 10_000, 10_000, 40_000)
    if "100k" in cases:
        usual_cases(bench, "100,000 files, 1.5 GB", 100_000, 4096, 15_000)
    if "1m" in cases:
        million(bench)
    if "4gib" in cases:
        large(bench)
    print(json.dumps({"machine": machine(options.work, load), "table": table(bench)}))


if __name__ == "__main__":
    main()
