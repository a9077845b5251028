#!/usr/bin/env python3
"""Runs clang-tidy, which also reports clang's own warnings and its lock analysis, on the sources of
a build folder's compile_commands.json, several at a time. Files that did not change since they
were last found clean, with all that they include, are passed over.

usage: tidy.py BUILD_FOLDER [--jobs N]
"""
import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
CHECKED = ("kelm/", "tools/", "examples/", "bench/", "fuzz/", "tests/support/")


def sources(build):
    """{source: its compile command} of the project's own files."""
    for entry in json.loads((build / "compile_commands.json").read_text()):
        file = pathlib.Path(entry["directory"], entry["file"]).resolve()
        if file.is_relative_to(ROOT) and file.relative_to(ROOT).as_posix().startswith(CHECKED):
            yield file, entry


def fingerprint(entry, config):
    """A hash of the command, the configuration, and of every file that the compiler reads."""
    command = [word for word in shlex.split(entry["command"]) if not word.endswith("ccache")]
    skip = command.index("-o")
    command[skip:skip + 2] = []
    listed = subprocess.run([*command, "-M", "-MF", "-"], cwd=entry["directory"],
                            capture_output=True, text=True, check=False)
    files = listed.stdout.replace("\\\n", " ").partition(":")[2].split()
    digest = hashlib.sha256((entry["command"] + config).encode())
    for name in files:
        path = pathlib.Path(entry["directory"], name)
        if path.is_relative_to(ROOT):
            digest.update(path.read_bytes())
    return digest.hexdigest() if listed.returncode == 0 else None


def tidy(build, config, file, entry):
    """The complaints about one file; nothing when it is clean."""
    mark = fingerprint(entry, config)
    clean = build / "tidy" / str(mark)
    if mark and clean.exists():
        return ""
    run = subprocess.run(["clang-tidy", "--quiet", "-p", str(build), str(file)],
                         capture_output=True, text=True, check=False)
    if run.returncode == 0 and mark:
        clean.touch()
    return "" if run.returncode == 0 else run.stdout + run.stderr


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    (options.build / "tidy").mkdir(exist_ok=True)
    config = (ROOT / ".clang-tidy").read_text()
    work = list(sources(options.build))
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        tasks = {pool.submit(tidy, options.build, config, *one): one[0] for one in work}
        for number, task in enumerate(concurrent.futures.as_completed(tasks), 1):
            name = tasks[task].relative_to(ROOT)
            print(f"[{number}/{len(work)}] clang-tidy {name}", flush=True)
            if complaint := task.result():
                failed += 1
                print(complaint)
    print(f"clang-tidy: {failed} of {len(work)} files with complaints")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
