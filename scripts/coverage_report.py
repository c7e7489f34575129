#!/usr/bin/env python3
"""Says what of src/ was reached, from NAME.lcov (lines) and NAME.json (branches) as llvm-cov exports them.

    coverage_report.py FIGURE NAME REASONS          every unreached line and branch has to have a reason
    coverage_report.py FIGURE NAME --least-lines N  at least N % of the lines have to be reached

A header or a kernel is compiled more than once; what any of its copies reaches is reached. Reasons are lines of
"FILE | line, true or false | SOURCE LINE | REASON": the branch that is not taken when the condition is true or false.
"""
import collections
import json
import os
import sys


def relative(path):
    return os.path.relpath(path, os.getcwd())


def read_lines(path):
    """{(file, line): count}"""
    counts = collections.Counter()
    for record in open(path):
        kind, _, rest = record.strip().partition(":")
        if kind == "SF":
            file = relative(rest)
        elif kind == "DA":
            line, count = rest.split(",")[:2]
            counts[file, int(line)] += int(count)
    return counts


def read_branches(path):
    """{(file, line, column, outcome): count}"""
    counts = collections.Counter()
    for function in json.load(open(path))["data"][0]["functions"]:
        for line, column, _, _, true, false, file, *_ in function.get("branches", []):
            place = (relative(function["filenames"][file]), line, column)
            if not place[0].startswith("src/"):
                continue
            counts[(*place, "true")] += true
            counts[(*place, "false")] += false
    return counts


def read_reasons(path):
    reasons = {}
    for text in open(path):
        if text.strip() and not text.startswith("#"):
            file, what, source, reason = (part.strip() for part in text.split(" | ", 3))
            reasons[file, what, source] = reason
    return reasons


def source_line(file, line):
    return open(file).read().splitlines()[line - 1].strip()


def percent(counts):
    return 100 * sum(1 for count in counts.values() if count) / len(counts)


def main(figure, name, *mode):
    lines = {place: count for place, count in read_lines(name + ".lcov").items() if place[0].startswith("src/")}
    branches = read_branches(name + ".json")
    if not lines or not branches:
        sys.exit("nothing was counted")
    unreached = [(file, "line", line) for (file, line), count in lines.items() if not count]
    unreached += [(file, outcome, line) for (file, line, _, outcome), count in branches.items() if not count]
    shares = f"lines={percent(lines):.2f} branches={percent(branches):.2f} unreached={len(unreached)}"
    if mode[0] == "--least-lines":
        print(f"figure {figure} {shares}")
        return 0 if percent(lines) >= float(mode[1]) else f"less than {mode[1]} % of the lines are reached"
    reasons = read_reasons(mode[0])
    explained = {(file, what, source_line(file, line)) for file, what, line in unreached}
    failures = [f"unreached without a reason: {file} | {what} | {source}"
                for file, what, source in sorted(explained - reasons.keys())]
    failures += ["reached by now, so its reason can go: " + " | ".join(reason)
                 for reason in sorted(reasons.keys() - explained)]
    print(f"figure {figure} {shares} reasons={len(reasons)}")
    return "\n".join(failures) or 0


sys.exit(main(*sys.argv[1:]))
