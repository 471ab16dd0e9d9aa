#!/usr/bin/env python3
"""Mutation check of the fuzz targets.

Copies the tree (the files git knows of, as they stand in the working tree) into a scratch
directory, builds the fuzz targets there with their replay drivers, and then plants each fault of
scripts/mutations.txt in turn: apply it, rebuild, replay the fuzz corpus through every target,
take it out again. A fault is caught when a replay fails (a broken invariant, a crash, a hang);
otherwise it survived. The corpus replayed is the one the clean tree generates, kept aside before
the first fault, so that a fault can't change its own test inputs.

    scripts/mutate.py                      # every fault
    scripts/mutate.py --only bcd-nibbles-swapped uint16-little-endian
    scripts/mutate.py --list               # names and areas, nothing built

Exits 0 when every fault could be planted, whatever was caught; non-zero when an entry is stale
(its text is no longer in its file, or the fault doesn't compile), or the clean tree fails.

Modes are checkers run against each mutant; "fuzz" (the default) replays the fuzz corpus. A further
checker (the unit tests through ctest, say) is one more entry in CHECKERS.
"""

import argparse
import configparser
import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
REPLAY_TIMEOUT = 120  # seconds per target and fault; a hang counts as caught


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
    """A copy of the tree with a build directory of the fuzz targets in replay form, unoptimised
    (each fault rebuilds what it touches; compiling is most of the time a fault takes)."""

    def __init__(self, directory, jobs, compiler):
        self.src = Path(directory) / "src"
        self.build = Path(directory) / "build"
        self.corpus = Path(directory) / "corpus"
        self.log = Path(directory) / "mutate.log"
        self.jobs = jobs
        self.compiler = compiler
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

    def configure(self):
        return run(["cmake", "-S", self.src, "-B", self.build, "-G", "Ninja",
                    "-DCMAKE_BUILD_TYPE=", f"-DCMAKE_CXX_COMPILER={self.compiler}",
                    "-DVELMORA_BUILD_TESTS=OFF", "-DVELMORA_BUILD_TOOLS=OFF",
                    "-DVELMORA_BUILD_BENCHMARKS=OFF", "-DVELMORA_BUILD_FUZZERS=ON",
                    "-DVELMORA_WERROR=OFF"], ROOT, self.log) == 0

    def build_targets(self, with_corpus=False):
        names = [f"fuzz_{t}" for t in self.targets] or ["velmora_fuzz_corpus"]
        if with_corpus:
            names.append("velmora_fuzz_corpus")
        return run(["cmake", "--build", self.build, "-j", str(self.jobs), "--target", *names],
                   ROOT, self.log) == 0

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


def check_fuzz(scratch):
    """Targets whose replay fails."""
    return [t for t in scratch.targets if not scratch.replay(t)]


CHECKERS = {"fuzz": check_fuzz}


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--faults", default=str(ROOT / "scripts" / "mutations.txt"))
    ap.add_argument("--only", nargs="*", help="names of the faults to plant")
    ap.add_argument("--mode", default="fuzz", choices=sorted(CHECKERS))
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--compiler", default=os.environ.get("CXX", "g++"))
    ap.add_argument("--keep", action="store_true", help="keep the scratch directory")
    ap.add_argument("--list", action="store_true")
    args = ap.parse_args()

    faults = load_faults(args.faults)
    if args.only:
        unknown = set(args.only) - {f["name"] for f in faults}
        if unknown:
            sys.exit(f"no such fault: {', '.join(sorted(unknown))}")
        faults = [f for f in faults if f["name"] in args.only]
    if args.list:
        for f in faults:
            print(f"{f['area']:12} {f['name']}")
        return 0

    directory = tempfile.mkdtemp(prefix="velmora-mutate-")
    scratch = Scratch(directory, args.jobs, args.compiler)
    checker = CHECKERS[args.mode]
    print(f"scratch tree in {directory} (log: {scratch.log})", flush=True)
    try:
        scratch.copy_tree()
        if not scratch.configure() or not scratch.build_targets():
            print("the clean tree doesn't build; see the log", file=sys.stderr)
            return 2
        scratch.targets = (scratch.build / "fuzz" / "targets.txt").read_text().split()
        if not scratch.build_targets(with_corpus=True):
            print("the clean tree doesn't build; see the log", file=sys.stderr)
            return 2
        scratch.keep_corpus()
        failing = checker(scratch)
        if failing:
            print(f"the clean tree fails already: {' '.join(failing)}", file=sys.stderr)
            return 2

        results = []
        for fault in faults:
            path = scratch.src / fault["file"]
            original = path.read_text(encoding="utf-8") if path.is_file() else ""
            at = locate(original, fault)
            started = time.monotonic()
            if at is None:
                results.append((fault, "STALE", "text not found as the entry says"))
            else:
                path.write_text(original[:at] + fault["replace"] +
                                original[at + len(fault["find"]):], encoding="utf-8")
                try:
                    if not scratch.build_targets():
                        results.append((fault, "STALE", "does not compile"))
                    else:
                        failing = checker(scratch)
                        results.append((fault, "caught" if failing else "SURVIVED",
                                        " ".join(failing)))
                finally:
                    path.write_text(original, encoding="utf-8")
            fault_result = results[-1]
            print(f"{fault_result[1]:9} {fault['area']:12} {fault['name']:45} {fault_result[2]}"
                  f"  ({time.monotonic() - started:.0f} s)", flush=True)

        caught = sum(1 for r in results if r[1] == "caught")
        survived = [r[0]["name"] for r in results if r[1] == "SURVIVED"]
        stale = [r[0]["name"] for r in results if r[1] == "STALE"]
        print(f"\nscore: {caught} of {len(results) - len(stale)} faults caught"
              f" ({args.mode} mode)")
        if survived:
            print("survived: " + " ".join(survived))
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
