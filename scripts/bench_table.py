#!/usr/bin/env python3
"""Turns the benchmark JSON files and the start-up reports of one bench run
into the table of figures, each beside its target."""
import json
import re
import statistics
import sys
from pathlib import Path

folder = Path(sys.argv[1])


def base(name):
    """A benchmark's name without the run settings Google Benchmark appends
    ("/iterations:20", "/repeats:5", "/manual_time", ...)."""
    settings = re.compile(r"^(iterations|repeats|min_time|threads):|^(manual|process|real)_time$")
    return "/".join(p for p in name.split("/") if not settings.match(p))


def entries(bench):
    path = folder / f"{bench}.json"
    if not path.exists():
        return []
    return json.loads(path.read_text())["benchmarks"]


def median(bench, name, field="real_time"):
    """The median of one benchmark's repetitions: its median aggregate when
    the benchmark reports one, else the median of its runs."""
    mine = [b for b in entries(bench) if base(b.get("run_name", b["name"])) == name]
    for b in mine:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") == "median" and field in b:
            return b[field]
    values = [b[field] for b in mine if b.get("run_type") != "aggregate" and field in b]
    return statistics.median(values) if values else None


def unit_of(bench, name):
    for b in entries(bench):
        if base(b.get("run_name", b["name"])) == name:
            return b.get("time_unit", "ms")
    return "ms"


# figure, value, unit, target text, check
rows = []


def add(figure, value, unit, target, ok, digits=2):
    if value is None:
        rows.append((figure, "missing", "", target, "MISSING"))
        return
    rows.append((figure, f"{value:.{digits}f}", unit, target, "ok" if ok(value) else "MISSED"))


add("Status read (19 commands, 57600 Bd): ratio to wire time",
    median("bench_link", "BM_StatusRead", "ratio_to_wire"), "", "<= 1.15", lambda v: v <= 1.15, 3)
add("15000-point download, paced: ratio to wire time",
    median("bench_link", "BM_Download15000Paced", "ratio_to_wire"), "", "<= 1.05",
    lambda v: v <= 1.05, 5)
add("15000-point download, unpaced: CPU time",
    median("bench_link", "BM_Download15000Unpaced", "cpu_time"), "ms", "< 300 ms",
    lambda v: v < 300)
add("CSV export, 32767 rows", median("bench_data", "BM_CsvExport"), "ms", "< 150 ms",
    lambda v: v < 150)
add("CSV import, 32767 rows", median("bench_data", "BM_CsvImport"), "ms", "< 150 ms",
    lambda v: v < 150)
add("All statistics and excursions, 32767 records", median("bench_analysis", "BM_Statistics"),
    "ms", "< 5 ms", lambda v: v < 5)
add("Spreadsheet (.xlsx) export, 32767 records", median("bench_analysis", "BM_Xlsx"), "ms",
    "< 500 ms", lambda v: v < 500)
add("Dump_Fill, 32767 rows (model)", median("bench_data", "BM_DumpFill"), "ms", "< 150 ms",
    lambda v: v < 150)
add("Dump_Fill, 32767 rows into the visible list",
    median("bench_window", "BM_DumpFillVisible"), "ms", "< 50 ms", lambda v: v < 50)
add("Graph redraw, 32767 records at 1280x400 (temperature)",
    median("bench_graph", "BM_Graph/0"), "ms", "< 8 ms", lambda v: v < 8)
add("Graph redraw, 32767 records at 1280x400 (humidity)",
    median("bench_graph", "BM_Graph/1"), "ms", "< 8 ms", lambda v: v < 8)
add("Scroll step: Scroll_Set + both graphs, 32767 records",
    median("bench_window", "BM_ScrollStepRedraw/32767"), "ms", "< 16 ms", lambda v: v < 16)
add("Statistics panel after a scroll step, 32767 records",
    median("bench_statspanel", "BM_StatsPanelScrollStep"), "ms", "< 16 ms", lambda v: v < 16)

add("Archive a 15000-point download (SQLite)",
    median("bench_archive", "BM_ArchiveDownload15000"), "ms", "< 100 ms", lambda v: v < 100)
add("archive list over 1000 logs", median("bench_archive", "BM_ArchiveList1000"), "ms",
    "< 50 ms", lambda v: v < 50)
add("Export a logger's year at one-minute intervals (525600 records)",
    median("bench_archive", "BM_ArchiveExportYear"), "ms", "< 1000 ms", lambda v: v < 1000, 0)
for kind in ("Sqlite", "Postgres"):
    name = {"Sqlite": "SQLite", "Postgres": "PostgreSQL"}[kind]
    add(f"Load 100 downloads of 15000 points into {name}",
        median("bench_archive", f"BM_Load100Downloads{kind}"), "ms", "(no target)",
        lambda v: True, 0)
    add(f"Size on disk per million records, {name}",
        median("bench_archive", f"BM_Load100Downloads{kind}", "mb_per_million_records"), "MB",
        "(no target)", lambda v: True, 1)

# The print benchmarks name themselves; every one of them is listed.
names = []
for b in entries("bench_print"):
    n = base(b.get("run_name", b["name"]))
    if n not in names:
        names.append(n)
labels = {"BM_DumpPdf": "PDF of a 15000-row dump (about 400 pages)",
          "BM_DumpImages": "The same dump drawn on pictures (baseline)",
          "BM_GraphPdf": "PDF of a graph print (15000 records)"}
for n in names:
    add(labels.get(n, f"PDF: {n.removeprefix('BM_')}"), median("bench_print", n),
        unit_of("bench_print", n), "(no target)", lambda v: True)
if not names:
    add("PDF writing", None, "", "(no target)", lambda v: True)

startup = folder / "startup.txt"
ms, rss = [], []
if startup.exists():
    for line in startup.read_text().splitlines():
        m = re.search(r"after (\d+) ms, VmRSS (\d+) kB", line)
        if m:
            ms.append(int(m.group(1)))
            rss.append(int(m.group(2)) / 1024)
add("Start-up to the first painted window", statistics.median(ms) if ms else None, "ms",
    "< 500 ms", lambda v: v < 500, 0)
add("Resident memory after start-up", statistics.median(rss) if rss else None, "MB", "< 80 MB",
    lambda v: v < 80, 1)

width = max(len(r[0]) for r in rows)
print(f"{'Figure':<{width}}  {'Median':>10}  {'Unit':<4}  {'Target':<12}  Result")
for figure, value, unit, target, result in rows:
    print(f"{figure:<{width}}  {value:>10}  {unit:<4}  {target:<12}  {result}")
missed = [r for r in rows if r[4] in ("MISSED", "MISSING")]
sys.exit(1 if missed else 0)
