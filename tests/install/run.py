#!/usr/bin/env python3
"""Installs a build with shared libraries into a scratch folder and is a host of what lies there.

usage: run.py BUILD_FOLDER
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
OURS = re.compile(r"^_Z(N4kelm|NK4kelm|NO4kelm|T[ISVT]N4kelm|T[hvc][\w]*_N(K?)4kelm)")
FOREIGN = re.compile(r"libicu|libcairo|libpango")
SALE = "sold: 12.50 EUR"

failures = []


def check(outcome, good, details):
    """Prints one line; remembers a failure, which prints `details` too."""
    print(("  ok    " if outcome else "  FAIL  ") + good, flush=True)
    if not outcome:
        failures.append(good)
        print(details)


def run(*command, **options):
    """The outcome and the output of a command."""
    done = subprocess.run([str(c) for c in command], stdout=subprocess.PIPE, text=True,
                          stderr=subprocess.STDOUT, check=False, **options)
    return done.returncode == 0, done.stdout


def build_host(prefix, build, *options):
    """Configures and builds the host; the outcome and the output of the last step."""
    ok, text = run("cmake", "-G", "Ninja", "-S", HERE / "host", "-B", build,
                   f"-DCMAKE_PREFIX_PATH={prefix}", f"-DPROGRAM={prefix}/main.cpp", *options)
    return run("cmake", "--build", build) if ok else (ok, text)


def check_host(program, **environment):
    """Runs the program in a folder of its own."""
    with tempfile.TemporaryDirectory() as home:
        ok, text = run(program, cwd=home, env={**os.environ, "HOME": home, **environment})
    check(ok and SALE in text, "it runs", text)


def check_libraries(lib):
    for library in sorted(lib.glob("libkelm_*.so")):
        _, symbols = run("nm", "-D", "--defined-only", "--format=posix", library)
        foreign = [s for s in symbols.splitlines() if not OURS.match(s)]
        check(symbols and not foreign, f"{library.name}: only kelm's symbols leave",
              "\n".join(foreign[:10]) or "no symbol leaves")
        _, dynamic = run("readelf", "-d", library)
        soname = f"[{library.name}.0]"
        check(soname in dynamic, f"{library.name}: its SONAME is {soname}", dynamic)


def check_headers(include):
    headers = {h.relative_to(include).as_posix(): h.read_text() for h in include.glob("**/*.h")}
    foreign = [f"{path}: {line}" for path, text in headers.items()
               for line in re.findall(r"^#include <.*[/.].*>", text, re.M)]
    private = [path for path in headers if not path.startswith("kelm/") or "/linux/" in path]
    check(headers and not foreign, f"{len(headers)} headers include standard headers and kelm's",
          "\n".join(foreign))
    check(not private, "no private header is installed", "\n".join(private))


def check_package(prefix):
    for name, options in (("queue", ["-DCOMPONENT=queue"]), ("everything", [])):
        ok, text = build_host(prefix, prefix / name, *options)
        check(ok, f"a host of {name} builds with find_package", text)
        check_host(prefix / name / "host")
    _, needed = run("ldd", prefix / "queue/host")
    check("libkelm_queue" in needed and not FOREIGN.search(needed) and "not found" not in needed,
          "the host of queue pulls in neither ICU nor Cairo", needed)
    ok, text = build_host(prefix, prefix / "none", "-DCOMPONENT=gone")
    check(not ok and "gone" in text, "an unknown component is refused", text)


def check_pkg_config(prefix, lib):
    paths = {**os.environ, "PKG_CONFIG_PATH": str(lib / "pkgconfig")}
    for name in ("kelmcore-queue", "kelmcore"):
        ok, flags = run("pkg-config", "--cflags", "--libs", name, env=paths)
        if ok:
            ok, flags = run("g++", "-std=c++20", prefix / "main.cpp", "-o", prefix / name,
                            *flags.split())
        check(ok, f"a host builds with pkg-config {name}", flags)
        check_host(prefix / name, LD_LIBRARY_PATH=str(lib))


def main():
    build = pathlib.Path(sys.argv[1])
    with tempfile.TemporaryDirectory() as scratch:
        prefix = pathlib.Path(scratch).resolve()
        ok, text = run("cmake", "--install", build, "--prefix", prefix)
        check(ok, "the build installs", text)
        readme = (ROOT / "README.md").read_text()
        (prefix / "main.cpp").write_text(re.search(r"```cpp\n(.*?)```", readme, re.S)[1])
        lib = next(prefix.glob("lib*/**/libkelm_base.so")).parent
        check_libraries(lib)
        check_headers(prefix / "include")
        check_package(prefix)
        check_pkg_config(prefix, lib)
    print(f"install test: {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
