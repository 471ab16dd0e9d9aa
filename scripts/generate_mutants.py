#!/usr/bin/env python3
"""Generated mutants beside the hand-written list: faults made mechanically over src/ and tools/.

Every line of the C++ files of src/ and tools/ (outside comments, string literals and preprocessor
lines) gives the mutants its operators allow:

  rel      a relational operator swapped (< <=, > >=, == !=, and the reverse)
  arith    an arithmetic or bit operator swapped (+ -, * /, & |, << >>, += -=, && ||)
  const    an integer constant plus or minus one
  negate   the condition of an if or while negated
  delete   an expression statement deleted
  return   a return value changed (true/false swapped, anything else value-initialised)

A seeded shuffle of all of them is walked until the sample holds the number asked for of mutants
that compile (those that don't are counted and skipped). Each is planted with scripts/mutate.py's
machinery (scratch tree, rebuild, checkers) and caught or not. A mutant's id hashes its file, its
operator, the text of its line and where in the line it acts, so it survives edits elsewhere in the
file; scripts/equivalent_mutants.txt names the ids of survivors that change nothing a user can see,
each with its reason: those are not planted and not counted.

    nice -n 19 scripts/generate_mutants.py --sample 200 --seed 31 --mode unit
    scripts/generate_mutants.py --list --seed 31 --sample 20   # the sample, nothing built
    scripts/generate_mutants.py --count                        # mutants per operator and area
    scripts/generate_mutants.py --only g1a2b3c4d5              # plant given ids

Headers are left out unless --headers is given: a mutant in a header rebuilds most of the tree.
Score = caught / (planted - equivalent); exits 0 when the run finished, whatever the score.
"""

import argparse
import hashlib
import json
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import shutil
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
import mutate  # noqa: E402  (the scratch tree, the planting and the checkers)

ROOT = mutate.ROOT
EQUIVALENTS = ROOT / "scripts" / "equivalent_mutants.txt"

# Programs that write the samples and check the README: they ship nothing a user runs.
GENERATORS = re.compile(r"^tools/(make_\w+|readme_tables)\.cpp$")
REL = {" < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == "}
ARITH = {" + ": " - ", " - ": " + ", " * ": " / ", " / ": " * ", " & ": " | ", " | ": " & ",
         " << ": " >> ", " >> ": " << ", " += ": " -= ", " -= ": " += ", " && ": " || ",
         " || ": " && "}
INTEGER = re.compile(r"(?<![\w.'])(0[xX][0-9A-Fa-f']+|\d[\d']*)([uU]?[lL]{0,2}|[lL]{1,2}[uU]?)"
                     r"(?![\w.'])")
DECLARATION = re.compile(r"^[\w:<>,*&\s]+[\s*&]\w+\s*(=|\{|;|\(|\[)")
NOT_STATEMENT = re.compile(r"^(return|break|continue|case|default|using|namespace|typedef|"
                           r"static_assert|template|public|private|protected|if|for|while|"
                           r"switch|else|do|try|catch|throw|goto|co_\w+)\b")


def mask_line(line, in_comment):
    """The line with comments and string/char literals blanked (same length), and whether a block
    comment is still open at its end."""
    out = []
    i, n = 0, len(line)
    while i < n:
        if in_comment:
            end = line.find("*/", i)
            if end < 0:
                out.append(" " * (n - i))
                return "".join(out), True
            out.append(" " * (end + 2 - i))
            i, in_comment = end + 2, False
        elif line.startswith("//", i):
            out.append(" " * (n - i))
            break
        elif line.startswith("/*", i):
            in_comment = True
        elif line[i] in "\"'":
            if line[i] == "'" and i > 0 and line[i - 1].isalnum():  # digit separator
                out.append(line[i])
                i += 1
                continue
            quote, j = line[i], i + 1
            if line[i] == '"' and i > 0 and line[i - 1] == "R":  # raw string: leave the line
                return " " * n, in_comment
            while j < n and line[j] != quote:
                j += 2 if line[j] == "\\" else 1
            out.append(quote + " " * (min(j, n) - i - 1) + (quote if j < n else ""))
            i = j + 1
        else:
            out.append(line[i])
            i += 1
    return "".join(out), in_comment


def balanced_end(masked, start):
    """Index just past the parenthesis that closes the one at `start`, or None on this line."""
    depth = 0
    for j in range(start, len(masked)):
        depth += {"(": 1, ")": -1}.get(masked[j], 0)
        if depth == 0:
            return j + 1
    return None


def shifted_constant(text, delta):
    digits = text.replace("'", "")
    value = int(digits, 16) if digits[:2].lower() == "0x" else int(digits, 10)
    if value + delta < 0:
        return None
    if digits[:2].lower() == "0x":
        return f"0x{value + delta:0{len(digits) - 2}X}"
    return str(value + delta)


def line_mutants(line, masked, previous):
    """(operator, column, replacement line, description) for one source line."""
    found = []
    stripped = masked.strip()
    if not stripped or stripped.startswith("#") or "static_assert" in masked \
            or stripped.startswith(("template", "extern", "namespace", "using", "enum class")):
        return found
    for table, op in ((REL, "rel"), (ARITH, "arith")):
        for before, after in table.items():
            at = masked.find(before)
            while at >= 0:
                found.append((op, at, line[:at] + after + line[at + len(before):],
                              f"'{before.strip()}' -> '{after.strip()}'"))
                at = masked.find(before, at + 1)
    for m in INTEGER.finditer(masked):
        if masked[:m.start()].rstrip().endswith(("[", "<")) and \
                masked[m.end():].lstrip().startswith(("]", ">")):
            continue  # array extents and template arguments: mostly a compile error
        for delta in (1, -1):
            shifted = shifted_constant(m.group(1), delta)
            if shifted is not None:
                found.append(("const", m.start(), line[:m.start()] + shifted + line[m.end(1):],
                              f"{m.group(1)} -> {shifted}"))
    for m in re.finditer(r"\b(if|while) \(", masked):
        if masked[:m.start()].rstrip().endswith("constexpr") or "constexpr" in masked[m.end():m.end() + 10]:
            continue
        open_at = m.end() - 1
        close = balanced_end(masked, open_at)
        if close is not None:
            condition = line[open_at + 1:close - 1]
            found.append(("negate", m.start(),
                          line[:open_at + 1] + "!(" + condition + ")" + line[close - 1:],
                          f"{m.group(1)} condition negated"))
    prev = previous.strip()
    starts_statement = not prev or prev.endswith((";", "{", "}", ":"))
    if stripped.endswith(";") and starts_statement and not NOT_STATEMENT.match(stripped) \
            and not DECLARATION.match(stripped) and masked.count("(") == masked.count(")") \
            and any(s in stripped for s in ("=", "++", "--", "(")):
        indent = line[:len(line) - len(line.lstrip())]
        found.append(("delete", len(indent), indent + ";", "statement deleted"))
    m = re.match(r"^(\s*)return (.+);\s*$", masked)
    if m and (not prev or prev.endswith((";", "{", "}", ":", ")"))):
        value = line[m.end(1) + len("return "):len(line.rstrip()) - 1]
        replacement = {"true": "false", "false": "true"}.get(value.strip(), "{}")
        if value.strip() not in ("{}", "std::nullopt", "nullptr"):
            found.append(("return", m.end(1), f"{m.group(1)}return {replacement};",
                          f"return {value.strip()[:40]} -> return {replacement}"))
    return found


def area_of(path):
    parts = Path(path).parts
    if parts[0] == "tools":
        return "tool"
    return parts[2] if len(parts) > 3 else parts[1]


def occurrence_of(text, find, offset):
    """The n (1-based) for which mutate.locate finds `find` at `offset`."""
    at, n = -1, 0
    while True:
        at = text.index(find, at + 1)
        n += 1
        if at == offset:
            return n


def all_mutants(headers):
    """Every mutant of the tree, in a fixed order, as mutate.py fault entries."""
    suffixes = (".cpp", ".h") if headers else (".cpp",)
    files = subprocess.run(["git", "ls-files", "src", "tools"], cwd=ROOT, check=True,
                           capture_output=True, text=True).stdout.split()
    mutants = []
    for path in sorted(f for f in files if f.endswith(suffixes) and not GENERATORS.match(f)):
        text = (ROOT / path).read_text(encoding="utf-8")
        lines = text.split("\n")
        offset, in_comment, previous, seen = 0, False, "", {}
        for number, line in enumerate(lines, 1):
            masked, in_comment_after = mask_line(line, in_comment)
            repeat = seen.get(line.strip(), 0)
            seen[line.strip()] = repeat + 1
            for op, column, replaced, what in line_mutants(line, masked, previous):
                key = f"{path}\0{op}\0{line.strip()}\0{repeat}\0{column}\0{replaced.strip()}"
                mid = "g" + hashlib.sha1(key.encode()).hexdigest()[:10]
                find = line.strip()
                start = offset + len(line) - len(line.lstrip())
                mutants.append({
                    "name": mid, "area": area_of(path), "file": path, "line": number,
                    "op": op, "what": what, "find": find, "replace": replaced.strip(),
                    "occurrence": occurrence_of(text, find, start)})
            if masked.strip():
                previous = masked
            in_comment = in_comment_after
            offset += len(line) + 1
    return mutants


def load_equivalents(path):
    """{id: reason} from lines 'id  reason' (# starts a comment line)."""
    found = {}
    if path.is_file():
        for line in path.read_text(encoding="utf-8").splitlines():
            if line.strip() and not line.startswith("#"):
                mid, _, reason = line.strip().partition(" ")
                found[mid] = reason.strip()
    return found


class FastUnit:
    """The unit checker of mutate.py, in two steps: the GoogleTest program once, in one process
    (most faults stop it within seconds), then the rest of ctest (golden files, README tables,
    interop programs). Same tests, far fewer process starts."""

    def __init__(self, scratch):
        self.scratch = scratch
        listing = subprocess.run(["ctest", "--test-dir", scratch.build, "--show-only=json-v1"],
                                 check=True, capture_output=True, text=True).stdout
        tests = json.loads(listing)["tests"]
        self.others = [t["name"] for t in tests
                       if not t["name"].startswith("fuzz_replay_")
                       and not Path((t.get("command") or [""])[0]).name == "velmora_tests"]

    def __call__(self, scratch):
        exe = scratch.build / "tests" / "velmora_tests"
        rc = mutate.run([exe, "--gtest_fail_fast", "--gtest_brief=1"], scratch.build / "tests",
                        scratch.log, mutate.TEST_TIMEOUT * 2)
        if rc != 0:
            return ["velmora_tests"]
        if not self.others:
            return []
        pattern = "^(" + "|".join(re.escape(n) for n in self.others) + ")$"
        rc = mutate.run(["ctest", "--test-dir", scratch.build, "-j", str(scratch.jobs),
                         "--timeout", str(mutate.TEST_TIMEOUT), "--stop-on-failure", "-R",
                         pattern], mutate.ROOT, scratch.log)
        return [] if rc == 0 else ["ctest"]


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--sample", type=int, default=40, help="mutants that compile, to plant")
    ap.add_argument("--seed", type=int, default=31)
    ap.add_argument("--mode", default="unit", choices=sorted(mutate.MODES))
    ap.add_argument("--headers", action="store_true", help="mutate headers too")
    ap.add_argument("--start", type=int, default=0,
                    help="begin this far into the shuffled order (to share a sample among runs)")
    ap.add_argument("--only", nargs="*", help="ids to plant (the sample is ignored)")
    ap.add_argument("--area", nargs="*", help="draw only from these areas")
    ap.add_argument("--equivalents", default=str(EQUIVALENTS))
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--compiler", default="g++")
    ap.add_argument("--list", action="store_true", help="print the sample, build nothing")
    ap.add_argument("--count", action="store_true", help="mutants per operator and area")
    ap.add_argument("--results", help="write every outcome here (JSON)")
    ap.add_argument("--keep", action="store_true", help="keep the scratch directory")
    args = ap.parse_args()

    mutants = all_mutants(args.headers)
    if args.area:
        mutants = [m for m in mutants if m["area"] in args.area]
    if args.count:
        for key in ("op", "area"):
            counts = {}
            for m in mutants:
                counts[m[key]] = counts.get(m[key], 0) + 1
            print(f"{key}: " + ", ".join(f"{k} {v}" for k, v in sorted(counts.items())))
        print(f"total: {len(mutants)}")
        return 0
    equivalents = load_equivalents(Path(args.equivalents))
    if args.only:
        order = [m for m in mutants if m["name"] in args.only]
        unknown = set(args.only) - {m["name"] for m in order}
        if unknown:
            sys.exit(f"no such mutant: {', '.join(sorted(unknown))}")
    else:
        order = list(mutants)
        random.Random(args.seed).shuffle(order)
        order = order[args.start:]
    if args.list:
        for m in order[:args.sample]:
            mark = "  [equivalent]" if m["name"] in equivalents else ""
            print(f"{m['name']} {m['file']}:{m['line']} {m['op']}: {m['what']}{mark}")
        return 0

    checkers = mutate.MODES[args.mode]
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    directory = tempfile.mkdtemp(prefix="velmora-mutants-")
    if shutil.which("ccache"):  # the clean build of a second run comes from the cache
        os.environ.setdefault("CMAKE_CXX_COMPILER_LAUNCHER", "ccache")
        os.environ["CCACHE_BASEDIR"] = directory
    scratch = mutate.Scratch(directory, args.jobs, args.compiler, "fuzz" in checkers,
                             "unit" in checkers)
    print(f"{len(mutants)} mutants; seed {args.seed}; scratch tree in {directory} "
          f"(log: {scratch.log})", flush=True)
    started_run = time.monotonic()
    try:
        scratch.copy_tree()
        if not scratch.configure() or not scratch.build_targets():
            print("the clean tree doesn't build; see the log", file=sys.stderr)
            return 2
        if scratch.fuzz:
            scratch.targets = (scratch.build / "fuzz" / "targets.txt").read_text().split()
            if not scratch.build_targets(with_corpus=True):
                return 2
            scratch.keep_corpus()
        if scratch.unit:
            mutate.CHECKERS["unit"] = FastUnit(scratch)
        for name in checkers:
            if mutate.CHECKERS[name](scratch):
                print(f"the clean tree fails already ({name})", file=sys.stderr)
                return 2
        print(f"clean tree built and checked ({time.monotonic() - started_run:.0f} s)",
              flush=True)
        results, skipped, equivalent = [], 0, []
        for m in order:
            if len(results) >= (len(order) if args.only else args.sample):
                break
            if m["name"] in equivalents:
                equivalent.append(m)
                continue
            started = time.monotonic()
            outcome, why = mutate.plant(scratch, m, checkers)
            if outcome == "STALE":
                skipped += 1
                print(f"no build  {m['name']} {m['file']}:{m['line']} {m['op']}: {m['what']}",
                      flush=True)
                continue
            results.append((m, outcome))
            verdict = "caught" if any(outcome.values()) else "SURVIVED"
            print(f"{verdict:9} {m['name']} {m['file']}:{m['line']} {m['op']}: {m['what']}"
                  f"  ({time.monotonic() - started:.0f} s)", flush=True)
        mutate.report([(m, r, "") for m, r in results], checkers)
        caught = sum(any(r.values()) for _, r in results)
        print(f"\nseed {args.seed}: {len(results)} planted, {skipped} did not compile, "
              f"{len(equivalent)} drawn were marked equivalent (not planted)")
        print(f"score: {caught} / {len(results)} = "
              f"{100 * caught / max(1, len(results)):.1f}% "
              f"in {(time.monotonic() - started_run) / 60:.1f} minutes ({args.mode} mode)")
        print("\nsurvivors:")
        for m, r in results:
            if not any(r.values()):
                print(f"  {m['name']} {m['file']}:{m['line']} {m['op']}: {m['what']}")
                print(f"      {m['find']}\n   -> {m['replace']}")
        if args.results:
            Path(args.results).write_text(json.dumps(
                [{**m, "caught": {c: v for c, v in r.items()}} for m, r in results], indent=1))
        return 0
    finally:
        if args.keep:
            print(f"kept {directory}")
        else:
            shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
