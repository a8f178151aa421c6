# SPDX-License-Identifier: MIT
"""Turns the measurements of the benchmarks into docs/benchmarks.md and two plots."""

import collections
import math
import statistics

KEPT_TEXT = "## Where the time goes"
# libcurl's two ways of running many transfers; the cheaper one is the floor.
FLOORS = ("curl_multi, kept", "curl_multi over epoll, kept")
OURS = ("orx common", "orx login")
FRESH = "curl handle a call"
BUNDLE = "curl handle a call, CA bundle"


def medians(rows):
    """{(contestant, calls in flight): the medians of its rounds}."""
    rounds = collections.defaultdict(list)
    for row in rows:
        rounds[row["contestant"], row["inFlight"]].append(row)
    return {
        key: {name: statistics.median(row[name] for row in of)
              for name in ("cpu", "p50", "p99", "perSecond")}
        for key, of in rounds.items()
    }


def floor_of(table, in_flight):
    return min((table[name, in_flight] for name in FLOORS), key=lambda row: row["cpu"])


def microseconds(value):
    return f"{value:,.1f}" if value < 100 else f"{value:,.0f}"


def comparison_table(table):
    lines = [
        "| in flight | contestant | CPU per call | of the floor | p50 | of the floor | p99 | calls/s |",
        "|---:|---|---:|---:|---:|---:|---:|---:|",
    ]
    for in_flight in sorted({key[1] for key in table}):
        floor = floor_of(table, in_flight)
        entries = [(key[0], value) for key, value in table.items() if key[1] == in_flight]
        for name, row in sorted(entries, key=lambda entry: entry[1]["cpu"]):
            shown = f"**{name}**" if name in OURS else name
            lines.append(
                f"| {in_flight} | {shown} | {microseconds(row['cpu'])} µs "
                f"| {row['cpu'] / floor['cpu']:.2f} | {microseconds(row['p50'])} µs "
                f"| {row['p50'] / floor['p50']:.2f} | {microseconds(row['p99'])} µs "
                f"| {row['perSecond']:,.0f} |"
            )
    return lines


def verdict(reached):
    return "yes" if reached else "**no**"


def ratio_figures(table):
    """The rows of the table of goals: what is compared, the goal, the measured figure, whether the goal is
    reached."""
    rows = []
    worst = {n: max(table[name, n]["cpu"] for name in OURS) / floor_of(table, n)["cpu"]
             for n in (1, 16, 256)}
    for in_flight, goal in ((1, 1.15), (16, 1.05), (256, 1.0)):
        rows.append((f"CPU per call over the floor, {in_flight} in flight", f"≤ {goal}",
                     f"{worst[in_flight]:.2f}", worst[in_flight] <= goal))
    latency = max(table[name, 1]["p50"] for name in OURS) / floor_of(table, 1)["p50"]
    rows.append(("p50 latency over the floor, 1 in flight", "≤ 1.15", f"{latency:.2f}",
                 latency <= 1.15))
    ours = max(table[name, 16]["cpu"] for name in OURS)
    fresh = table[FRESH, 16]["cpu"] / ours
    bundle = table[BUNDLE, 16]["cpu"] / ours
    rows.append(("CPU of a fresh handle a call over ours, 16 in flight", "≥ 20", f"{fresh:.0f}",
                 fresh >= 20))
    rows.append(("the same with the distribution's CA bundle", "≥ 300", f"{bundle:.0f}",
                 bundle >= 300))
    return rows


def load_figures(results):
    hold = results["hold"][0]
    good = (hold["errors"] == 0 and hold["threads"] <= 32 and hold["KiBPerCall"] <= 64
            and hold["submitP50"] <= 20)
    rows = [(f"{hold['calls']:,} calls in flight against a slow server",
             "0 errors, ≤ 32 threads, ≤ 64 KiB a call, submit ≤ 20 µs",
             f"{hold['errors']} errors, {hold['threads']} threads, {hold['KiBPerCall']:.1f} KiB, "
             f"submit {hold['submitP50']:.1f} µs (p99 {hold['submitP99']:.0f})", good)]
    one, eight = ({key: statistics.median(row[key] for row in results["submit"]
                                          if row["threads"] == count)
                   for key in ("p50", "p99", "perCall")} for count in (1, 8))
    rows.append(("starting a call from 1 and from 8 threads at once, while others shake hands",
                 "8 threads: p50 ≤ 2 times, p99 ≤ 100 µs (a handshake takes 1,500)",
                 f"{one['p50']:.2f} µs (p99 {one['p99']:.1f}) and "
                 f"{eight['p50']:.2f} µs (p99 {eight['p99']:.1f})",
                 eight["p50"] <= 2 * one["p50"] and eight["p99"] <= 100))
    steps = results["endure"]
    first, last = steps[1], steps[-1]
    growth = last["residentKiB"] - first["residentKiB"]
    flat = (growth < first["residentKiB"] * 0.1 and last["threads"] <= first["threads"] + 4
            and last["descriptors"] <= first["descriptors"] + 4)
    rows.append((f"{last['calls']:,} calls in one process", "flat after warm-up",
                 f"RSS {growth:+,} KiB, descriptors {last['descriptors'] - first['descriptors']:+}, "
                 f"threads {last['threads'] - first['threads']:+}", flat))
    idle = results["idle"][0]
    rows.append(("idle library", "no wake-ups, workers retired",
                 f"{idle['contextSwitches']} wake-ups, {idle['threads']} threads",
                 idle["contextSwitches"] == 0 and idle["threads"] <= 4))
    return rows


def ratio(what, against, ours, others, goal):
    """A row for what takes `ours` where something else, or another size, takes `others`."""
    return (f"{what}, of {against}", f"≤ {goal}", f"{ours / others:.2f}", ours / others <= goal)


def local_figures(results):
    read = {row["what"]: (row["ours"], row["others"]) for row in results["read"]}
    archive, restore = results["archive"][0], results["restore"][0]
    include = results["include"]
    calls = [statistics.median(row[key] for row in results["grow"]) for key in ("twice", "some")]
    kib = results["size"] / 1024
    sax = "nlohmann's events into the same values"
    return [
        ratio("1 KB answer → result", "PCRE2's machine code and " + sax, *read["small"], 0.3),
        ratio("10 MB on one line → result", sax, *read["large"], 0.5),
        ratio("the same in memory that the process has already", sax, *read["largeKept"], 0.5),
        ratio("hostile 100 KB → no result", "a good answer of the same length", *read["hostile"], 3),
        ratio("archiving a user of 20 fields", "libplist writing the same tree",
              archive["archive"], archive["archiveByOthers"], 1),
        ratio("reading that archive", "libplist reading it",
              archive["unarchive"], archive["unarchiveByOthers"], 1),
        ratio("process start → restored user", "an empty program with the C++ library",
              restore["restored"], restore["empty"], 1.5),
        ratio("the umbrella header", "its standard headers alone",
              include["umbrella"], include["plain"], 1.25),
        ratio("2 × the answer", "the answer", *read["growth"], 2.1),
        ratio("2 × the calls", "the calls", *calls, 2.1),
        ratio("2 × the users, archived and read", "the users", archive["whole"], archive["half"], 2.1),
        ("stripped shared library", "≤ 700 KiB", f"{kib:.0f} KiB", kib <= 700),
    ]


def sign_in_figures(results):
    """Over a way of 100 ms a round trip, TCP's handshake included."""
    rows = results["signIn"]
    first = {prepared: statistics.median(row["times"][0] for row in rows if row["prepared"] == prepared)
             for prepared in (False, True)}
    second = statistics.median(row["times"][1] for row in rows)
    later = statistics.median(time for row in rows for time in row["times"][2:])
    return [
        (f"{what}, 100 ms a round trip", f"≤ {trips} round trip{'s' * (trips > 1)} + {more} ms",
         f"{time:.0f} ms", time <= 100 * trips + more)
        for what, time, trips, more in (
            ("the first sign-in", first[False], 3, 15), ("prepared", first[True], 1, 10),
            ("the second", second, 1, 2), ("a later one", later, 1, 2))
    ]


def figures_table(results, table):
    lines = ["| what | goal | measured | reached |", "|---|---|---|---|"]
    for what, goal, measured, reached in (
        ratio_figures(table) + sign_in_figures(results) + load_figures(results) + local_figures(results)
    ):
        lines.append(f"| {what} | {goal} | {measured} | {verdict(reached)} |")
    return lines


COLOURS = ["#000000", "#d1495b", "#edae49", "#00798c", "#30638e", "#8d6a9f", "#7a9e44", "#a0522d"]
WIDTH, HEIGHT, LEFT, TOP, BOTTOM, LEGEND = 760, 420, 70, 40, 60, 230


def plot(table, field, title):
    """Plots one line for each contestant, both axes logarithmic."""
    names = sorted({key[0] for key in table}, key=lambda name: table[name, 16][field])
    counts = sorted({key[1] for key in table})
    values = [row[field] for row in table.values()]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))

    def x(count):
        share = math.log(count / counts[0]) / math.log(counts[-1] / counts[0])
        return LEFT + share * (WIDTH - LEFT - LEGEND)

    def y(value):
        share = (math.log10(value) - low) / (high - low)
        return HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM)

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
        'font-family="sans-serif" font-size="12">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        f'<text x="{LEFT}" y="22" font-size="15">{title}</text>',
    ]
    for power in range(low, high + 1):
        at = y(10.0**power)
        parts.append(f'<line x1="{LEFT}" y1="{at:.1f}" x2="{WIDTH - LEGEND}" y2="{at:.1f}" '
                     'stroke="#ddd"/>')
        parts.append(f'<text x="{LEFT - 8}" y="{at + 4:.1f}" text-anchor="end">'
                     f"{10**power:,} µs</text>")
    for count in counts:
        parts.append(f'<text x="{x(count):.1f}" y="{HEIGHT - BOTTOM + 20}" text-anchor="middle">'
                     f"{count}</text>")
    parts.append(f'<text x="{(LEFT + WIDTH - LEGEND) / 2}" y="{HEIGHT - 15}" '
                 'text-anchor="middle">calls in flight</text>')
    for index, name in enumerate(names):
        colour = COLOURS[index % len(COLOURS)]
        points = [(x(n), y(table[name, n][field])) for n in counts if (name, n) in table]
        path = " ".join(f"{px:.1f},{py:.1f}" for px, py in points)
        width = 3 if name in OURS else 1.5
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" '
                     f'stroke-width="{width}"/>')
        parts += [f'<circle cx="{px:.1f}" cy="{py:.1f}" r="3" fill="{colour}"/>'
                  for px, py in points]
        row = TOP + 20 * (len(names) - index)
        parts.append(f'<text x="{WIDTH - LEGEND + 16}" y="{row}" fill="{colour}">{name}</text>')
    return "\n".join(parts + ["</svg>", ""])


def kept_text(file):
    if not file.exists():
        return ""
    _, mark, rest = file.read_text().partition(KEPT_TEXT)
    return mark + rest


def write(docs, results, machine, command):
    table = medians(results["compare"])
    (docs / "benchmarks-cpu.svg").write_text(plot(table, "cpu", "CPU per call"))
    (docs / "benchmarks-p99.svg").write_text(plot(table, "p99", "99th percentile of a call's time"))
    file = docs / "benchmarks.md"
    text = [
        "# Benchmarks",
        "",
        f"Written by `{command}`. All contestants make the same call, a SOAP request of about 700 "
        "bytes over TLS to an nginx on",
        "loopback that reads it whole and answers with 1 KB, with certificate and name verified, in "
        "interleaved rounds; each",
        "number is the median of its rounds. CPU is that of the calling process (user and system). "
        "Absolute numbers belong to",
        "this machine; the ratios are what is looked at.",
        "",
        *[f"- {line}" for line in machine],
        "",
        "## Figures",
        "",
        *figures_table(results, table),
        "",
        "## The same work by different means",
        "",
        "![CPU per call](benchmarks-cpu.svg)",
        "![p99](benchmarks-p99.svg)",
        "",
        *comparison_table(table),
        "",
    ]
    kept = kept_text(file)
    file.write_text("\n".join(text) + ("\n" + kept if kept else ""))
