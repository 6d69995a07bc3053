#!/usr/bin/env python3
"""Makes one table, one JSON file and one picture of what the benchmark programs wrote.

    report.py DIRECTORY OUT    reads DIRECTORY/*.json, writes OUT.json and OUT.svg, prints the table

A row is named workload/type/size/place; what a program leaves out stays empty. The ways of a row are `ours`,
`by_hand`, `limit`, those of NAMED and peers; its label holds what a ratio should stay at or under, as "by_hand<=1.5". Rows
without ways are shown by their growth. Ends with status 1 when a row's result was wrong; a figure that is
missed is told, and is no failure: times belong to the machine.
"""

import datetime
import glob
import json
import os
import platform
import re
import subprocess
import sys

OURS, HAND, LIMIT = "ours", "by_hand", "limit"
OTHER = {OURS, HAND, LIMIT, "spread%"}
NAMED = ["direct", "parse", "remove_if"]  # shown with their names, no peers
GROWTH = "exponent"


def machine():
    model, mhz = platform.machine(), ""
    try:
        with open("/proc/cpuinfo") as info:
            model = re.search(r"model name\s*: (.*)", info.read()).group(1)
    except (OSError, AttributeError):
        pass
    return f"{model}, {os.cpu_count()} processors, {platform.system()} {platform.release()}"


def split(name):
    """'push_front/int32/1000/heap/iterations:1/manual_time' -> workload, type, size, place"""
    parts = [p for p in name.split("/") if p != "manual_time" and not p.startswith("iterations:")]
    sizes = [p for p in parts[1:] if p.isdigit()]
    rest = [p for p in parts[1:] if not p.isdigit()]
    return parts[0], rest[0] if rest else "", int(sizes[0]) if sizes else None, "/".join(rest[1:])


def row_of(program, entry):
    workload, kind, size, place = split(entry["name"])
    numbers = {k: v for k, v in entry.items() if isinstance(v, float)}
    ways = {k: v for k, v in numbers.items() if "x_" + k in numbers or k == OURS}
    ratios = {k[2:]: v for k, v in numbers.items() if k.startswith("x_")}
    peers = {k: v for k, v in ratios.items() if k not in OTHER and k not in NAMED}
    if peers:
        ratios["peers"] = max(peers.values())  # the fastest one
    goals = []
    for goal in entry.get("label", "").split():
        other, at_most = goal.split("<=")
        goals.append({"against": other, "at_most": float(at_most)})
    if GROWTH in numbers:
        ratios[GROWTH] = numbers[GROWTH]
    for goal in goals:
        goal["ratio"] = ratios[goal["against"]]
        goal["ok"] = goal["ratio"] <= goal["at_most"]
    return {"program": program, "workload": workload, "type": kind, "size": size, "place": place, "ns": ways,
            "ratios": ratios, "goals": goals, "spread_percent": numbers.get("spread%")}


def load(directory):
    rows, wrong, context = [], [], {}
    for path in sorted(glob.glob(os.path.join(directory, "*.json"))):
        with open(path) as file:
            run = json.load(file)
        context.update({k: run["context"][k] for k in run["context"]
                        if k in ("compiler", "protobuf", "rapidjson", "nlohmann", "sqlite", "benchmark")})
        program = os.path.splitext(os.path.basename(path))[0]
        for entry in run["benchmarks"]:
            if entry.get("error_occurred"):
                wrong.append(f"{program}: {entry['name']}: {entry['error_message']}")
            elif OURS in entry or GROWTH in entry:
                rows.append(row_of(program, entry))
    return rows, wrong, context


def number(value, digits=2):
    return "" if value is None else f"{value:.{digits}f}"


def table(rows):
    heads = ["workload", "type", "size", "place", "ours ns", "/by hand", "/limit", "/other", "/best peer", "growth", "at most",
             "", "spread"]
    lines = [heads]
    for row in rows:
        ratios, goals = row["ratios"], row["goals"]
        spread = row["spread_percent"]
        lines.append([
            row["workload"], row["type"], "" if row["size"] is None else str(row["size"]), row["place"],
            number(row["ns"].get(OURS), 0), number(ratios.get(HAND)), number(ratios.get(LIMIT)),
            " ".join(f"{name} {ratios[name]:.2f}" for name in NAMED if name in ratios),
            number(ratios.get("peers")), number(ratios.get(GROWTH)),
            " ".join(f"{goal['against']} {goal['at_most']:g}" for goal in goals),
            "" if not goals else "ok" if all(goal["ok"] for goal in goals) else "missed",
            "" if spread is None else f"{spread:.0f} %"])
    widths = [max(len(line[i]) for line in lines) for i in range(len(heads))]
    left = {0, 1, 3, 7, 10, 11}
    return "\n".join("  ".join(cell.ljust(w) if i in left else cell.rjust(w)
                               for i, (cell, w) in enumerate(zip(line, widths))).rstrip() for line in lines)


# The workloads that are drawn, each over its sizes.
PANELS = [("push_front", "int32", "heap"), ("push_front", "string24", "heap"), ("copy_run", "int32", "heap"),
          ("pop_every_second", "int32", "heap"), ("pop_every_second", "small", "heap"),
          ("get_copy", "string24", "heap"), ("copy_run", "double", "heap"), ("pipeline", "generated", "")]
STYLES = {OURS: ("#c02020", 7), HAND: ("#2060c0", 5), LIMIT: ("#808080", 4)}
PEER_STYLES = [("#209050", 9), ("#a060c0", 11), ("#d09020", 13)]


def draw(rows, out, caption):
    """A log-log panel for each workload of PANELS that was measured at two sizes or more."""
    panels = []
    for panel in PANELS:
        points = sorted((r for r in rows if (r["workload"], r["type"], r["place"]) == panel), key=lambda r: r["size"])
        if len(points) > 1:
            panels.append((panel, points))
    if not panels:
        return False
    columns = 2
    height = (len(panels) + columns - 1) // columns
    script = [f"set terminal svg size {columns * 480},{height * 330 + 40} font 'sans,11' background '#ffffff'",
              f"set output '{out}'", "set logscale xy", "set format y '10^{%L}'", "set format x '10^{%L}'",
              "set key top left samplen 1", "set grid", "set ylabel 'ns'",
              f"set multiplot layout {height},{columns} title \"{caption}\""]
    for (workload, kind, _), points in panels:
        title = f"{workload} {kind}".strip().replace("_", " ")
        script.append(f"set title '{title}'")
        script.append(f"set xlabel '{'bytes of the record' if workload == 'pipeline' else 'elements'}'")
        names = sorted({name for point in points for name in point["ns"]},
                       key=lambda name: ([OURS, HAND, LIMIT] + [name]).index(name))
        plots, data, peers = [], [], iter(PEER_STYLES * 3)
        for name in names:
            colour, mark = STYLES.get(name) or next(peers)
            plots.append(f"'-' with linespoints lc rgb '{colour}' pt {mark} ps 0.6 title '{name.replace('_', ' ')}'")
            data += [f"{point['size']} {point['ns'][name]}" for point in points if name in point["ns"]] + ["e"]
        script += ["plot " + ", ".join(plots)] + data
    script += ["unset multiplot"]
    subprocess.run(["gnuplot"], input="\n".join(script) + "\n", text=True, check=True)
    return True


def main(directory, out):
    rows, wrong, context = load(directory)
    about = {"date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
             "machine": machine(), "compiler": context.pop("compiler", ""), "versions": context}
    print(table(rows))
    goals = [goal for row in rows for goal in row["goals"]]
    versions = ", ".join(f"{name} {version}" for name, version in sorted(context.items()))
    print(f"\n{about['date']}; {about['machine']}; compiler {about['compiler']}; {versions}")
    print(f"{len(rows)} rows; {sum(goal['ok'] for goal in goals)} of {len(goals)} figures reached")
    with open(out + ".json", "w") as file:
        json.dump({**about, "rows": rows}, file, indent=1)
        file.write("\n")
    if draw(rows, out + ".svg", f"{about['date']}, medians, ns over size"):
        print(f"{out}.json and {out}.svg hold the same")
    for line in wrong:
        print("WRONG RESULT: " + line, file=sys.stderr)
    if wrong or not rows:
        sys.exit("a benchmark gave a wrong result" if wrong else "no benchmark was run")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
