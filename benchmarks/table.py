#!/usr/bin/env python3
"""Prints measured rows as one table: benchmarks/table.py ROWS [--write]

Status 1 when a row breaks its limit. --write puts the table into docs/benchmarks.md.
"""

import datetime
import json
import os
import platform
import subprocess
import sys

PAGE = "docs/benchmarks.md"

HEAD = """# Benchmarks

What `./bench` measured on the machine named below. A row with a limit fails the run when it breaks it. Times and
memory are those the kernel counts for whole processes, of the median of several runs taken in turns, and nothing is
taken off them.

"""

NOTES = "\n## About single rows\n"


def verdict(row):
    if "limit" not in row:
        return ""
    holds = row["value"] >= row["limit"] if row.get("better") == "higher" else row["value"] <= row["limit"]
    return "holds" if holds else "BROKEN"


def shown(number):
    """Three digits are as much as a measurement is worth."""
    return f"{number:,}" if isinstance(number, int) or abs(number) >= 100 else f"{number:.3g}"


def table(rows):
    lines = ["| What | Measured | Limit | Verdict | Note |", "|---|---|---|---|---|"]
    for row in rows:
        unit = row.get("unit", "")
        sign = "≥" if row.get("better") == "higher" else "≤"
        limit = f"{sign} {shown(row['limit'])} {unit}" if "limit" in row else ""
        lines.append(f"| {row['name']} | {shown(row['value'])} {unit} | {limit} | {verdict(row)} | {row.get('note', '')} |")
    return "\n".join(lines) + "\n"


def machine():
    model = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "")
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], capture_output=True, text=True).stdout.strip()
    return (f"{datetime.date.today()}, commit {commit or 'unknown'}, {os.cpu_count()} cores of {model or 'unknown'}, "
            f"Linux {platform.release()}.\n\n")


def notes():
    """What people have written below the table: it outlives a new table."""
    with open(PAGE) as file:
        text = file.read()
    return text[text.index(NOTES):] if NOTES in text else ""


def main():
    with open(sys.argv[1]) as file:
        rows = [json.loads(line) for line in file if line.startswith("{")]
    text = table(rows)
    print(text, end="")
    if "--write" in sys.argv[2:]:
        page = HEAD + machine() + text + notes()
        with open(PAGE, "w") as file:
            file.write(page)
    return any(verdict(row) == "BROKEN" for row in rows)


sys.exit(main())
