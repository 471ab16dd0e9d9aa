#!/usr/bin/env python3
"""Fails when an include of the library climbs: a folder of src/rdd18 may include only the folders
below it (docs/layers.md). Fails too when a header is installed or not against its name: the
headers of internal/ and those named internal_*.h are the library's own, every other is listed in
src/CMakeLists.txt to be installed. Prints every break of either rule."""
import pathlib
import re
import sys

# Each folder and the folders it may include besides itself. The umbrella header rdd18.h, at the
# top, may include anything.
ALLOWED = {
    "platform": {"internal"},
    "internal": set(),
    "transport": {"internal"},
    "diagnostics": {"internal"},
    "items": {"transport", "internal", "platform"},
    "arri": {"transport", "internal", "platform"},
    "output": {"items", "transport", "internal", "platform"},
    "host": {"transport", "internal", "platform"},
    "interpret": {"output", "arri", "items", "transport", "internal", "platform"},
}
# Generated beside the sources, below every folder.
GENERATED = {"rdd18/export.h", "rdd18/version.h"}

root = pathlib.Path(__file__).resolve().parent.parent / "src" / "rdd18"
include = re.compile(r'^\s*#\s*include\s+[<"](rdd18/[^">]+)[">]')
broken = []
for path in sorted(root.rglob("*")):
    if path.suffix not in (".h", ".cpp") or path.parent == root:
        continue
    folder = path.parent.name
    if folder not in ALLOWED:
        broken.append(f"{path}: folder '{folder}' has no place in the layers")
        continue
    for number, line in enumerate(path.read_text().splitlines(), 1):
        match = include.match(line)
        if not match or match.group(1) in GENERATED:
            continue
        target = match.group(1).split("/")[1]
        if target != folder and target not in ALLOWED[folder]:
            broken.append(f"{path.relative_to(root.parent.parent)}:{number}: {folder} includes "
                          f"{match.group(1)}")
# Private by path or name, public otherwise.
cmake_lists = (root.parent / "CMakeLists.txt").read_text()
installed = set(re.findall(r"^\s+(rdd18/\S+\.h)$", cmake_lists, re.M))
for path in sorted(root.rglob("*.h")):
    name = path.relative_to(root.parent).as_posix()
    private = path.parent.name == "internal" or path.name.startswith("internal_")
    if private == (name in installed):
        broken.append(f"{name}: {'private but installed' if private else 'public but not installed'}")
if broken:
    print("layers or headers out of place:\n  " + "\n  ".join(broken), file=sys.stderr)
    sys.exit(1)
print("layers: every include goes down; headers are installed as their names say")
