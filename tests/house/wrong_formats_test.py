#!/usr/bin/env python3
"""Literal formats that do not fit their arguments must not compile; those that fit must."""
import concurrent.futures
import os
import subprocess
import sys

PREAMBLE = '#include "kelm/base/format.h"\nstd::string made(const std::string& text) {\n  return '

FITTING = r"""
  kelm::format("plain") + kelm::format("100%%") + kelm::format("%@", text) +
  kelm::format("%s %d %lld %zu %x", "a", 1, 2LL, sizeof 0, 3U) + kelm::format("%5.2f", 1.5) +
  kelm::format("%2$@ %1$d", 7, text) + kelm::format("%-*d|%.*s", 8, 1, 2, text) +
  kelm::format("%p", static_cast<const void*>(&text)) + kelm::format("%c", 'x')
"""

WRONG = {
    "a text where a number is due": 'kelm::format("%d", text)',
    "a number where a text is due": 'kelm::format("%s", 1)',
    "a real where an integer is due": 'kelm::format("%d", 1.5)',
    "an integer where a real is due": 'kelm::format("%f", 1)',
    "a text where a pointer is due": 'kelm::format("%p", text)',
    "a missing argument": 'kelm::format("%@")',
    "an argument without a conversion": 'kelm::format("plain", 1)',
    "a position past the end": 'kelm::format("%2$d", 1)',
    "a position that skips an argument": 'kelm::format("%2$d", 1, 2)',
    "a text as a width": 'kelm::format("%*d", text, 1)',
    "an unknown conversion": 'kelm::format("%y", 1)',
    "a conversion cut after its flags": 'kelm::format("%-5", 1)',
    "the conversion that writes": 'kelm::format("%n", 1)',
    "a format known only at run time": "kelm::format(text.c_str())",
}


def compiles(compiler, root, expression):
    command = compiler + ["-std=c++20", "-fsyntax-only", "-I", root, "-x", "c++", "-"]
    source = f"{PREAMBLE}{expression};\n}}\n"
    run = subprocess.run(command, input=source, capture_output=True, text=True, check=False)
    return run.returncode == 0, run.stderr


def main():
    compiler, root = [sys.argv[1]], sys.argv[2]
    fits, message = compiles(compiler, root, FITTING)
    if not fits:
        print("formats that fit do not compile:\n" + message)
        return 1
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda e: compiles(compiler, root, e)[0], WRONG.values())
    accepted = [f"{name}: {code}" for (name, code), ok in zip(WRONG.items(), results) if ok]
    print("\n".join(f"compiles: {line}" for line in accepted) or f"{len(WRONG)} formats refused")
    return 1 if accepted else 0


if __name__ == "__main__":
    sys.exit(main())
