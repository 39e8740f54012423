#!/usr/bin/env python3
"""The samples in the comments of headers as one source for the compiler's check, which takes no warning either.

samples.py FILTER HEADER... > samples.cpp
"""
import re
import subprocess
import sys

# What the samples take for granted.
PRELUDE = """
using namespace tvk;
static tvk::StringBase<char> item, text;
static int count, size;
static std::string line;
static const void* data;
static tvk::File file;
static zed::ByteBuffer block;
static std::uint32_t jobs;
static bool quiet;
static std::atomic<int> total;
constexpr std::uint32_t TextJobs = 5001, TextQuiet = 5002;
static tvk::Console& console = tvk::Console::Get();
static void makeRoom() {}
static void read() {}
static void write(const tvk::StringBase<char>&) {}
static void connectTo(std::span<const std::uint8_t>) {}
"""

headers = sys.argv[2:]
print("\n".join(f"#include <{header}>" for header in headers))
print("#include <atomic>\n#include <span>\n#include <string>")
print(PRELUDE)
for number, header in enumerate(headers):
    shown = subprocess.run([sys.executable, "-B", sys.argv[1], header], capture_output=True, text=True, check=True).stdout
    for sample in re.findall(r"\\code\{\.cpp\}\n(.*?)\s*/// \\endcode", shown, re.S):
        sample = re.sub(r"^\s*/// ?", "", sample, flags=re.M)
        sample = sample.replace("{ ... }", "{ return 0; }").replace(" ...", " {}")
        print(f'#line 1 "a sample of {header}"')
        if re.search(r'extern "C"|\bmain\(|TVK_MODULE_EXPORT', sample):
            print(f"namespace sample{number} {{\n{sample.replace(' main(', ' mainOfProgram(')}\n}}")
        else:
            end = "" if sample.startswith(("  throw", "  static Lasting")) else "return 0;"
            name = "auto&" if "return s_" in sample else "auto"
            print(f"static {name} sample{number}() {{\n{sample}\n{end}\n}}")
