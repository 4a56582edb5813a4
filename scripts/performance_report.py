#!/usr/bin/env python3
"""Turns the benchmark binary's JSON output into the performance report.

Every kernel row gets its time per object, its floor and two ratios:

  floor      the least time one object can take on this machine: the larger of
             bytes moved / measured bandwidth and flops / measured peak. The bandwidth
             is the copy (2 streams) or triad (3 streams) loop's, measured at the working
             set nearest to the row's; the peak is the fused multiply-add rate the
             member's element type allows (see Machine.peak).
  / floor    time per object divided by the floor (1.0 would be the machine's limit).
  / peer     time per object divided by the best peer's on the same objects.

Writes the tables between the markers of the report page and draws one plot per kernel
family with gnuplot. With --check it only reads and validates the run (used by CI on a
smoke run, so the script does not rot).
"""

import argparse
import json
import math
import os
import shlex
import statistics
import subprocess
import sys
import tempfile
from collections import defaultdict

BEGIN = "<!-- performance:begin -->"
END = "<!-- performance:end -->"
LIBRARY = "olvm"
# Implementations in table and plot order, with the names the report gives them.
IMPLEMENTATIONS = {
    "olvm": "olvm",
    "loop": "plain loop",
    "eigen": "Eigen",
    "eigen_native": "Eigen, -march=native",
    "sse2": "SSE2 path",
    "avx2": "AVX2 path",
    "avx512": "AVX-512 path",
}
FAMILY_TITLES = {
    "elementwise": "Add and Sub of arrays of 4x4 32f matrices",
    "products": "Products of arrays of square matrices (olvmMul_mama)",
    "decomp": "LU factor + solve of arrays of systems (olvmLUDecomp_ma, then olvmLUBackSubst_mava)",
    "paths": "Batch kernels of each instruction-set path alone (olvm: the member, on the path the loader picks)",
}


def fail(message):
    sys.exit(f"performance_report: {message}")


def load_rows(path):
    """Each row's median CPU time and best rate over its repetitions, keyed by row name."""
    with open(path, encoding="utf-8") as f:
        run = json.load(f)
    runs = defaultdict(list)
    for b in run["benchmarks"]:
        if b.get("error_occurred"):
            fail(f"row {b['name']} failed: {b.get('error_message')}")
        if b.get("run_type", "iteration") != "iteration":
            continue
        runs[b["run_name"]].append(b)
    if not runs:
        fail(f"no rows in {path}")
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    rows = {}
    for name, reps in runs.items():
        row = dict(reps[0])
        row["cpu_ns"] = statistics.median(r["cpu_time"] * scale[r["time_unit"]] for r in reps)
        # A limit is the best the machine showed: interference only ever lowers a rate.
        for key in ("bytes_per_second", "flops_per_second"):
            if key in row:
                row[key] = max(r[key] for r in reps)
        row["repetitions"] = len(reps)
        # Drop the decorations Google Benchmark appends ("iterations:1", "real_time").
        rows["/".join(p for p in name.split("/") if ":" not in p and p != "real_time")] = row
    return run["context"], rows


class Machine:
    def __init__(self, rows):
        self.bandwidth = {"copy": {}, "triad": {}}  # kind -> working set -> bytes/s
        self.peaks = {}  # vector bits -> flops/s
        for name, row in rows.items():
            parts = name.split("/")
            if parts[0] != "machine":
                continue
            if parts[1] in self.bandwidth:
                self.bandwidth[parts[1]][int(parts[2])] = row["bytes_per_second"]
            elif parts[1].startswith("fma"):
                self.peaks[int(parts[1][3:])] = row["flops_per_second"]
        if not self.bandwidth["copy"] or not self.bandwidth["triad"] or not self.peaks:
            fail("the run lacks the machine rows (copy, triad, fma)")

    def stream_bandwidth(self, streams, working_set):
        kind = "copy" if streams <= 2 else "triad"
        sizes = self.bandwidth[kind]
        nearest = min(sizes, key=lambda s: abs(math.log(s / max(working_set, 1.0))))
        return sizes[nearest]

    def peak(self, member):
        """The compute rate of a member's floor. The library computes in double. For 32f
        elements the product of two widened elements is exact in double, so a fused
        multiply-add gives the same bits as the multiply and add kept apart: the 512-bit
        fused peak is within its reach. For 64f the product must be rounded before the
        add: separate multiplies and adds, two flops in two instructions, which two vector
        pipes on 512-bit vectors do at 2 x 8 flops a cycle, the rate of 256-bit fused
        multiply-adds (2 pipes x 4 lanes x 2 flops)."""
        bits = 512 if "_32f" in member else 256
        return self.peaks.get(bits, max(self.peaks.values()))

    def floor_ns(self, member, row):
        memory = row["bytes_per_object"] / self.stream_bandwidth(row["streams"], row["working_set"])
        compute = row["flops_per_object"] / self.peak(member)
        return max(memory, compute) * 1e9, ("memory" if memory >= compute else "compute")


def kernel_rows(rows, machine):
    """(family, member, objects) -> implementation -> measurements."""
    table = defaultdict(dict)
    for name, row in rows.items():
        parts = name.split("/")
        if parts[0] == "machine":
            continue
        if len(parts) != 4 or parts[2] not in IMPLEMENTATIONS:
            fail(f"row name {name!r} is not family/member/implementation/objects")
        family, member, impl, objects = parts[0], parts[1], parts[2], int(parts[3])
        floor, bound = machine.floor_ns(member, row)
        ns = row["cpu_ns"] / row["objects"]
        table[(family, member, objects)][impl] = {
            "ns": ns, "floor": floor, "bound": bound, "order": row["family_index"]}
    # Members in the order the binary registered them (repetitions may run interleaved).
    table = dict(sorted(table.items(), key=lambda kv: min(v["order"] for v in kv[1].values())))
    for key, impls in table.items():
        if LIBRARY not in impls or len(impls) < 2:
            fail(f"{key[1]} at {key[2]} objects lacks the library or every peer")
        best = min(v["ns"] for k, v in impls.items() if k != LIBRARY)
        for v in impls.values():
            v["to_floor"] = v["ns"] / v["floor"]
            v["to_peer"] = v["ns"] / best
    return table


def fmt(x):
    return f"{x:.2f}" if x < 100 else f"{x:,.0f}"


def si(x, unit):
    return f"{x / 1e9:.1f} G{unit}/s"


def machine_section(context, machine):
    lines = [
        f"Run of {context['date']} on {context.get('olvm_cpu', 'this machine')}, "
        f"{context['num_cpus']} cores, load average "
        f"{', '.join(f'{x:.2f}' for x in context['load_avg'])} at start.",
        "",
        "| limit of one core | working set | measured |",
        "|---|---:|---:|",
    ]
    for kind in ("copy", "triad"):
        for size, bw in sorted(machine.bandwidth[kind].items()):
            where = f"{size / 2**20:,.0f} MiB" if size >= 2**20 else f"{size / 2**10:,.0f} KiB"
            lines.append(f"| {kind} bandwidth | {where} | {si(bw, 'B')} |")
    for bits, peak in sorted(machine.peaks.items()):
        lines.append(f"| double fused multiply-add peak, {bits}-bit | - | {si(peak, 'flop')} |")
    return lines


def family_section(family, table, plot_name):
    lines = [
        f"### {FAMILY_TITLES.get(family, family)}",
        "",
        f"![{family}]({plot_name})",
        "",
        "| member | objects | implementation | ns/object | floor ns | bound | / floor | / best peer |",
        "|---|---:|---|---:|---:|---|---:|---:|",
    ]
    # Members in registration order, grouped by object count.
    for (fam, member, objects), impls in sorted(table.items(), key=lambda kv: kv[0][2]):
        if fam != family:
            continue
        for impl in IMPLEMENTATIONS:
            if impl not in impls:
                continue
            v = impls[impl]
            name = f"**{IMPLEMENTATIONS[impl]}**" if impl == LIBRARY else IMPLEMENTATIONS[impl]
            lines.append(
                f"| `{member}` | {objects:,} | {name} | {fmt(v['ns'])} | {fmt(v['floor'])} | "
                f"{v['bound']} | {v['to_floor']:.2f} | {v['to_peer']:.2f} |")
    return lines


def flags_section(compile_commands):
    """The flags each side was compiled with, read from CMake's compilation database."""
    with open(compile_commands, encoding="utf-8") as f:
        commands = json.load(f)

    def flags(match):
        for c in commands:
            if match(c):
                args = shlex.split(c["command"])[1:]
                keep = [a for a in args if a.startswith(("-O", "-m", "-f", "-std"))]
                return " ".join(dict.fromkeys(keep)) or "(none)"
        return "(not found)"

    sides = [
        ("olvm (the library)", lambda c: "/generated/src/" in c["file"]),
        ("plain loop", lambda c: c["file"].endswith("bench/elementwise/addsub.cpp")),
        ("Eigen", lambda c: "peers/eigen_" in c["file"] and "olvm_bench_eigen.dir" in c["command"]),
        ("Eigen, -march=native",
         lambda c: "peers/eigen_" in c["file"] and "olvm_bench_eigen_native.dir" in c["command"]),
        ("machine limits", lambda c: c["file"].endswith("bench/support/machine.cpp")),
    ]
    lines = ["| side | compiler flags |", "|---|---|"]
    for label, match in sides:
        lines.append(f"| {label} | `{flags(match)}` |")
    lines.append("")
    lines.append("The machine-limit loops are compiled with the flags above but run in functions "
                 "built for AVX2 (copy, triad, 256-bit peak) and AVX-512F (512-bit peak), chosen "
                 "at run time.")
    return lines


def short_label(member):
    """'olvmAdd_mama_32f_4x4_P' -> 'Add 32f 4x4 P': operation, type, size and layout."""
    parts = member.split("_")
    layout = parts[-1] if parts[-1] in ("S2", "P", "PS2", "L", "LS2") else "std"
    return " ".join([parts[0].removeprefix("olvm")] + parts[2:4] + [layout])


def plot(family, table, path):
    """Clustered bars of time per object over floor, one panel per object count, stacked."""
    counts = sorted({k[2] for k in table if k[0] == family})
    members = len({k[1] for k in table if k[0] == family})
    impls = [i for i in IMPLEMENTATIONS if any(i in v for k, v in table.items() if k[0] == family)]
    with tempfile.TemporaryDirectory() as tmp:
        script = [
            f"set terminal pngcairo noenhanced size {max(900, 60 * members)},{440 * len(counts)} "
            "font ',10'",
            f"set output '{path}'",
            "set style data histograms",
            "set style histogram clustered gap 1",
            "set style fill solid 0.85 border -1",
            "set logscale y",
            "set yrange [0.5:*]",
            "set grid ytics",
            "set ylabel 'time per object / floor (1 = machine limit)'",
            "set xtics rotate by -30",
            "set key outside top center horizontal",
            f"set multiplot layout {len(counts)},1 title '{FAMILY_TITLES.get(family, family)}'",
        ]
        for count in counts:
            data = os.path.join(tmp, f"{count}.dat")
            with open(data, "w", encoding="utf-8") as f:
                for (fam, member, objects), v in table.items():
                    if fam == family and objects == count:
                        f.write(f'"{short_label(member)}" ' + " ".join(
                            f"{v[i]['to_floor']:.4f}" if i in v else "NaN" for i in impls) + "\n")
            where = "in cache" if count <= 10000 else "from memory"
            script.append(f"set title '{count:,} objects ({where})'")
            script.append("plot " + ", ".join(
                f"'{data}' using {n + 2}{':xtic(1)' if n == 0 else ''} title '{IMPLEMENTATIONS[i]}'"
                for n, i in enumerate(impls)) + ", 1 with lines dt 2 lc rgb 'black' title 'floor'")
        script.append("unset multiplot")
        gp = os.path.join(tmp, "plot.gp")
        with open(gp, "w", encoding="utf-8") as f:
            f.write("\n".join(script) + "\n")
        subprocess.run(["gnuplot", gp], check=True)


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--json", required=True, help="the benchmark binary's JSON output")
    p.add_argument("--compile-commands", help="CMake's compile_commands.json of the build")
    p.add_argument("--doc", help="report page whose marked section is rewritten")
    p.add_argument("--check", action="store_true", help="only read and validate the run")
    args = p.parse_args()

    context, rows = load_rows(args.json)
    machine = Machine(rows)
    table = kernel_rows(rows, machine)
    # Families in the order the binary registered them.
    families = list(dict.fromkeys(k[0] for k in table))
    if args.check:
        print(f"performance_report: {len(rows)} rows, families {', '.join(families)}: valid")
        return
    if not args.doc:
        fail("--doc is required unless --check")

    docs = os.path.dirname(os.path.abspath(args.doc))
    section = [BEGIN, "", "## Results", ""] + machine_section(context, machine) + [""]
    if args.compile_commands:
        section += ["### Compiler flags", ""] + flags_section(args.compile_commands) + [""]
    for family in families:
        plot_name = f"performance-{family}.png"
        plot(family, table, os.path.join(docs, plot_name))
        section += family_section(family, table, plot_name) + [""]
    section.append(END)

    with open(args.doc, encoding="utf-8") as f:
        text = f.read()
    if BEGIN not in text or END not in text:
        fail(f"{args.doc} lacks the markers {BEGIN} and {END}")
    head, rest = text.split(BEGIN, 1)
    tail = rest.split(END, 1)[1]
    with open(args.doc, "w", encoding="utf-8") as f:
        f.write(head + "\n".join(section) + tail)


if __name__ == "__main__":
    main()
