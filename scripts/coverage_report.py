#!/usr/bin/env python3
"""Says what of src/ was reached, from NAME.lcov (lines) and NAME.json (branches) as llvm-cov exports them.

    coverage_report.py FIGURE NAME REASONS
        every unreached branch has to have a reason, and every unreached line has to lie behind an unreached branch
    coverage_report.py FIGURE NAME --least-share N OTHER
        at least N % of the lines that OTHER reaches have to be reached

A header or a kernel is compiled more than once; what any of its copies reaches is reached. Functions that are declared
constexpr or consteval and that never run are evaluated by the compiler alone and not counted. Reasons are lines of
"FILE | line, true or false | SOURCE LINE | REASON": the branch that is not taken when the condition is true or false.
"""
import collections
import functools
import json
import os
import re
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


def read_functions(path):
    functions = json.load(open(path))["data"][0]["functions"]
    return [function for function in functions if relative(function["filenames"][0]).startswith("src/")]


def left_to_compiler(functions):
    """{(file, line)} of the functions that are declared for the compiler and that no run has entered."""
    entered = collections.Counter()
    ends = {}
    for function in functions:
        first, _, last, _ = function["regions"][0][:4]
        place = (relative(function["filenames"][0]), first)
        entered[place] += function["count"]
        ends[place] = last
    lines = set()
    for (file, first), count in entered.items():
        if not count and is_for_compiler(file, first):
            lines.update((file, line) for line in range(first, ends[file, first] + 1))
    return lines


def is_for_compiler(file, line):
    """True if the function whose body begins in that line is declared constexpr or consteval."""
    declaration = source_line(file, line)
    while line > 1 and not re.search(r"[;{}:>]$|^$", source_line(file, line - 1)):
        line -= 1
        declaration = source_line(file, line) + " " + declaration
    return re.search(r"\bconst(expr|eval)\b", declaration) is not None


def read_branches(functions):
    """{(file, line, column, outcome): count}"""
    counts = collections.Counter()
    for function in functions:
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
            file, what, rest = text.strip().split(" | ", 2)
            source, reason = rest.rsplit(" | ", 1)
            reasons[file, what, source] = reason
    return reasons


@functools.cache
def source(file):
    return open(file).read().splitlines()


def source_line(file, line):
    return source(file)[line - 1].strip()


def is_behind_branch(file, line, lines, branches):
    """True if the unreached lines around `line` follow a branch that is not taken, which is reported already."""
    while lines.get((file, line - 1)) == 0:
        line -= 1
    start = line - 1
    while start > 1 and (file, start) not in lines:
        start -= 1
    near = {place[1] for place, count in branches.items() if place[0] == file and not count}
    return bool(near & set(range(start - 2, line + 1)))


def percent(counts):
    return 100 * sum(1 for count in counts.values() if count) / len(counts)


def main(figure, name, *mode):
    lines = {place: count for place, count in read_lines(name + ".lcov").items() if place[0].startswith("src/")}
    functions = read_functions(name + ".json")
    compiled = left_to_compiler(functions)
    lines = {place: count for place, count in lines.items() if place not in compiled}
    branches = {place: count for place, count in read_branches(functions).items() if place[:2] not in compiled}
    if not lines or not branches:
        sys.exit("nothing was counted")
    unreached = [(file, "line", line) for (file, line), count in lines.items() if not count]
    unreached += [(file, outcome, line) for (file, line, _, outcome), count in branches.items() if not count]
    shares = f"lines={percent(lines):.2f} branches={percent(branches):.2f} unreached={len(unreached)}"
    shares += f" compile_time_lines={len(compiled)}"
    if mode[0] == "--least-share":
        others = {place: lines[place] for place, count in read_lines(mode[2] + ".lcov").items() if count and place in lines}
        print(f"figure {figure} {shares} of_reachable={percent(others):.2f}")
        return 0 if percent(others) >= float(mode[1]) else f"less than {mode[1]} % of the lines are reached"
    reasons = read_reasons(mode[0])
    explained = {(file, what, source_line(file, line)) for file, what, line in unreached
                 if what != "line" or not is_behind_branch(file, line, lines, branches)}
    failures = [f"unreached without a reason: {file} | {what} | {source}"
                for file, what, source in sorted(explained - reasons.keys())]
    failures += ["reached by now, so its reason can go: " + " | ".join(reason)
                 for reason in sorted(reasons.keys() - explained)]
    print(f"figure {figure} {shares} reasons={len(reasons)}")
    return "\n".join(failures) or 0


sys.exit(main(*sys.argv[1:]))
