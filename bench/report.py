#!/usr/bin/env python3
"""Medians and ratios of what the benchmarks measured.

  report.py [--write PAGE] RESULT.json...

Prints a table; with --write it goes into the page, between its two marks, with a plot beside the page. The exit status
is 1 when a bar is missed.
"""
import argparse
import json
import pathlib
import platform
import re
import statistics
import subprocess
import sys

from questions import QUESTIONS

OURS = "tvk"
BEGIN, END = "<!-- figures: begin -->", "<!-- figures: end -->"
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(paths):
    """{(question, size): {side: [nanoseconds of each round]}}"""
    times = {}
    for path in paths:
        for run in json.loads(pathlib.Path(path).read_text())["benchmarks"]:
            if run["run_type"] != "iteration":
                continue
            name = re.sub(r"/(real_time|manual_time|threads:\d+)", "", run["run_name"])
            question, side, *size = name.split("/")
            key = "cpu_time" if name == run["run_name"] else "real_time"
            time = run[key] * NANOSECONDS[run["time_unit"]] / run["items"]
            times.setdefault((question, "".join(size)), {}).setdefault(side, []).append(time)
    return {key: {side: statistics.median(all) for side, all in sides.items()} for key, sides in times.items()}


def human(nanoseconds):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def rows(medians):
    """A row a side that is not ours: question, size, our time, side, its time, ratio, bar, whether it is met."""
    order = list(QUESTIONS)
    for (question, size), sides in sorted(medians.items(), key=lambda item: order.index(item[0][0])):
        bars = QUESTIONS[question][1]
        limits = {f"{bar} ns": bar for bar in bars if isinstance(bar, int)}
        for side, time in {**sides, **limits}.items():
            if side == OURS:
                continue
            bar = bars.get(side, 1.0)
            ratio = sides[OURS] / time
            yield question, size, sides[OURS], side, time, ratio, bar, bar is None or ratio <= bar


def table(all_rows):
    yield "| question | ours | beside | its time | ours / its | bar | |"
    yield "|---|---:|---|---:|---:|---:|---|"
    for question, size, ours, side, time, ratio, bar, is_met in all_rows:
        title = QUESTIONS[question][0] + (f", {size}" if size else "")
        limit = "" if bar is None else f"{bar:.2f}"
        yield (f"| {title} | {human(ours)} | {side} | {human(time)} | {ratio:.2f} | {limit} | "
               f"{'' if is_met else 'missed'} |")


def machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory = int(re.search(r"MemTotal:\s*(\d+)", pathlib.Path("/proc/meminfo").read_text())[1]) >> 20
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True).stdout.split("\n")[0]
    cores = len(re.findall(r"^processor", pathlib.Path("/proc/cpuinfo").read_text(), re.M))
    return (f"{model[1] if model else platform.machine()}, {cores} processors, {memory} GiB, "
            f"Linux {platform.release()}, {compiler}, -O3")


def plot(all_rows, picture):
    """Each question a line of the picture: how much longer or shorter others take than we do."""
    titles = {}
    for question, size, *_ in all_rows:
        titles.setdefault((question, size), QUESTIONS[question][0] + (f", {size}" if size else ""))
    heights = {key: len(titles) - number for number, key in enumerate(titles)}
    points = "".join(f"{1 / ratio} {heights[question, size]} \"{side}\"\n"
                     for question, size, _, side, _, ratio, _, _ in all_rows)
    labels = ", ".join(f'"{title}" {heights[key]}' for key, title in titles.items())
    script = f"""
set terminal svg size 1100,{80 + 26 * len(titles)} font "sans,11" background "white"
set output "{picture}"
set logscale x
set xlabel "time beside ours (right of the line: slower than ours)"
set yrange [0.3:{len(titles) + 0.7}]
set ytics ({labels})
set grid ytics lc rgb "#dddddd"
set arrow from 1,graph 0 to 1,graph 1 nohead lc rgb "#cc0000"
unset key
plot "-" using 1:2:3 with labels point pt 7 ps 0.5 lc rgb "#225588" offset 0,0.6 font "sans,9"
{points}e
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--write")
    parser.add_argument("results", nargs="+")
    options = parser.parse_args()
    all_rows = list(rows(load(options.results)))
    lines = list(table(all_rows))
    print("\n".join(lines))
    if options.write:
        page = pathlib.Path(options.write)
        text = page.read_text()
        before, after = text[:text.index(BEGIN) + len(BEGIN)], text[text.index(END):]
        page.write_text("\n".join([before, f"Measured on: {machine()}.", "", *lines, after]))
        plot(all_rows, page.with_suffix(".svg"))
    sys.exit(any(not row[-1] for row in all_rows))


main()
