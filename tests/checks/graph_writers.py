#!/usr/bin/env python3
"""Only graph_edit.cpp and number_cfg.cpp write edges and the links between blocks."""
import pathlib
import re
import sys

WRITERS = {"graph_edit.cpp", "number_cfg.cpp"}
WRITE = re.compile(r"(?:->|\.)(?:succs|preds|dflink|rdflink|all_link)\s*=[^=]|\b(?:bb_list|all_blocks)\s*=[^=]")


def main():
    src = pathlib.Path(sys.argv[1]) / "src"
    faults = [f"{path}:{number}: {line.strip()}"
              for path in sorted(src.rglob("*.cpp")) if path.name not in WRITERS
              for number, line in enumerate(path.read_text().splitlines(), 1)
              if WRITE.search(line.split("//")[0])]
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
