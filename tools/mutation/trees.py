"""A copy of the sources with many changes built in, each behind a switch, and its two builds."""

import random
import re
import shutil
import subprocess
from collections import defaultdict
from pathlib import Path

TOOLS = Path(__file__).resolve().parent


def pick(found, area_of, count, seed):
    """Equal numbers by area, of each kind of change in turn, none inside another; the same for the same sources."""
    areas = defaultdict(list)
    for path in sorted(found):
        areas[area_of(path)] += found[path]
    taken, quota, left = [], defaultdict(int), count
    for rank, area in enumerate(sorted(areas, key=lambda name: len(areas[name]))):
        quota[area] = left // (len(areas) - rank)  # What a small area lacks goes to the others.
        chosen = pick_area(areas[area], quota[area], random.Random(f"{seed} {area}"))
        left -= len(chosen)
        taken += [(area, candidate) for candidate in chosen]
    return taken


def pick_area(candidates, quota, chance):
    kinds = defaultdict(list)
    for candidate in candidates:
        kinds[candidate.operator].append(candidate)
    for group in kinds.values():
        chance.shuffle(group)
    chosen, spans = [], defaultdict(list)
    while len(chosen) < quota and any(kinds.values()):
        for kind in sorted(kinds):
            while kinds[kind]:
                candidate = kinds[kind].pop()
                if not overlaps(candidate, spans[candidate.path]):
                    spans[candidate.path].append((candidate.start, candidate.end))
                    chosen.append(candidate)
                    break
    return chosen[:quota]


def overlaps(candidate, spans):
    return any(candidate.start < end and start < candidate.end for start, end in spans)


def changed_text(candidate, number):
    on = f"qxfl_mutant({number})"
    if candidate.form == "skip":
        return f"if (!{on}) {candidate.original}"
    if candidate.form == "negate":
        return f"({on} != static_cast<bool>({candidate.original}))"
    return f"({on} ? ({candidate.changed}) : ({candidate.original}))"


def make_tree(root, tree, mutants, wanted=()):
    """Copies what git knows of `root` and builds the changes in; files that stay the same keep their time."""
    files = subprocess.run(["git", "ls-files", "-z"], cwd=root, capture_output=True, check=True).stdout.split(b"\0")
    by_path = defaultdict(list)
    for number, _, candidate in mutants:
        by_path[candidate.path].append((candidate, number))
    for name in filter(None, (name.decode() for name in files)):
        source, target = Path(root, name), Path(tree, name)
        if not source.is_file():
            continue
        text = source.read_bytes()
        if name in by_path:
            text = mutated(text, by_path[name])
        if not target.exists() or target.read_bytes() != text:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(text)
            shutil.copymode(source, target)


def mutated(text, changes):
    """The lines keep their numbers, so that what the compiler says of one leads to its change."""
    for candidate, number in sorted(changes, key=lambda change: -change[0].start):
        text = text[:candidate.start] + changed_text(candidate, number).encode() + text[candidate.end:]
    return f'#include "{TOOLS}/switch.hpp"\n#line 1\n'.encode() + text


def configure(tree, build, options):
    if not Path(build, "build.ninja").exists():
        subprocess.run(["cmake", *options, "-D", "QXFL_WERROR=OFF", "-D", "QXFL_BENCH=OFF",
                        "-D", f"CMAKE_PROJECT_INCLUDE={TOOLS}/switch.cmake", "-S", tree, "-B", build],
                       check=True, stdout=subprocess.DEVNULL)


def compile_all(tree, build):
    """Lines that the compiler refuses, as (path, line). Anything else that goes wrong ends the program."""
    result = subprocess.run(["ninja", "-C", build, "-k", "0"], capture_output=True, text=True)
    if result.returncode == 0:
        return set()
    refused = set()
    for path, line in re.findall(r"^(?:In file included from )?(/\S+?|\.\./\S+?):(\d+):\d+: (?:error|note|warning)?",
                                 result.stdout, re.M):
        place = Path(build, path).resolve()
        if place.is_relative_to(tree):
            refused.add((str(place.relative_to(tree)), int(line)))
    Path(build, "refused.log").write_text(result.stdout)
    if not refused:
        raise SystemExit(f"error: the changed sources do not build; see {build}/refused.log")
    return refused
