"""Counts what the tests reached, and judges it.

    coverage.py count BUILD COUNTS.json   merges what gcov says of each object under BUILD into gcovr's format
    coverage.py judge COUNTS.json         lines and branches against the least allowed; ends with 1 below

Lines of src/common that are not reached must stand in exceptions.txt, with their reason.

gcovr itself counts from gcov's text, which does not tell the branches of exceptions from others where a line was not
reached: one program that does not reach a line would bring them back for all. gcov's JSON tells them everywhere.
"""

import concurrent.futures
import json
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# Group, lines and branches in percent.
LEAST = {"src/common": (97.0, 90.0), "others": (93.0, 0.0)}


def gcov(note):
    said = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", "--relative-only",
                           "--source-prefix", ROOT, note], check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    # One document a line.
    return [file for line in said.stdout.split(b"\n") if line for file in json.loads(line)["files"]]


def count(build, target):
    """A branch of a template counts once, whichever type took it; so does one of a source built into two programs."""
    notes = [os.path.join(folder, name) for folder, _, names in os.walk(build) for name in names if name.endswith(".gcno")]
    files = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 2) as pool:
        for entry in (entry for entries in pool.map(gcov, sorted(notes)) for entry in entries):
            path = os.path.relpath(os.path.join(ROOT, entry["file"]), ROOT)
            if not path.startswith("src/"):
                continue
            for line in entry["lines"]:
                number = line["line_number"]
                row = files.setdefault(path, {}).setdefault(number, {"count": 0, "branches": []})
                row["count"] += line["count"]
                for place, branch in enumerate(line["branches"]):
                    if place == len(row["branches"]):
                        row["branches"].append({"count": 0, "fallthrough": branch["fallthrough"], "throw": False})
                    row["branches"][place]["count"] += branch["count"]
                    row["branches"][place]["throw"] |= branch["throw"]
    out = []
    for path, rows in sorted(files.items()):
        with open(os.path.join(ROOT, path), encoding="utf-8") as text:
            source = text.read().split("\n")
        lines = []
        for number, row in sorted(rows.items()):
            # Braces alone: the branches are those of destructors.
            is_code = re.sub(r"//.*|[\s{};)]", "", source[number - 1]) != ""
            lines.append({"line_number": number, "count": row["count"], "gcovr/noncode": False, "gcovr/excluded": False,
                          "branches": [branch for branch in row["branches"] if is_code and not branch["throw"]]})
        out.append({"file": path, "lines": lines, "functions": []})
    with open(target, "w", encoding="utf-8") as text:
        json.dump({"gcovr/format_version": "0.3", "files": out}, text)


def read_exceptions():
    """Of each file the texts that are left out."""
    exceptions, last = {}, None
    with open(os.path.join(ROOT, "tests", "coverage", "exceptions.txt"), encoding="utf-8") as lines:
        for line in lines:
            line = line.rstrip("\n")
            if line.startswith("= "):
                last[1] = line[2:]
            elif line and not line.startswith("#"):
                path, text = line.split(" : ", 1)
                text, _, more = text.partition(" +")
                last = [text, "", int(more or 0)]
                exceptions.setdefault(path, []).append(last)
    return exceptions


def judge(counts):
    with open(counts, encoding="utf-8") as text:
        files = json.load(text)["files"]
    exceptions = read_exceptions()
    problems = []
    totals = {name: [0, 0, 0, 0] for name in LEAST}
    missing = []
    for entry in files:
        path = entry["file"]
        group = "src/common" if path.startswith("src/common/") else "others"
        total = totals[group]
        with open(os.path.join(ROOT, path), encoding="utf-8") as text:
            source = text.read().split("\n")
        rows = {row[0]: row for row in exceptions.get(path, [])}
        excepted = {}
        for number, written in enumerate(source):
            for more in range(rows[written.strip()][2] + 1 if written.strip() in rows else 0):
                excepted[number + 1 + more] = written.strip()
        used = set()
        for line in entry["lines"]:
            if line.get("gcovr/noncode"):
                continue
            written = source[line["line_number"] - 1].strip()
            if line["line_number"] in excepted and line["count"] == 0:
                used.add(excepted[line["line_number"]])
                continue
            total[0] += 1
            total[1] += line["count"] > 0
            if line["count"] == 0 and group == "src/common":
                missing.append(f"{path}:{line['line_number']}: {written}")
            for branch in line["branches"]:
                total[2] += 1
                total[3] += branch["count"] > 0
        for written, row in rows.items():
            if not row[1]:
                problems.append(f"exceptions.txt gives no reason for {path}: {written}")
            if written not in used:
                problems.append(f"exceptions.txt names what is reached, or gone: {path}: {written}")
    for group, (least_lines, least_branches) in LEAST.items():
        lines, reached, branches, taken = totals[group]
        if not lines:
            problems.append(f"nothing of {group} was counted")
            continue
        line_part, branch_part = 100.0 * reached / lines, 100.0 * taken / max(branches, 1)
        print(f"{group}: {line_part:.1f} % of {lines} lines, {branch_part:.1f} % of {branches} branches "
              f"(at least {least_lines:.0f} and {least_branches:.0f})")
        if line_part < least_lines or branch_part < least_branches:
            problems.append(f"{group} is below what is asked for")
    problems += [f"not reached, and no exception: {line}" for line in missing]
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(count(sys.argv[2], sys.argv[3]) if sys.argv[1] == "count" else judge(sys.argv[2]))
