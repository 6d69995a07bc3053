"""Puts one fault after the other into a copy of the sources and sees which tests fail.

    mutate.py --check             whether every text of faults.txt stands in its file exactly once
    mutate.py [--only WORD]       the run; what an earlier run of the same test programs found is not repeated

Ends with 1 when a fault survives that is not listed as equivalent.
"""

import argparse
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FAULTS = os.path.join(ROOT, "tests", "mutate", "faults.txt")
WORK = os.path.join(ROOT, "build", "mutate")
# A tree of the same shape, built in the same way as the tests are: what a compiler cache holds of them serves here.
TREE = os.path.join(WORK, "tree")
BUILD = os.path.join(TREE, "build", "debug")
TEST_SECONDS = 600


class Fault:
    def __init__(self, path, programs, line):
        self.path, self.programs, self.line = path, programs, line
        self.old = self.new = self.equivalent = ""

    def key(self):
        return "\n".join([self.path, self.old, self.new])

    def place(self):
        return f"faults.txt:{self.line}"


def read_faults():
    """The rows, and what is wrong with how they are written."""
    faults, wrong, marks = [], [], {"- ": "old", "+ ": "new", "= ": "equivalent"}
    with open(FAULTS, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            line = line.rstrip("\n")
            if not line or line.startswith("#"):
                continue
            part = marks.get(line[:2])
            path, colon, programs = line.partition(" : ")
            if part is None and colon and programs.split():
                faults.append(Fault(path, programs.split(), number))
            elif part is None:
                wrong.append(f"faults.txt:{number}: neither FILE : TEST PROGRAMS nor a text after '- ', '+ ' or '= ': {line}")
            elif not faults or getattr(faults[-1], part):
                wrong.append(f"faults.txt:{number}: a text without a row of its own: {line}")
            else:
                setattr(faults[-1], part, line[2:])
    return faults, wrong


def declared_programs():
    """Every word of the files that declare test programs."""
    words = set()
    for folder, _, files in os.walk(os.path.join(ROOT, "tests")):
        if "CMakeLists.txt" in files:
            with open(os.path.join(folder, "CMakeLists.txt"), encoding="utf-8") as text:
                words.update(re.findall(r"\w+", text.read()))
    return words


def wrong_rows(faults):
    wrong, seen, programs = [], {}, declared_programs()
    for fault in faults:
        try:
            with open(os.path.join(ROOT, fault.path), encoding="utf-8") as text:
                count = text.read().count(fault.old) if fault.old else 0
        except OSError:
            wrong.append(f"{fault.place()}: there is no file {fault.path}")
            continue
        unknown = [program for program in fault.programs if program not in programs]
        if unknown:
            wrong.append(f"{fault.place()}: no test program {' '.join(unknown)} under tests")
        if not fault.old or not fault.new:
            wrong.append(f"{fault.place()}: the row lacks its {'+' if fault.old else '-'} line")
        elif fault.new == fault.old:
            wrong.append(f"{fault.place()}: the fault changes nothing: {fault.old}")
        elif count != 1:
            wrong.append(f"{fault.place()}: the text stands {count} times in {fault.path}, and must once: {fault.old}")
        elif fault.key() in seen:
            wrong.append(f"{fault.place()}: the same fault as {seen[fault.key()]}")
        seen[fault.key()] = fault.place()
    return wrong


def sources():
    listed = subprocess.run(
        ["git", "ls-files", "-co", "--exclude-standard", "CMakeLists.txt", "CMakePresets.json", "cmake", "src", "tests",
         "examples", "docs"],
        cwd=ROOT, check=True, capture_output=True, text=True)
    return sorted(name for name in set(listed.stdout.split("\n")) if name and os.path.exists(os.path.join(ROOT, name)))


def program_states(programs, paths, names):
    """What the outcome of a fault depends on: the programs without any fault, and the files that they read."""
    states = {}
    for program in programs:
        folder = os.path.relpath(os.path.dirname(paths[program]), BUILD)
        digest = hashlib.sha256()
        with open(paths[program], "rb") as binary:
            digest.update(binary.read())
        for name in names:
            is_data = not name.endswith((".cpp", ".h", "CMakeLists.txt"))
            if is_data and name.startswith((folder + "/", "tests/testdata/", "examples/", "docs/statements.md")):
                with open(os.path.join(TREE, name), "rb") as text:
                    digest.update(name.encode() + b"\0" + text.read() + b"\0")
        states[program] = digest.hexdigest()
    return states


def same(a, b):
    if not os.path.exists(b):
        return False
    with open(a, "rb") as one, open(b, "rb") as other:
        return one.read() == other.read()


def copy_sources(names):
    """Only what differs, so that the build repeats nothing else."""
    for name in names:
        source, target = os.path.join(ROOT, name), os.path.join(TREE, name)
        if not same(source, target):
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copyfile(source, target)


def quiet(arguments, folder=ROOT):
    return subprocess.run(arguments, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")


def build(programs):
    return quiet(["ninja", "-C", BUILD, "-j", str(os.cpu_count() or 2), *programs])


def program_paths():
    found = {}
    for folder, _, files in os.walk(os.path.join(BUILD, "tests")):
        for name in files:
            path = os.path.join(folder, name)
            if name.endswith("_test") and os.access(path, os.X_OK):
                found[name] = path
    return found


def fails(program, paths):
    """Whether the program fails; one that does not end fails too."""
    try:
        # A random order would make two runs differ; a first failure is enough.
        ended = subprocess.run([paths[program], "--gtest_fail_fast"], cwd=os.path.dirname(paths[program]),
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=TEST_SECONDS)
        return ended.returncode != 0
    except subprocess.TimeoutExpired:
        return True


def try_fault(fault, paths):
    target = os.path.join(TREE, fault.path)
    with open(target, encoding="utf-8") as text:
        before = text.read()
    try:
        with open(target, "w", encoding="utf-8") as text:
            text.write(before.replace(fault.old, fault.new))
        for program in fault.programs:
            built = build([program])
            if built.returncode != 0:
                return "does not compile", built.stdout[-2000:]
            if fails(program, paths):
                return "killed", program
        return "survived", ""
    finally:
        with open(target, "w", encoding="utf-8") as text:
            text.write(before)


def prepare(faults):
    names = sources()
    copy_sources(names)
    launcher = shutil.which("ccache") or ""
    made = quiet(["cmake", "-S", TREE, "--preset", "debug", "-DCMAKE_CXX_COMPILER_LAUNCHER=" + launcher], TREE)
    if made.returncode != 0:
        sys.exit(made.stdout)
    programs = sorted({program for fault in faults for program in fault.programs})
    built = build(programs)
    if built.returncode != 0:
        sys.exit(built.stdout[-4000:])
    paths = program_paths()
    for program in programs:
        if fails(program, paths):
            sys.exit(f"{program} fails without any fault")
    return program_states(programs, paths, names), paths


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--only", default="")
    arguments = parser.parse_args()
    faults, wrong = read_faults()
    wrong += wrong_rows(faults)
    if wrong:
        sys.exit("\n".join(wrong))
    if arguments.check:
        print(f"{len(faults)} faults, each stands in its file once")
        return 0

    faults = [fault for fault in faults if arguments.only in fault.path]
    if not faults:
        sys.exit(f"no file of faults.txt has '{arguments.only}' in its path")
    states, paths = prepare(faults)
    store = os.path.join(WORK, "results.json")
    results = {}
    if os.path.exists(store):
        with open(store, encoding="utf-8") as text:
            results = json.load(text)
    bad = equivalent = killed = 0
    survivors = []
    for number, fault in enumerate(faults, 1):
        key = fault.key() + str(fault.programs)
        state = [states[program] for program in fault.programs]
        known = results.get(key, [])
        if known[3:] != [state]:
            begin = time.monotonic()
            outcome, detail = try_fault(fault, paths)
            known = [outcome, detail, round(time.monotonic() - begin), state]
            results[key] = known
            # Whole or not at all, whenever the run is interrupted.
            with open(store + ".new", "w", encoding="utf-8") as text:
                json.dump(results, text, indent=1)
            os.replace(store + ".new", store)
        outcome, detail = known[0], known[1]
        if outcome == "killed":
            killed += 1
            # A reason why no test can see it does not stand beside a test that does.
            outcome = "killed, though listed as equivalent" if fault.equivalent else outcome
            bad += 1 if fault.equivalent else 0
        elif outcome == "survived" and fault.equivalent:
            equivalent += 1
            outcome = "equivalent"
        else:
            bad += 1
            survivors += [fault] if outcome == "survived" else []
        print(f"{number:3} {outcome:10} {known[2]:4} s  {fault.path}: {fault.new.strip()}"
              + (f"  ({detail})" if outcome == "killed" else ""), flush=True)
        if outcome == "does not compile":
            print(detail)
    for fault in survivors:
        print(f"{fault.place()}: no test of {' '.join(fault.programs)} fails with: {fault.new.strip()}")
    print(f"{len(faults)} faults: {killed} killed, {equivalent} equivalent, {bad} to look at")
    return 1 if bad else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit("interrupted; the next run goes on from here")
