#!/usr/bin/env python3
"""Checks that every relative link of the documentation leads to a file, and that every folder of
kelm/ is in the picture of docs/architecture.md."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]


def faults():
    for page in [*ROOT.glob("*.md"), *ROOT.glob("docs/**/*.md")]:
        text = re.sub(r"```.*?```", "", page.read_text(), flags=re.S)
        for link in re.findall(r"\]\(([^)#\s]+)[^)]*\)", text):
            if not re.match(r"\w+:", link) and not (page.parent / link).exists():
                yield f"{page.relative_to(ROOT)}: no file {link}"
    picture = (ROOT / "docs/architecture.md").read_text()
    for lists in ROOT.glob("kelm/**/CMakeLists.txt"):
        if match := re.search(r"kelm_library\((\w+)", lists.read_text()):
            if not re.search(rf"\b{match[1]}\b", picture):
                yield f"docs/architecture.md: {match[1]} is missing"


def main():
    found = list(faults())
    print("\n".join(found) or "documentation: every link leads somewhere")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
