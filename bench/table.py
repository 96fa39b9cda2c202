# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
"""Reads benchmark rows, one JSON object a line, from standard input; prints them as a table and
writes them to the file named. Exits 1 when a ratio is above its limit, or when there is no row; 2
when the file cannot be written."""
import json
import os
import sys


def write_rows(path, rows):
    """Leaves the file as it was where its new content finds no room."""
    try:
        with open(f"{path}.new", "w", encoding="utf-8") as file:
            json.dump(rows, file, indent=2)
        os.replace(f"{path}.new", path)
    except OSError as error:
        print(f"error: {path}: {error.strerror}", file=sys.stderr)
        sys.exit(2)


def main():
    rows = [json.loads(line) for line in sys.stdin if line.startswith("{")]
    width = max([len(row["name"]) for row in rows] or [4])
    print(f"{'':{width}} {'value':>10} {'reference':>10} {'unit':4} {'ratio':>6} {'limit':>6}")
    over = 0
    for row in rows:
        good = row["ratio"] <= row["limit"]
        over += not good
        print(f"{row['name']:{width}} {row['value']:10.1f} {row['reference']:10.1f} "
              f"{row.get('unit', ''):4} {row['ratio']:6.2f} {row['limit']:6.2f}"
              f"{'' if good else '  TOO SLOW'}")
    write_rows(sys.argv[1], rows)
    return 1 if over or not rows else 0


sys.exit(main())
