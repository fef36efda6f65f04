"""Which tests reach a change, and which of them fails once it is made."""

import json
import os
import re
import resource
import signal
import subprocess
import time
from dataclasses import dataclass, field
from pathlib import Path

ROOM = 65536
GIGABYTE = 1 << 30
SLOW = 2  # In seconds: tests that take longer run after all others.
# The programs that keep Wine's server up between two runs, whoever started them.
KEPT = re.compile(rb"\.keeper|^C:\\windows|^cmd|/desktop|wineserver", re.IGNORECASE)


@dataclass
class Test:
    """A program of CTest, or one test of such a program."""
    program: str
    command: list
    environment: dict
    name: str = ""  # of the test in the program; empty: the program is no GoogleTest
    seconds: float = 0
    reached: set = field(default_factory=set)

    def __str__(self):
        return f"{self.program}:{self.name}" if self.name else self.program


class Bench:
    """One place to run tests: a state file, a log and a Wine prefix of its own. For one thread."""

    def __init__(self, folder, number, prefix=None):
        self.state, self.log = Path(folder, f"state.{number}"), Path(folder, f"log.{number}")
        self.prefix = prefix
        self.state.write_bytes(bytes(ROOM))

    def run(self, test, active, limit, names=None):
        """(failed, what failed, numbers reached)."""
        self.state.write_bytes(active.to_bytes(4, "little") + bytes(ROOM - 4))
        command = list(test.command)
        if test.name:
            command += [f"--gtest_filter={':'.join(names or [test.name])}", "--gtest_fail_fast", "--gtest_brief=0"]
        environment = {**os.environ, **test.environment, "QXFL_MUTANTS": self.wine_path() if self.prefix else str(self.state),
                       "QXFL_TEST_TIMEOUT": str(int(limit) + 1), "ASAN_OPTIONS": "hard_rss_limit_mb=4096"}
        if self.prefix:
            environment["QXFL_WINEPREFIX"] = self.prefix
        with open(self.log, "wb") as log:
            child = subprocess.Popen(command, stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                     env=environment, start_new_session=True, preexec_fn=limits)
            try:
                status = child.wait(limit)
            except subprocess.TimeoutExpired:
                status = "time"
        self.end_children(child.pid)
        reached = {number for number, byte in enumerate(self.state.read_bytes()[4:]) if byte}
        return status != 0, self.failure(status, test), reached

    def wine_path(self):
        return "Z:" + str(self.state).replace("/", "\\")

    def failure(self, status, test):
        text = self.log.read_bytes()[-(1 << 20):].decode(errors="replace")
        failed = re.findall(r"^\[  FAILED  \] ([\w/.]+)", text, re.M) or re.findall(r"^\[ RUN      \] ([\w/.]+)", text, re.M)
        what = failed[0 if "[  FAILED  ]" in text else -1] if failed else ""
        return f"{test.program}{':' + what if what else ''}{' (time)' if status == 'time' else ''}"

    def end_children(self, group):
        """What the program has left behind: its group, and processes that Wine started for it in groups of their own."""
        try:
            os.killpg(group, signal.SIGKILL)
        except ProcessLookupError:
            pass
        sign = f"QXFL_MUTANTS={self.wine_path() if self.prefix else self.state}".encode()
        for process in Path("/proc").glob("[0-9]*"):
            try:
                if sign in (process / "environ").read_bytes().split(b"\0") and not KEPT.search((process / "cmdline").read_bytes()):
                    os.kill(int(process.name), signal.SIGKILL)
            except OSError:
                continue  # It has ended, or is another user's.


def limits():
    resource.setrlimit(resource.RLIMIT_FSIZE, (GIGABYTE // 4, GIGABYTE // 4))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def list_tests(build, environment):
    """Every test of the build that could see a change: those of tests/, singly, and the examples as they are."""
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], capture_output=True, check=True)
    tests = []
    for entry in json.loads(listing.stdout)["tests"]:
        program = entry["name"]
        if "command" not in entry or re.match(r"(exports|tools|package)\.", program) or program.endswith("_checked"):
            continue
        properties = {p["name"]: p["value"] for p in entry.get("properties", [])}
        own = dict(pair.split("=", 1) for pair in properties.get("ENVIRONMENT", []))
        if not re.match(r"(logic|windows)\.", program):
            tests.append(Test(program, entry["command"], own))
            continue
        lines = subprocess.run([*entry["command"], "--gtest_list_tests"], capture_output=True, text=True,
                               env={**os.environ, **own, **environment}).stdout.splitlines()
        suite = ""
        for line in (line.split("#")[0].rstrip() for line in lines):
            if line.startswith("  "):
                tests.append(Test(program, entry["command"], own, suite + line.strip()))
            elif line.endswith("."):
                suite = line
    return tests


def measure(bench, test):
    """Fills in what the test reaches and how long it takes; False if it fails without any change."""
    start = time.monotonic()
    failed, _, test.reached = bench.run(test, 0, 600)
    test.seconds = time.monotonic() - start
    return not failed


def hunt(bench, number, tests):
    """(result, killer) of one change: of the tests that reach it the quickest first, those of one program together."""
    groups = {}
    for test in tests:
        if number in test.reached:
            groups.setdefault((test.program, test.seconds > SLOW), []).append(test)
    if not groups:
        return "unreached", ""
    for group in sorted(groups.values(), key=lambda group: sum(test.seconds for test in group)):
        limit = 15 + 5 * sum(test.seconds for test in group)
        failed, killer, _ = bench.run(group[0], number, limit, [test.name for test in group])
        if failed:
            return "killed", killer
    return "survived", ""
