#!/usr/bin/env python3
"""Prints how the measurements stand to the bars.

usage: report.py BARS RESULT...

BARS is a list of records:
  name          what is compared
  numerator     the benchmark that is judged
  denominator   the benchmark it is judged by, or a number
  limit         the ratio that is not to be exceeded
  scale         the ratio is divided by it, 1 if absent; 10 asks for the same cost per value when the
                numerator's document is ten times the denominator's
A RESULT is what Google Benchmark writes as JSON; medians are compared. Bars whose benchmarks were
not measured are missed, unless --partial says that only some were meant to be.
"""
import argparse
import json
import pathlib
import sys

UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def read_results(names):
    """The median of each benchmark: its CPU time, or its real time where that is measured."""
    medians = {}
    for name in names:
        for entry in json.loads(pathlib.Path(name).read_text())["benchmarks"]:
            if entry.get("aggregate_name") != "median":
                continue
            run = entry["run_name"]
            if "value" in entry:
                medians[run] = entry["value"]
                continue
            time = "real_time" if run.endswith(("/real_time", "/manual_time")) else "cpu_time"
            medians[run] = entry[time] * UNITS[entry["time_unit"]]
    return medians


def amount(value):
    if value >= 1.0:
        return "%.1f" % value
    for unit, size in (("ms", 1e-3), ("us", 1e-6)):
        if value >= size:
            return "%.2f %s" % (value / size, unit)
    return "%.1f ns" % (value / 1e-9)


def judge(bar, medians):
    """The row of a bar, and whether it is met; None when it was not measured."""
    names = [bar[key] for key in ("numerator", "denominator")]
    numerator, denominator = (name if isinstance(name, (int, float)) else medians.get(name)
                              for name in names)
    if numerator is None or not denominator:
        missing = [name for name in names if isinstance(name, str) and not medians.get(name)]
        return (bar["name"], "-", "-", "-", "%.2f" % bar["limit"],
                "not measured: " + ", ".join(missing)), None
    ratio = numerator / denominator / bar.get("scale", 1)
    met = ratio <= bar["limit"]
    return (bar["name"], amount(numerator), amount(denominator), "%.2f" % ratio,
            "%.2f" % bar["limit"], "met" if met else "MISSED"), met


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bars")
    parser.add_argument("results", nargs="+")
    parser.add_argument("--partial", action="store_true")
    arguments = parser.parse_args()

    medians = read_results(arguments.results)
    judged = [judge(bar, medians) for bar in json.loads(pathlib.Path(arguments.bars).read_text())]
    if arguments.partial:
        judged = [(row, met) for row, met in judged if met is not None]
    rows = [("bar", "measured", "against", "ratio", "limit", "")] + [row for row, _ in judged]
    widths = [max(len(row[column]) for row in rows) for column in range(5)]
    for row in rows:
        cells = [row[0].ljust(widths[0])]
        cells += [row[column].rjust(widths[column]) for column in range(1, 5)]
        print("  ".join(cells + [row[5]]).rstrip())
    met = sum(1 for _, result in judged if result)
    print("%d of %d bars met" % (met, len(judged)))
    return 0 if met == len(judged) else 1


if __name__ == "__main__":
    sys.exit(main())
