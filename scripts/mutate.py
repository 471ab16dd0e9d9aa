#!/usr/bin/env python3
"""Mutation check of the fuzz targets and the unit tests.

Copies the tree (the files git knows of, as they stand in the working tree) into a scratch
directory, builds it there, and then plants each fault of scripts/mutations.txt in turn: apply it,
rebuild what it touches, run the checkers, take it out again. A fault is caught by a checker when
it fails; otherwise it survived that checker.

  fuzz   builds the fuzz targets with their replay drivers and replays the fuzz corpus through
         every target (a broken invariant, a crash or a hang fails). The corpus replayed is the one
         the clean tree generates, kept aside before the first fault, so that a fault can't change
         its own test inputs.
  unit   builds the library, the tool and the tests (GoogleTest, the golden files of the samples,
         the README tables) and runs ctest; a failing or timed-out test fails.
  all    both in one build; every fault goes through both checkers, so the report gives the score
         of each and of the two together.

    nice -n 19 scripts/mutate.py --mode all          # every fault, both checkers (about an hour)
    scripts/mutate.py --mode unit --only bcd-nibbles-swapped uint16-little-endian
    scripts/mutate.py --mode all --area host tool    # the faults of some areas
    scripts/mutate.py --mode unit --tests-from 163c10d   # an earlier suite, today's code
    scripts/mutate.py --list                         # names and areas, nothing built

The scratch build is optimised lightly (-O1, assertions kept): compiling and linking are most of
what a fault costs, and the tests run fast enough at -O1.

Exits 0 when every fault could be planted, whatever was caught; non-zero when an entry is stale
(its text is no longer in its file, or the fault doesn't compile), or the clean tree fails.
"""

import argparse
import configparser
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
REPLAY_TIMEOUT = 120  # seconds per target and fault; a hang counts as caught
TEST_TIMEOUT = 60  # seconds per ctest test; a hang counts as caught


def load_faults(path):
    parser = configparser.ConfigParser(interpolation=None, delimiters=(":",),
                                       comment_prefixes=("#",), inline_comment_prefixes=None)
    parser.optionxform = str
    parser.read(path, encoding="utf-8")
    faults = []
    for name in parser.sections():
        s = parser[name]
        faults.append({
            "name": name,
            "area": s.get("area", "?"),
            "file": s["file"],
            "find": s["find"],
            "replace": s["replace"],
            "occurrence": int(s.get("occurrence", "0")),
        })
    return faults


def locate(text, fault):
    """Index of the fault's original text, or None when it isn't there as the entry says."""
    count = text.count(fault["find"])
    n = fault["occurrence"]
    if n == 0:
        return text.index(fault["find"]) if count == 1 else None
    if count < n:
        return None
    at = -1
    for _ in range(n):
        at = text.index(fault["find"], at + 1)
    return at


def run(cmd, cwd, log, timeout=None):
    with open(log, "a", encoding="utf-8") as out:
        out.write("$ " + " ".join(str(c) for c in cmd) + "\n")
        out.flush()
        try:
            return subprocess.run(cmd, cwd=cwd, stdout=out, stderr=subprocess.STDOUT,
                                  timeout=timeout).returncode
        except subprocess.TimeoutExpired:
            out.write("timed out\n")
            return "timeout"


class Scratch:
    """A copy of the tree with one build directory of what the checkers need: the fuzz targets in
    replay form, and/or the library, the tool and the tests. Each fault rebuilds what it touches
    (ninja), so compiling and linking are most of the time a fault takes."""

    def __init__(self, directory, jobs, compiler, fuzz, unit):
        self.src = Path(directory) / "src"
        self.build = Path(directory) / "build"
        self.clean_build = Path(directory) / "build.clean"
        self.corpus = Path(directory) / "corpus"
        self.log = Path(directory) / "mutate.log"
        self.jobs = jobs
        self.compiler = compiler
        self.fuzz = fuzz
        self.unit = unit
        self.targets = []

    def copy_tree(self):
        files = subprocess.run(["git", "ls-files", "-z", "--cached", "--others",
                                "--exclude-standard"], cwd=ROOT, check=True,
                               capture_output=True).stdout.decode().split("\0")
        for f in filter(None, files):
            source = ROOT / f
            if source.is_file():
                (self.src / f).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(source, self.src / f)

    def take_tests_from(self, revision):
        """Replaces tests/ and testsupport/ with those of an earlier commit (the suite before a
        trimming), so that the same faults score that suite against today's code."""
        for d in ("tests", "testsupport"):
            shutil.rmtree(self.src / d, ignore_errors=True)
        files = subprocess.run(["git", "ls-tree", "-r", "-z", "--name-only", revision, "--",
                                "tests", "testsupport"], cwd=ROOT, check=True,
                               capture_output=True).stdout.decode().split("\0")
        for f in filter(None, files):
            (self.src / f).parent.mkdir(parents=True, exist_ok=True)
            (self.src / f).write_bytes(subprocess.run(["git", "show", f"{revision}:{f}"],
                                                      cwd=ROOT, check=True,
                                                      capture_output=True).stdout)

    def configure(self):
        on = {True: "ON", False: "OFF"}
        return run(["cmake", "-S", self.src, "-B", self.build, "-G", "Ninja",
                    "-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_FLAGS=-O1",
                    f"-DCMAKE_CXX_COMPILER={self.compiler}",
                    f"-DVELMORA_BUILD_TESTS={on[self.unit]}",
                    f"-DVELMORA_BUILD_TOOLS={on[self.unit]}",
                    f"-DVELMORA_BUILD_FUZZERS={on[self.fuzz]}",
                    "-DVELMORA_BUILD_BENCHMARKS=OFF", "-DVELMORA_BUILD_PYTHON=OFF",
                    "-DVELMORA_WERROR=OFF"], ROOT, self.log) == 0

    def build_targets(self, with_corpus=False):
        if self.unit:  # the tool, the tests and what ctest runs: the default targets
            return run(["cmake", "--build", self.build, "-j", str(self.jobs)],
                       ROOT, self.log) == 0
        names = [f"fuzz_{t}" for t in self.targets] or ["velmora_fuzz_corpus"]
        if with_corpus:
            names.append("velmora_fuzz_corpus")
        return run(["cmake", "--build", self.build, "-j", str(self.jobs), "--target", *names],
                   ROOT, self.log) == 0

    def set_aside(self):
        """Copies the build directory aside (see `plant`)."""
        shutil.rmtree(self.clean_build, ignore_errors=True)
        shutil.copytree(self.build, self.clean_build, symlinks=True)

    def put_back(self):
        shutil.rmtree(self.build)
        self.clean_build.rename(self.build)

    def keep_corpus(self):
        shutil.copytree(self.build / "fuzz" / "corpus", self.corpus)
        committed = self.src / "fuzz" / "corpus"
        for t in self.targets:
            if (committed / t).is_dir():
                shutil.copytree(committed / t, self.corpus / t, dirs_exist_ok=True)

    def replay(self, target):
        inputs = [self.corpus / target]
        regressions = self.src / "fuzz" / "regressions" / target
        if regressions.is_dir():
            inputs.append(regressions)
        exe = self.build / "fuzz" / f"fuzz_{target}"
        return run([exe, *inputs], ROOT, self.log, REPLAY_TIMEOUT) == 0

    def ctest(self):
        """Names of the failing tests; ctest stops at the first failure. The fuzz replays are
        left to the fuzz checker (which replays the corpus of the clean tree)."""
        failed_log = self.build / "Testing" / "Temporary" / "LastTestsFailed.log"
        failed_log.unlink(missing_ok=True)
        rc = run(["ctest", "--test-dir", self.build, "-j", str(self.jobs), "--timeout",
                  str(TEST_TIMEOUT), "--stop-on-failure", "-E", "^fuzz_replay_"],
                 ROOT, self.log)
        if rc == 0:
            return []
        names = [line.split(":", 1)[-1] for line in
                 failed_log.read_text().split()] if failed_log.is_file() else []
        return names or ["ctest"]


def check_fuzz(scratch):
    """Targets whose replay fails."""
    return [t for t in scratch.targets if not scratch.replay(t)]


def check_unit(scratch):
    """Failing unit tests."""
    return scratch.ctest()


CHECKERS = {"fuzz": check_fuzz, "unit": check_unit}
MODES = {"fuzz": ["fuzz"], "unit": ["unit"], "all": ["fuzz", "unit"]}


def plant(scratch, fault, checkers):
    """Plants one fault and runs the checkers: ("STALE", why) or ({checker: failures}, "").

    A fault in a header rebuilds most of the tree, and so would taking it out again. For those the
    build directory is copied aside first and put back afterwards, with the header's own time
    stamp restored, so that ninja sees the clean build as it was."""
    path = scratch.src / fault["file"]
    original = path.read_text(encoding="utf-8") if path.is_file() else ""
    at = locate(original, fault)
    if at is None:
        return "STALE", "text not found as the entry says"
    header = path.suffix != ".cpp"
    stamp = path.stat()
    if header:
        scratch.set_aside()
    path.write_text(original[:at] + fault["replace"] + original[at + len(fault["find"]):],
                    encoding="utf-8")
    try:
        if not scratch.build_targets():
            return "STALE", "does not compile"
        return {name: CHECKERS[name](scratch) for name in checkers}, ""
    finally:
        path.write_text(original, encoding="utf-8")
        if header:
            scratch.put_back()
            os.utime(path, ns=(stamp.st_atime_ns, stamp.st_mtime_ns))


def report(results, checkers):
    """Per area: faults planted, caught by each checker, caught by any; then the survivors."""
    planted = [(f, r) for f, r, _ in results if r != "STALE"]
    columns = checkers + (["any"] if len(checkers) > 1 else [])

    def caught(r, column):
        return any(r.values()) if column == "any" else bool(r[column])

    areas = sorted({f["area"] for f, _ in planted})
    print("\n" + f"{'area':14}{'faults':>7}" + "".join(f"{c:>7}" for c in columns))
    for area in areas + ["total"]:
        rows = [r for f, r in planted if area in ("total", f["area"])]
        print(f"{area:14}{len(rows):>7}" +
              "".join(f"{sum(caught(r, c) for r in rows):>7}" for c in columns))
    for c in columns:
        survivors = [f["name"] for f, r in planted if not caught(r, c)]
        print(f"\nsurvived {c} ({len(survivors)}): " + " ".join(survivors))


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--faults", default=str(ROOT / "scripts" / "mutations.txt"))
    ap.add_argument("--only", nargs="*", help="names of the faults to plant")
    ap.add_argument("--area", nargs="*", help="plant only the faults of these areas")
    ap.add_argument("--mode", default="fuzz", choices=sorted(MODES))
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--compiler", default=os.environ.get("CXX", "g++"))
    ap.add_argument("--tests-from", metavar="REVISION",
                    help="run the tests/ and testsupport/ of this commit against today's code")
    ap.add_argument("--keep", action="store_true", help="keep the scratch directory")
    ap.add_argument("--list", action="store_true")
    args = ap.parse_args()

    faults = load_faults(args.faults)
    if args.only:
        unknown = set(args.only) - {f["name"] for f in faults}
        if unknown:
            sys.exit(f"no such fault: {', '.join(sorted(unknown))}")
        faults = [f for f in faults if f["name"] in args.only]
    if args.area:
        faults = [f for f in faults if f["area"] in args.area]
    if args.list:
        for f in faults:
            print(f"{f['area']:12} {f['name']}")
        return 0

    checkers = MODES[args.mode]
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # a stopped run removes its scratch
    directory = tempfile.mkdtemp(prefix="velmora-mutate-")
    scratch = Scratch(directory, args.jobs, args.compiler, "fuzz" in checkers, "unit" in checkers)
    print(f"scratch tree in {directory} (log: {scratch.log})", flush=True)
    run_started = time.monotonic()
    try:
        scratch.copy_tree()
        if args.tests_from:
            scratch.take_tests_from(args.tests_from)
        if not scratch.configure() or not scratch.build_targets():
            print("the clean tree doesn't build; see the log", file=sys.stderr)
            return 2
        if scratch.fuzz:
            scratch.targets = (scratch.build / "fuzz" / "targets.txt").read_text().split()
            if not scratch.build_targets(with_corpus=True):
                print("the clean tree doesn't build; see the log", file=sys.stderr)
                return 2
            scratch.keep_corpus()
        for name in checkers:
            failing = CHECKERS[name](scratch)
            if failing:
                print(f"the clean tree fails already ({name}): {' '.join(failing)}",
                      file=sys.stderr)
                return 2
        print(f"clean tree built and checked ({time.monotonic() - run_started:.0f} s)",
              flush=True)

        # Faults in .cpp files first: each rebuilds one file, so their results come in early;
        # a fault in a header rebuilds most of the tree.
        faults.sort(key=lambda f: not f["file"].endswith(".cpp"))
        results = []
        for fault in faults:
            started = time.monotonic()
            outcome, why = plant(scratch, fault, checkers)
            results.append((fault, outcome, why))
            if outcome == "STALE":
                verdict, detail = "STALE", why
            else:
                verdict = "caught" if any(outcome.values()) else "SURVIVED"
                detail = "  ".join(f"{c}: {' '.join(outcome[c][:3]) or '-'}" for c in checkers)
            print(f"{verdict:9} {fault['area']:12} {fault['name']:45} {detail}"
                  f"  ({time.monotonic() - started:.0f} s)", flush=True)

        report(results, checkers)
        print(f"\n{len(results)} faults in {(time.monotonic() - run_started) / 60:.1f} minutes"
              f" ({args.mode} mode)")
        stale = [f["name"] for f, r, _ in results if r == "STALE"]
        if stale:
            print("stale entries: " + " ".join(stale), file=sys.stderr)
            return 1
        return 0
    finally:
        if args.keep:
            print(f"kept {directory}")
        else:
            shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
