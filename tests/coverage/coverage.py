"""Judges what gcovr counted.

    coverage.py COUNTS.json      lines and branches against the least allowed; ends with 1 below

Lines of src/common that are not reached must stand in exceptions.txt, with their reason.
"""

import json
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# Group, lines and branches in percent.
LEAST = {"src/common": (97.0, 90.0), "others": (93.0, 0.0)}


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


def main():
    with open(sys.argv[1], encoding="utf-8") as text:
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
    sys.exit(main())
