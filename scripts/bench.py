#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the benchmarks and writes docs/benchmarks.md with its plots.

The text below the heading "Where the time goes" is written by hand and kept.
"""

import argparse
import json
import os
import platform
import pathlib
import resource
import statistics
import subprocess
import sys
import tempfile

import bench_instructions
import bench_report

RUNS = {
    # scenario: (short settings, full settings)
    "compare": (["rounds=9", "calls=4000"], ["rounds=21", "calls=8000"]),
    "hold": (["calls=10000", "delay=40000"], ["calls=10000", "delay=40000"]),
    "submit": ([], ["rounds=41"]),
    "grow": ([], ["rounds=21"]),
    "read": ([], []),
    "archive": ([], []),
    "restore": ([], ["rounds=101"]),
    "endure": (["calls=1000000"], ["calls=1000000"]),
    "idle": ([], ["seconds=10"]),
    "signIn": ([], ["rounds=21"]),
}


# The standard headers that an interface of values and callbacks cannot do without.
PLAIN_HEADERS = ("string", "functional", "memory", "optional", "variant", "vector", "map")


def smoke_settings(scenario):
    """Settings for the smallest run of a scenario, which only shows that it works."""
    return {
        "compare": ["rounds=1", "calls=16"],
        "hold": ["calls=20", "delay=100"],
        "submit": ["rounds=1", "calls=64"],
        "grow": ["rounds=1", "calls=16"],
        "read": ["rounds=1"],
        "archive": ["rounds=1"],
        "restore": ["rounds=2"],
        "endure": ["calls=200"],
        "idle": ["settle=1", "seconds=1"],
        "signIn": ["rounds=1", "way=1"],
    }[scenario]


def run_scenario(program, scenario, settings):
    print(f"-- {scenario} {' '.join(settings)}", file=sys.stderr)
    output = subprocess.run(
        [program, scenario, *settings], stdout=subprocess.PIPE, check=True, text=True
    ).stdout
    return [json.loads(line) for line in output.splitlines()]


def processor_time_of(command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def include_time(root, build, rounds):
    """Processor seconds for compiling the umbrella header, and for its standard headers alone."""
    texts = {
        "umbrella": "#include <ORXAccount/ORXAccount.h>\n",
        "plain": "".join(f"#include <{name}>\n" for name in PLAIN_HEADERS),
    }
    times = {name: [] for name in texts}
    with tempfile.TemporaryDirectory() as folder:
        for name, text in texts.items():
            pathlib.Path(folder, name + ".cpp").write_text(text)
        for _ in range(rounds):
            for name in texts:
                times[name].append(
                    processor_time_of(
                        ["g++", "-std=c++20", "-O2", "-c", "-o", "/dev/null",
                         f"-I{root}/include", f"-I{build}/include", f"{folder}/{name}.cpp"]
                    )
                )
    return {name: statistics.median(values) for name, values in times.items()}


def stripped_size(build):
    library = next(pathlib.Path(build, "src").glob("liborxaccount.so.*.*"))
    with tempfile.TemporaryDirectory() as folder:
        stripped = pathlib.Path(folder, "library")
        subprocess.run(["strip", "-o", stripped, library], check=True)
        return stripped.stat().st_size


def first_line_of(*command):
    output = subprocess.run(command, capture_output=True, text=True, check=False)
    return (output.stdout + output.stderr).splitlines()[0].strip()


def machine():
    model = "unknown processor"
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        for line in info:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    release = platform.freedesktop_os_release()["PRETTY_NAME"]
    nginx = "/usr/sbin/nginx" if os.path.exists("/usr/sbin/nginx") else "nginx"
    return [
        f"{model}, {os.cpu_count()} cores, {memory:.0f} GiB",
        f"{release}, Linux {platform.release()}",
        first_line_of("g++", "--version"),
        first_line_of(nginx, "-v"),
        "libcurl " + first_line_of("pkg-config", "--modversion", "libcurl"),
        f"load of the machine when the run ended: {os.getloadavg()[0]:.1f}",
    ]


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", default=pathlib.Path(__file__).parent.parent, type=pathlib.Path)
    parser.add_argument("--build", required=True, type=pathlib.Path)
    parser.add_argument("--full", action="store_true",
                        help="more rounds")
    parser.add_argument("--smoke", action="store_true",
                        help="run each scenario for a moment and write nothing")
    parser.add_argument("--instructions", action="store_true",
                        help="count instructions and allocations instead, and fail when they have grown")
    parser.add_argument("--keep", action="store_true",
                        help="with --instructions: write docs/instructions.md")
    return parser.parse_args()


def main():
    options = arguments()
    if options.instructions:
        sys.exit(not bench_instructions.run(options.root, options.build, options.keep))
    program = options.build / "bench" / "orx_bench"
    results = {}
    for scenario, (short, full) in RUNS.items():
        settings = full if options.full else short
        if options.smoke:
            settings = smoke_settings(scenario)
        results[scenario] = run_scenario(program, scenario, settings)
    if options.smoke:
        return
    results["include"] = include_time(options.root, options.build, 7)
    results["size"] = stripped_size(options.build)
    docs = options.root / "docs"
    bench_report.write(docs, results, machine(), "./dev bench" + (" --full" if options.full else ""))
    print((docs / "benchmarks.md").read_text())


main()
