#!/usr/bin/env python3
"""Medians and ratios of what the benchmarks measured.

  report.py [--write PAGE] [--build FOLDER] RESULT.json...

Prints a table of them, one of how cost grows, and one of sizes with the folder of the build; with --write they go into
the page, each between its two marks, with plots beside the page. The exit status is 1 when a bar is missed.
"""
import argparse
import json
import math
import pathlib
import platform
import re
import statistics
import subprocess
import sys

import sizes
from questions import GROWTH, QUESTIONS

OURS = "tvk"
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(paths):
    """{(question, size): {side: (median nanoseconds, those of the quickest round)}}, and for what grows
    {question: {size: (nanoseconds, bytes or None)}}"""
    times, memory = {}, {}
    for path in paths:
        for run in json.loads(pathlib.Path(path).read_text())["benchmarks"]:
            if run["run_type"] != "iteration":
                continue
            full_name = re.sub(r"/repeats:\d+", "", run["run_name"])
            name = re.sub(r"/(real_time|manual_time|threads:\d+|iterations:\d+)", "", full_name)
            question, side, *size = name.split("/")
            key = "cpu_time" if name == full_name else "real_time"
            time = run[key] * NANOSECONDS[run["time_unit"]] / run["items"]
            times.setdefault((question, "".join(size)), {}).setdefault(side, []).append(time)
            memory[question, "".join(size)] = run.get("bytes")
    figures = {key: {side: (statistics.median(all), min(all)) for side, all in sides.items()}
               for key, sides in times.items()}
    growth = {question: {} for question in GROWTH if any(key[0] == question for key in figures)}
    for key in [key for key in figures if key[0] in GROWTH]:
        growth[key[0]][int(key[1])] = (figures.pop(key)[OURS][0], memory[key])
    return figures, growth


def human(nanoseconds):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def rows(figures):
    """A row a side that is not ours: question, size, our time, side, its time, the ratio of these medians and of the
    quickest rounds, bar, whether one of them meets it."""
    order = list(QUESTIONS)
    for (question, size), sides in sorted(figures.items(), key=lambda item: order.index(item[0][0])):
        bars = QUESTIONS[question][1]
        limits = {f"{bar} ns": (bar, bar) for bar in bars if isinstance(bar, int)}
        for side, (median, best) in sorted({**sides, **limits}.items()):
            if side == OURS:
                continue
            bar = bars.get(side, 1.0)
            ratios = sides[OURS][0] / median, sides[OURS][1] / best
            yield question, size, sides[OURS][0], side, median, *ratios, bar, bar is None or round(min(ratios), 2) <= bar


def table(all_rows):
    yield "| question | ours | beside | its time | ours / its | quickest | bar | |"
    yield "|---|---:|---|---:|---:|---:|---:|---|"
    for question, size, ours, side, time, ratio, quickest, bar, is_met in all_rows:
        title = QUESTIONS[question][0] + (f", {size}" if size else "")
        limit = "" if bar is None else f"{bar:.2f}"
        yield (f"| {title} | {human(ours)} | {side} | {human(time)} | {ratio:.2f} | {quickest:.2f} | {limit} | "
               f"{'' if is_met else 'missed'} |")


def machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory = int(re.search(r"MemTotal:\s*(\d+)", pathlib.Path("/proc/meminfo").read_text())[1]) >> 20
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True).stdout.split("\n")[0]
    cores = len(re.findall(r"^processor", pathlib.Path("/proc/cpuinfo").read_text(), re.M))
    return (f"{model[1] if model else platform.machine()}, {cores} processors, {memory} GiB, "
            f"Linux {platform.release()}, {compiler}, -O3")


def plot(all_rows, picture):
    """Each side a line of the picture: how much longer or shorter it takes than we do."""
    shown, labels, points = set(), [], {"met": "", "missed": "", "compared": ""}
    for at, (question, size, _, side, _, ratio, _, bar, is_met) in enumerate(all_rows):
        height = len(all_rows) - at
        title = QUESTIONS[question][0] + (f", {size}" if size else "")
        labels.append(f'"{side if (question, size) in shown else f"{title}      {side}"}" {height}')
        shown.add((question, size))
        points["compared" if bar is None else "met" if is_met else "missed"] += f"{1 / ratio} {height}\n"
    colours = {"met": "#225588", "missed": "#cc0000", "compared": "#999999"}
    plots = ", ".join(f'"-" with points pt 7 ps 0.6 lc rgb "{colours[kind]}"' for kind in points)
    script = f"""
set terminal svg size 1100,{90 + 15 * len(all_rows)} font "sans,11" background "white" noenhanced
set output "{picture}"
set logscale x
set xrange [0.05:1500]
set xlabel "times as long as we take (right of the line: slower than we are; red: a bar is missed; grey: no bar)"
set yrange [0.3:{len(all_rows) + 0.7}]
set ytics ({", ".join(labels)}) font "sans,9"
set grid ytics lc rgb "#e4e4e4" lt 1
set arrow from 1,graph 0 to 1,graph 1 nohead lc rgb "#888888"
unset key
plot {plots}
{"".join(data + "e" + chr(10) for data in points.values())}
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def human_bytes(count):
    for unit, factor in (("GB", 1e9), ("MB", 1e6), ("kB", 1e3)):
        if count >= factor:
            return f"{count / factor:.3g} {unit}"
    return f"{count:.3g} B"


def exponent(points):
    """The slope of the best line through the larger half of (size, cost), as logarithms: small sizes tell of what a
    call costs at all."""
    points = sorted(points)[-max(3, (len(points) + 1) // 2):]
    x, y = zip(*((math.log(size), math.log(cost)) for size, cost in points))
    return statistics.linear_regression(x, y).slope


def curves(growth):
    """A row a curve: title, its unit, how a cost is shown, {size: cost}, exponent, the exponent allowed."""
    for question, sizes in growth.items():
        title, unit, *bars = GROWTH[question]
        for at, (what, show) in enumerate((("", human), (", memory", human_bytes))):
            points = {size: costs[at] for size, costs in sorted(sizes.items()) if costs[at]}
            if bars[at] is not None and len(points) >= 3:
                yield title + what, unit, show, points, exponent(points.items()), bars[at]


def growth_table(all_curves):
    yield "| what | from | to | its cost | grows as | bar | |"
    yield "|---|---:|---:|---|---|---|---|"
    for title, unit, show, points, power, bar in all_curves:
        first, last = min(points), max(points)
        yield (f"| {title} | {first:,} | {last:,} {unit} | {show(points[first])} to {show(points[last])} | "
               f"n^{power:.2f} | n^{bar:.2f} | {'missed' if power > bar else ''} |")


def growth_plot(all_curves, picture):
    """A small plot a curve: what was measured, and the steepest line that the bar allows through the last point."""
    columns = 4
    lines = math.ceil(len(all_curves) / columns)
    script = f"""
set terminal svg size 1200,{230 * lines} font "sans,10" background "white"
set output "{picture}"
set multiplot layout {lines},{columns}
set logscale xy
set format x "10^{{%L}}"
set grid lc rgb "#dddddd"
unset key
"""
    for title, unit, show, points, power, bar in all_curves:
        scale = 1e9 if show is human else 1
        last, end = max(points), points[max(points)] / scale
        low, high = min(points.values()) / scale, max(points.values()) / scale
        data = "".join(f"{size} {cost / scale}\n" for size, cost in points.items())
        script += f"""
set title "{title}\\nn^{{{power:.2f}}}{' MISSED' if power > bar else ''}" font "sans,11"
set xlabel "{unit}"
set ylabel "{'seconds' if show is human else 'bytes'}"
set format y "10^{{%L}}"
set yrange [{low / 3}:{high * 3}]
plot {end} * (x / {last}) ** {bar} with lines lc rgb "#bbbbbb" dt 2, \
  "-" with linespoints pt 7 ps 0.5 lc rgb "{'#225588' if show is human else '#885522'}"
{data}e
"""
    subprocess.run(["gnuplot"], input=script + "unset multiplot\n", text=True, check=True)


def write_between(page, mark, lines):
    text = page.read_text()
    begin, end = f"<!-- {mark}: begin -->", f"<!-- {mark}: end -->"
    before, after = text[:text.index(begin) + len(begin)], text[text.index(end):]
    page.write_text("\n".join([before, *lines, after]))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--write")
    parser.add_argument("--build")
    parser.add_argument("results", nargs="+")
    options = parser.parse_args()
    figures, growth = load(options.results)
    all_rows, all_curves = list(rows(figures)), list(curves(growth))
    all_sizes = list(sizes.sizes(options.build)) if options.build else []
    lines, growth_lines = list(table(all_rows)), list(growth_table(all_curves))
    size_lines = list(sizes.table(all_sizes))
    print("\n".join((lines if all_rows else []) + (growth_lines if all_curves else []) +
                    (size_lines if all_sizes else [])))
    if options.write:
        page = pathlib.Path(options.write)
        if all_rows:
            write_between(page, "figures", [f"Measured on: {machine()}.", "", *lines])
            plot(all_rows, page.with_suffix(".svg"))
        if all_curves:
            write_between(page, "growth", growth_lines)
            growth_plot(all_curves, page.with_name(page.stem + "-growth.svg"))
        if all_sizes:
            write_between(page, "sizes", size_lines)
    sys.exit(any(not row[-1] for row in all_rows + all_sizes) or
             any(power > bar for *_, power, bar in all_curves))


main()
