#!/usr/bin/env python3
"""Runs the benchmark programs and writes what they measured into docs/performance.md.

usage: bench_report.py FOLDER_OF_PROGRAMS [--filter TEXT] [--report-only]

Benchmarks come in pairs, "<work>/kelm" and "<work>/peer"; bench/aims.csv says which ratio of
their medians is aimed at. "curve/<name>/<size>" shows how cost grows. Only the programs whose name
contains TEXT run again; the others' last results are kept beside the programs.
"""
import argparse
import collections
import csv
import json
import pathlib
import platform
import re
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# What Google Benchmark adds to a name and says nothing about the work.
TECHNICAL = re.compile(r"/(real_time|process_time|manual_time|(iterations|repeats|min_time):[^/]+)")


def run_programs(folder, text):
    for program in sorted(folder.glob("*_bench")):
        if text in program.name:
            print(f"==> {program.name}", flush=True)
            out = program.with_suffix(".json")
            subprocess.run([program, f"--benchmark_out={out}", "--benchmark_out_format=json"],
                           check=True)


def read_results(folder):
    """{benchmark name: {metric: [a value a repetition]}} of every program; times in ns."""
    results = collections.defaultdict(lambda: collections.defaultdict(list))
    for file in sorted(folder.glob("*_bench.json")):
        for entry in json.loads(file.read_text())["benchmarks"]:
            if entry.get("run_type") != "iteration" or entry.get("error_occurred"):
                continue
            metrics = results[TECHNICAL.sub("", entry["run_name"])]
            unit = NANOSECONDS[entry["time_unit"]]
            metrics["time"].append(entry["real_time"] * unit)
            metrics["cpu"].append(entry["cpu_time"] * unit)
            for key, value in entry.items():
                if isinstance(value, (int, float)) and key not in ("real_time", "cpu_time"):
                    metrics[key].append(value)
    return results


def shown(value, metric="time"):
    """Nanoseconds in a readable unit; a counter as a number."""
    if metric not in ("time", "cpu") and not metric.startswith("p"):
        return f"{value:,.4g}" if value < 1e4 else f"{value:,.0f}"
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if value >= size:
            return f"{value / size:.3g} {unit}"
    return f"{value:.3g} ns"


def pairs(results):
    """{work: {"kelm" or "peer": metrics}}"""
    found = collections.defaultdict(dict)
    for name, metrics in results.items():
        if match := re.match(r"(.*)/(kelm|peer)(/.*)?$", name):
            found[match[1] + (match[3] or "")][match[2]] = metrics
    return found


def aim_row(row, measured):
    """The cells of one line of bench/aims.csv, and whether its aim was reached (or None)."""
    metric = row["metric"]
    at_least = row["aim"].startswith(">=")
    aim = float(row["aim"].lstrip("<>="))
    both = measured.get(row["work"], {})
    if not all(metric in both.get(side, {}) for side in ("kelm", "peer")):
        return [row["work"], metric, row["peer"], "", "", "not measured", row["aim"], ""], None
    kelm, peer = (statistics.median(both[side][metric]) for side in ("kelm", "peer"))
    ratio = kelm / peer if peer else float("inf")
    reached = ratio >= aim if at_least else ratio <= aim
    sign = "≥" if at_least else "≤"
    return [row["work"], metric, row["peer"], shown(kelm, metric), shown(peer, metric),
            f"{ratio:.2f}", f"{sign} {aim:g}", "yes" if reached else "**no**"], reached


def table(heads, rows):
    lines = [heads, ["---"] * len(heads), *rows]
    return "\n".join("| " + " | ".join(cells) + " |" for cells in lines) + "\n"


def curves(results):
    found = collections.defaultdict(list)
    for name, metrics in results.items():
        if match := re.match(r"curve/(.+)/(\d+)$", name):
            found[match[1]].append((int(match[2]), statistics.median(metrics["time"])))
    for name, points in sorted(found.items()):
        rows = [[f"{size:,}", shown(time), shown(time / size)] for size, time in sorted(points)]
        yield f"### {name}\n\n" + table(["size", "time", "time / size"], rows)


def machine():
    text = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"model name\s*: (.*)", text)
    compiler = subprocess.run(["g++", "-dumpfullversion"], capture_output=True, text=True,
                              check=False).stdout.strip()
    return (f"{text.count('processor')} processors ({model[1] if model else platform.machine()}), "
            f"Linux {platform.release().split('-')[0]}, g++ {compiler}, release build.")


def report(results):
    with open(ROOT / "bench/aims.csv", newline="", encoding="utf-8") as file:
        rows = [aim_row(row, pairs(results)) for row in csv.DictReader(file)]
    reached = sum(1 for _, outcome in rows if outcome)
    repetitions = min((len(m["time"]) for m in results.values()), default=0)
    heads = ["work", "metric", "peer", "kelm", "the peer", "ratio", "aim", "reached"]
    return "\n".join([
        f"Medians of at least {repetitions} randomly interleaved repetitions. {machine()}",
        f"Aims reached: {reached} of {len(rows)}.\n",
        table(heads, [cells for cells, _ in rows]),
        "## How cost grows\n",
        *curves(results)])


def write_into(path, text):
    old = path.read_text()
    before, rest = old.split(BEGIN, 1)
    path.write_text(f"{before}{BEGIN}\n{text}\n{END}{rest.split(END, 1)[1]}")


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--filter", default="")
    parser.add_argument("--report-only", action="store_true")
    options = parser.parse_args()
    if not options.report_only:
        run_programs(options.folder, options.filter)
    results = read_results(options.folder)
    if not results:
        sys.exit("no results: are there benchmark programs?")
    text = report(results)
    write_into(ROOT / "docs/performance.md", text)
    print(text)


if __name__ == "__main__":
    main()
