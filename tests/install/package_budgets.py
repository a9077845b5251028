#!/usr/bin/env python3
"""Counts the Debian packages that a host of each component loads beyond a minimal installation.

usage: package_budgets.py BUILD_FOLDER

Walks the loaded libraries of each component of a build with shared libraries, maps them to packages,
and takes off those of data/minbase-<release>.txt, which is what
`debootstrap --variant=minbase --print-debs <release>` printed. A component over its budget fails with
the chain of libraries that pulls each package in.
"""
import functools
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
# The packages that a host of a component may load. Validation still loads ICU.
BUDGETS = {"base": 2, "logging": 2, "validation": 3, "formatting": 4, "crypto": 4, "storage": 4,
           "queue": 4, "security": 5}
# Beside those of libcurl itself; ICU, for the letter case of keys, is one of them.
NETWORK_BUDGET = 4
SKIPPED = 77


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


@functools.cache
def needed(library):
    """The paths of the libraries that one asks for itself."""
    names = set(re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "-d", library)))
    found = dict(re.findall(r"^\s*(\S+) => (\S+)", output("ldd", library), re.M))
    return [found[name] for name in names if name in found]


def closure(library):
    """{path: the chain of libraries that leads to it} of everything loaded with a library."""
    chains, queue = {library: [library]}, [library]
    while queue:
        path = queue.pop(0)
        for other in needed(path):
            if other not in chains:
                chains[other] = chains[path] + [other]
                queue.append(other)
    return chains


@functools.cache
def package_of(path):
    """The package that owns a library; absent for those of the build itself."""
    for pattern in (path, str(pathlib.Path(path).resolve()), "*/" + pathlib.Path(path).name):
        owner = re.match(r"([^:,\s]+)", output("dpkg", "-S", pattern))
        if owner:
            return owner[1]
    return None


def packages(library, minimal):
    """{package: the chain to it} beyond the minimal installation."""
    found = {}
    for path, chain in closure(library).items():
        package = package_of(path)
        if package and package not in minimal:
            found.setdefault(package, chain)
    return found


def main():
    release = re.search(r"VERSION_CODENAME=(\w+)", pathlib.Path("/etc/os-release").read_text())
    listing = HERE / "data" / f"minbase-{release[1] if release else 'unknown'}.txt"
    if not listing.exists():
        print(f"skipped: no {listing.name}")
        return SKIPPED
    minimal = set(listing.read_text().split())
    build = pathlib.Path(sys.argv[1]).resolve()
    good = True
    for component, budget in BUDGETS.items():
        good &= within(component, packages(built(build, component), minimal), budget)
    sessions = built(build, "linux_http")
    curl = next(p for p in closure(sessions) if pathlib.Path(p).name.startswith("libcurl"))
    found = packages(sessions, minimal) | packages(built(build, "network"), minimal)
    good &= within("network", found, len(packages(curl, minimal)) + NETWORK_BUDGET)
    return 0 if good else 1


def built(build, component):
    return str(next(build.glob(f"kelm/**/libkelm_{component}.so")))


def within(component, found, budget):
    """Prints one line; for a component over its budget the chains of libraries too."""
    good = len(found) <= budget
    print(f"  {'ok  ' if good else 'FAIL'}  {component}: {len(found)} of {budget} packages: "
          + " ".join(sorted(found)))
    if not good:
        for package, chain in sorted(found.items()):
            print(f"          {package}: " + " -> ".join(pathlib.Path(p).name for p in chain))
    return good


if __name__ == "__main__":
    sys.exit(main())
