#!/usr/bin/env python3
"""Each folder's library links with those of its own floor and below: what it names and does not define, they
define. The fatal exit is the one name that goes up."""
import pathlib
import subprocess
import sys

from floors import FLOORS

GOES_UP = {"_ZN7pelorus10fatal_exitEv"}


def symbols(library):
    """The names that a library defines, and those that it only uses."""
    listing = subprocess.run(["nm", "--format=posix", library], check=True, capture_output=True, text=True).stdout
    defined, used = set(), set()
    for line in listing.splitlines():
        words = line.split()
        if len(words) >= 2:
            (used if words[1] in ("U", "w") else defined).add(words[0])
    return defined, used - defined


def main():
    build = pathlib.Path(sys.argv[1])
    libraries = {folder: symbols(build / f"libpelorus_{folder}.a") for folder in FLOORS
                 if (build / f"libpelorus_{folder}.a").exists()}
    home = {name: folder for folder, (defined, _) in libraries.items() for name in defined}
    faults = [f"{folder} (floor {FLOORS[folder]}) needs {name} of {home[name]} (floor {FLOORS[home[name]]})"
              for folder, (_, used) in libraries.items() for name in sorted(used - GOES_UP)
              if name in home and FLOORS[home[name]] > FLOORS[folder]]
    print("\n".join(faults))
    return 1 if faults or not libraries else 0


if __name__ == "__main__":
    sys.exit(main())
