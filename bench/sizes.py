"""How large the libraries are and what programs carry."""
import pathlib
import re
import subprocess
import tempfile

C_AND_CXX = {"libstdc++.so.6", "libgcc_s.so.1", "libm.so.6", "libc.so.6", "ld-linux-x86-64.so.2"}

# What it is: (where the build has it, the libraries that it may need).
FILES = {
    "the library": ("libkestzvd4j.so", C_AND_CXX),
    "the compression library": ("libzed.so", C_AND_CXX | {"libz.so.1"}),
    "hello, shared": ("bench/programs/bench_hello_tvk", C_AND_CXX | {"the library"}),
    "hello, static": ("bench/programs/bench_hello_tvk_static", set()),
    "hello with iostream alone, static": ("bench/programs/bench_hello_iostream_static", set()),
}


def stripped(file):
    with tempfile.NamedTemporaryFile() as copy:
        subprocess.run(["strip", "-o", copy.name, file], check=True)
        return pathlib.Path(copy.name).stat().st_size


def needed(file):
    dynamic = subprocess.run(["readelf", "-d", file], capture_output=True, text=True, check=True).stdout
    names = re.findall(r"\(NEEDED\).*\[(?:.*/)?(.*)\]", dynamic)
    return ["the library" if name == "libbench_installed.so" else name for name in names]


def sizes(build):
    """A row a file: what it is, bytes, what it needs, and whether it needs nothing else."""
    for title, (name, may_need) in FILES.items():
        needs = needed(pathlib.Path(build, name))
        yield title, stripped(pathlib.Path(build, name)), needs, may_need.issuperset(needs)


def table(all_sizes):
    yield "| stripped | KiB | needs | |"
    yield "|---|---:|---|---|"
    for title, size, needs, is_met in all_sizes:
        yield f"| {title} | {size / 1024:.0f} | {', '.join(needs) or 'nothing'} | {'' if is_met else 'missed'} |"
