#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""plantbugs.py BUILD SEEDS RUNNER... -- PATCH...

Plants one bug after the other in a copy of the files that its patch touches, links the storms
of BUILD with them, and tells the first seed that finds it; that seed must pass without the bug.
Only what differs is compiled: what the linker meets first wins over the same in a library.
RUNNER is put in front of the program."""

import json
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

program = "bin/endurance_storm"
most_seconds = 3600


def compile_planted(build, root, scratch, name):
    """Compiles the planted copy of one source file as the build compiles the file itself."""
    commands = json.loads((build / "compile_commands.json").read_text())
    source = str(root / name)
    entry = next(command for command in commands if command["file"] == source)
    command = shlex.split(entry["command"])
    target = scratch / (name.replace("/", "-") + ".o")
    command[command.index("-o") + 1] = str(target)
    command[command.index(source)] = str(scratch / name)
    if "-MF" in command:
        command[command.index("-MF") + 1] = str(target) + ".d"
    command.insert(1, "-I" + str(scratch))
    subprocess.run(command, cwd=entry["directory"], check=True)
    return target


def link_planted(build, scratch, objects):
    """Links the storms as the build does, with the planted objects in front."""
    listed = subprocess.run(["ninja", "-C", build, "-t", "commands", program],
                            check=True, capture_output=True, text=True).stdout
    last = [line for line in listed.splitlines() if " -o " + program in line][-1]
    command = re.sub(" -o " + program, f" {' '.join(map(str, objects))} -o {scratch}/storm", last)
    subprocess.run(command, shell=True, cwd=build, check=True)
    return scratch / "storm"


def run_seeds(runner, storm, *orders):
    """What the storms tell of their end; nothing when nothing went wrong."""
    try:
        run = subprocess.run([*runner, storm, "--as-found", *orders], capture_output=True, text=True,
                             timeout=most_seconds)
    except subprocess.TimeoutExpired:
        return f"no end within {most_seconds} seconds"
    told = re.search("^Seed .*", run.stdout, re.M)
    return told.group() if told else f"ended with {run.returncode}" if run.returncode else ""


def plant(build, seeds, runner, patch):
    """Whether the storms find the bug of this patch."""
    root = pathlib.Path.cwd()
    text = patch.read_text()
    names = re.findall(r"^\+\+\+ b/(\S+)", text, re.M)
    with tempfile.TemporaryDirectory() as folder:
        scratch = pathlib.Path(folder)
        for name in names:
            (scratch / name).parent.mkdir(parents=True, exist_ok=True)
            (scratch / name).write_bytes((root / name).read_bytes())
        if subprocess.run(["patch", "--quiet", "--strip", "1", "--input", patch.resolve()], cwd=scratch).returncode:
            return "the patch does not apply any more", False
        objects = [compile_planted(build, root, scratch, name) for name in names]
        storm = link_planted(build, scratch, objects)
        told = run_seeds(runner, storm, "--seeds", seeds)
    seed = re.match("Seed ([0-9]+) failed", told)
    if not seed:
        return told or f"not found within {seeds} seeds", False
    without = run_seeds(runner, build / program, "--seeds", "1", "--seed", seed.group(1))
    return (f"{told}; without the bug: {without}", False) if without else (told, True)


def main():
    build, seeds = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]
    end = len(sys.argv) - 1 - sys.argv[::-1].index("--")
    missed = 0
    for patch in map(pathlib.Path, sys.argv[end + 1:]):
        verdict, found = plant(build, seeds, sys.argv[3:end], patch)
        print(f"{patch.stem}: {verdict}", flush=True)
        missed += not found
    print(f"{missed} of {len(sys.argv) - end - 1} planted bugs were not found.")
    return missed != 0


if __name__ == "__main__":
    sys.exit(main())
