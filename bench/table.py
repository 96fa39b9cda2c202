"""Reads benchmark rows, one JSON object a line, from standard input; prints them as a table and
writes them to the file named. Exits 1 when a ratio is above its limit, or when there is no row."""
import json
import sys


def main():
    rows = [json.loads(line) for line in sys.stdin if line.startswith("{")]
    with open(sys.argv[1], "w", encoding="utf-8") as file:
        json.dump(rows, file, indent=2)
        file.write("\n")
    width = max([len(row["name"]) for row in rows] or [4])
    print(f"{'':{width}} {'value':>10} {'reference':>10} {'unit':4} {'ratio':>6} {'limit':>6}")
    over = 0
    for row in rows:
        good = row["ratio"] <= row["limit"]
        over += not good
        print(f"{row['name']:{width}} {row['value']:10.1f} {row['reference']:10.1f} "
              f"{row.get('unit', ''):4} {row['ratio']:6.2f} {row['limit']:6.2f}"
              f"{'' if good else '  TOO SLOW'}")
    return 1 if over or not rows else 0


sys.exit(main())
