#!/usr/bin/env python3
"""
Puts small faults into the library, one at a time, and tells which of them no test notices.

Usage: mutate.py SOURCE_FOLDER BUILD_FOLDER [COUNT] [PATTERN]

The build folder is one of the preset coverage, built. Of each fault, the object is compiled and linked in front of
the library into the test programs that reach its line; nothing in the build folder changes. PATTERN, a regular
expression, picks files. Faults in equivalent.txt are known to change nothing that a program can see.
"""

import json
import os
import random
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time
from collections import defaultdict
from pathlib import Path

import mutants

SEED = 320
FOLDERS = ("src/common", "src/codecmap")
LEVELS = ("-O0", "-O2")  # to run, and to ask the compiler whether a fault makes a difference
LIBRARIES = {"src/common": "orka_static", "src/codecmap": "codecmap_static"}


class Build:
    """Compiles and links as the build folder does, into a scratch folder."""

    def __init__(self, source, folder):
        self.source = source
        self.folder = folder
        self.scratch = folder / "mutants"
        shutil.rmtree(self.scratch, ignore_errors=True)
        self.scratch.mkdir()
        rows = json.loads((folder / "compile_commands.json").read_text())
        self.compilers = {self.file_of(row): row["command"] for row in rows if self.is_counted(row["command"])}
        self.users = self.read_users()
        self.unchanged = {}
        self.system_headers = self.read_system_headers()
        self.linker = ["-fuse-ld=gold"] if shutil.which("ld.gold") else []
        self.linkers = {}
        for path in sorted(folder.glob("tests/*/orka_*")):
            if path.is_file() and os.access(path, os.X_OK):
                self.linkers[path.name] = self.read_linker(path.relative_to(folder))

    def read_system_headers(self):
        """One header with all that the sources include, read once: that takes most of the time of compiling one."""
        texts = [(self.source / file).read_text() for file in self.compilers]
        names = sorted(set(re.findall(r"^#include <.*>$", "\n".join(texts), re.MULTILINE)))
        header = self.scratch / "system.h"
        header.write_text("\n".join(names) + "\n")
        words = self.words_of(next(iter(self.compilers)))
        for level in LEVELS:
            folder = self.scratch / level
            folder.mkdir()
            shutil.copy(header, folder)
            words_here = words + [level, "-x", "c++-header", "-o", folder / "system.h.gch", folder / "system.h"]
            subprocess.run(words_here, cwd=self.folder, check=True, capture_output=True)
        return {level: self.scratch / level / "system.h" for level in LEVELS}

    def words_of(self, file):
        """How a source is compiled, but for its names and gcov's counters."""
        words = shlex.split(self.compilers[file])
        words = words[: words.index("-o")] + ["-w"]
        return [word for word in words if word not in ("--coverage", "-fprofile-update=atomic", "-g")]

    def file_of(self, row):
        return str(Path(row["file"]).relative_to(self.source))

    @staticmethod
    def is_counted(command):
        return "--coverage" in command and any(f"/{name}.dir/" in command for name in LIBRARIES.values())

    def output_of(self, *command):
        return subprocess.run(command, cwd=self.folder, check=True, capture_output=True, text=True).stdout

    def read_users(self):
        """For each file: the sources that have to be compiled when it changes."""
        users = defaultdict(set)
        objects = {re.search(r"-o (\S+)", command).group(1): file for file, command in self.compilers.items()}
        current = None
        for line in self.output_of("ninja", "-t", "deps").splitlines():
            if not line.startswith(" "):
                current = objects.get(line.split(":")[0])
            elif current and line.strip().startswith(str(self.source / "src")):
                users[str(Path(line.strip()).relative_to(self.source))].add(current)
        return users

    def read_linker(self, program):
        command = self.output_of("ninja", "-t", "commands", str(program)).splitlines()[-1]
        command = command.removeprefix(": && ").removesuffix(" && :")
        return [word if word != str(program) else "PROGRAM" for word in shlex.split(command)]

    def compile(self, overlay, file, level=LEVELS[0]):
        """The object of a source whose changed files lie in the overlay; None where it is no C++."""
        changed = overlay / file
        source = changed if changed.exists() else self.source / file
        words = self.words_of(file)
        words[1:1] = ["-include", str(self.system_headers[level]), f"-I{overlay}/src"]
        target = overlay / (Path(file).stem + ".o")
        target.parent.mkdir(exist_ok=True)
        words += [level, f"-ffile-prefix-map={overlay}/=", "-o", str(target), "-c", str(source)]
        done = subprocess.run(words, cwd=self.folder, capture_output=True)
        return target if done.returncode == 0 else None

    def objects_with(self, overlay, changed):
        """The objects of all sources that the changed file is part of; None where they are the same, or no C++."""
        objects = []
        for file in sorted(self.users[changed]):
            if file not in self.unchanged:
                self.unchanged[file] = self.compile(self.scratch / "nothing", file).read_bytes()
            compiled = self.compile(overlay, file)
            if compiled is None:
                return None
            if compiled.read_bytes() != self.unchanged[file]:
                objects.append(compiled)
        return objects or None

    def is_optimised_away(self, overlay, changed):
        """Whether the compiler makes the same of the changed file."""
        return all(
            self.compile(overlay, file, LEVELS[1]).read_bytes()
            == self.compile(self.scratch / "nothing", file, LEVELS[1]).read_bytes()
            for file in self.users[changed]
        )

    def link(self, overlay, objects, name):
        words = list(self.linkers[name])
        program = overlay / name
        words[words.index("PROGRAM")] = str(program)
        at = words.index(str(program)) + 1
        words[at:at] = [str(one) for one in objects] + self.linker
        subprocess.run(words, cwd=self.folder, check=True, capture_output=True)
        return program


def limit_resources():
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    resource.setrlimit(resource.RLIMIT_FSIZE, (256 << 20, 256 << 20))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(program, counts, timeout):
    """Whether a test program ends well, in time."""
    environment = dict(os.environ, GTEST_FAIL_FAST="1", GTEST_BRIEF="1", GCOV_PREFIX=str(counts))
    process = subprocess.Popen(
        [program],
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        start_new_session=True,
        preexec_fn=limit_resources,
    )
    try:
        return process.wait(timeout) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


class Reach:
    """Which test programs reach a line, and how long they take."""

    def __init__(self, build):
        self.seconds = {}
        self.programs = defaultdict(set)
        for name in build.linkers:
            self.measure(build, name)

    def measure(self, build, name):
        counts = build.scratch / "counts"
        begin = time.monotonic()
        program = next(build.folder.glob(f"tests/*/{name}"))
        if not passes(program, counts, 300):
            sys.exit(f"mutate: {name} fails without any fault")
        self.seconds[name] = time.monotonic() - begin
        for data in counts.rglob("*.gcda"):
            notes = build.folder / data.relative_to(counts / build.folder.relative_to("/"))
            shutil.copy(notes.with_suffix(".gcno"), data.with_suffix(".gcno"))
            self.read(build.output_of("gcov", "--json-format", "--stdout", str(data)), name)
        shutil.rmtree(counts, ignore_errors=True)

    def read(self, text, name):
        for file in json.loads(text)["files"]:
            for line in file["lines"]:
                if line["count"] > 0:
                    self.programs[file["file"], line["line_number"]].add(name)
                    self.programs[file["file"], None].add(name)

    def of(self, mutant, users):
        """Quickest first. A line that is never executed, as in a table, is everybody's who reaches a user of it."""
        names = self.of_places((mutant.file, line) for line in mutant.lines())
        return sorted(names or self.of_places((file, None) for file in users), key=self.seconds.get)

    def of_places(self, places):
        return set().union(*(self.programs.get(place, ()) for place in places))


def sample(source, count, pattern):
    """Mutants of all kinds in turn, the same ones at every run."""
    kinds = defaultdict(list)
    for folder in FOLDERS:
        for path in sorted((source / folder).glob("*.*")):
            file = str(path.relative_to(source))
            if path.suffix in (".cpp", ".h") and re.search(pattern, file):
                for mutant in mutants.in_file(file, path.read_text()):
                    kinds[mutant.kind].append(mutant)
    shuffler = random.Random(SEED)
    for kind in sorted(kinds):
        shuffler.shuffle(kinds[kind])
    while any(kinds.values()):
        for kind in sorted(kinds):
            if kinds[kind]:
                yield kinds[kind].pop()


def killer(build, reach, mutant):
    """The program that notices the mutant, "" where none does, None where the compiler sees no difference either."""
    overlay = build.scratch / "overlay"
    shutil.rmtree(overlay, ignore_errors=True)
    changed = overlay / mutant.file
    changed.parent.mkdir(parents=True)
    changed.write_text(mutants.applied(mutant, (build.source / mutant.file).read_text()))
    objects = build.objects_with(overlay, mutant.file)
    if objects is None:
        return None
    for name in reach.of(mutant, build.users[mutant.file]):
        program = build.link(overlay, objects, name)
        if not passes(program, overlay / "counts", 10 + 5 * reach.seconds[name]):
            return name
    return None if build.is_optimised_away(overlay, mutant.file) else ""


def read_equivalents(path):
    """Blocks of a file's name, the lines of a diff and a reason."""
    known = {}
    for block in re.split(r"\n\s*\n", path.read_text()):
        rows = [row for row in block.split("\n") if row and not row.startswith("#")]
        if rows:
            diff = "".join(f"    {row}\n" for row in rows if row[:2] in ("- ", "+ "))
            known[rows[0], diff] = " ".join(row for row in rows[1:] if row[:2] not in ("- ", "+ "))
    return known


def show(title, rows):
    print(f"\n{title}: {len(rows)}")
    for mutant, note in rows:
        print(f"  {mutant.file}:{mutant.first + 1} ({mutant.kind}) {note}\n{mutant.diff()}", end="")


def main():
    source, folder = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 300
    pattern = sys.argv[4] if len(sys.argv) > 4 else ""
    os.nice(10)
    build = Build(source, folder)
    reach = Reach(build)
    known = read_equivalents(Path(__file__).with_name("equivalent.txt"))
    made, killed, equivalent, survivors = 0, 0, [], []
    for mutant in sample(source, count, pattern):
        if made == count:
            break
        name = killer(build, reach, mutant)
        if name is None:
            continue
        made += 1
        reason = known.get((mutant.file, mutant.diff()))
        killed += name != ""
        if name == "":
            (equivalent if reason else survivors).append((mutant, reason or ""))
        outcome = name or ("equivalent" if reason else "SURVIVES")
        print(f"[{made}/{count}] {mutant.file}:{mutant.first + 1} {mutant.kind}: {outcome}", flush=True)
        if outcome == "SURVIVES":
            print(mutant.diff(), end="", flush=True)
    show("Known to change nothing", equivalent)
    show("Noticed by no test", survivors)
    print(f"\n{made} faults: {killed} noticed, {len(equivalent)} change nothing, {len(survivors)} not noticed")
    shutil.rmtree(build.scratch, ignore_errors=True)
    sys.exit(1 if survivors else 0)


main()
