#!/usr/bin/env python3
"""Checks the house rules on every #include: the folder picture is the dependency picture.

- A folder of kelm/ includes only itself and the folders that DEPENDS of its CMakeLists.txt names,
  and these lists have no cycle.
- kelm/platform/linux is included by itself alone; tests and benches may include the makers
  (services.h of a service's folder), and the tests of the platform everything.
- A public header (one with a KELM_API, or included by such a one) includes standard headers and
  kelm's own; other files include third-party ones, of the packages that their folder links.
- A header of the operating system is included in kelm/platform/linux and kelm/testing/servers
  alone, and nowhere else does an #if ask for an operating system.
- No folder of kelm/platform holds more than 30 files.
- Headers have at most 220 lines, sources 600.
"""
import pathlib
import re
import sys

STANDARD = set("""
algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono
cinttypes climits clocale cmath codecvt compare complex concepts condition_variable coroutine
csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype deque
exception execution filesystem forward_list fstream functional future initializer_list iomanip ios
iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new
numbers numeric optional ostream queue random ranges ratio regex scoped_allocator semaphore set
shared_mutex source_location span sstream stack stdexcept stop_token streambuf string string_view
strstream syncstream system_error thread tuple type_traits typeindex typeinfo unordered_map
unordered_set utility valarray variant vector version cxxabi.h
""".split())

# What an #include of a third-party header shows, and the link target that permits it.
THIRD_PARTY = {
    "openssl/": "OpenSSL::",
    "zlib.h": "ZLIB::",
    "curl/": "CURL::",
    "unicode/": "ICU::",
    "nlohmann/": "nlohmann_json::",
    "double-conversion/": "double-conversion::",
    "expat.h": "EXPAT::",
    "nettle/": "PkgConfig::NETTLE",
    "libpsl.h": "PkgConfig::LIBPSL",
    "pango/": "PkgConfig::PANGO",
    "hb.h": "PkgConfig::PANGO",
}
SYSTEM_MACRO = re.compile(r"__linux|__unix|_WIN32|_WIN64|__APPLE__|__ANDROID__|__FreeBSD__|_POSIX_")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
SYSTEM_FOLDER = "kelm/platform/linux"
SYSTEM_FOLDERS = (SYSTEM_FOLDER, "kelm/testing/servers")  # where system headers may be included


def libraries(root):
    """{folder path: (names it may include, text of its CMakeLists)} of every kelm_library."""
    found = {}
    for lists in sorted(root.glob("kelm/**/CMakeLists.txt")):
        text = re.sub(r"#.*", "", lists.read_text())
        call = re.search(r"kelm_library\(\s*(\w+)([^)]*)\)", text)
        if call:
            depends = re.search(r"DEPENDS\s+([^)]*?)(?=\bLINK\b|$)", call[2], re.S)
            names = depends[1].split() if depends else []
            found[lists.parent.relative_to(root).as_posix()] = (call[1], names, text)
    return found


def cycle(known):
    """The names on one cycle of the DEPENDS lists, or nothing."""
    depends = {name: names for name, names, _ in known.values()}

    def walk(name, path):
        if name in path:
            return path[path.index(name):] + [name]
        return next((c for d in depends.get(name, []) if (c := walk(d, path + [name]))), None)

    return next((c for name in depends if (c := walk(name, []))), None)


def owner(path, known):
    """The folder of the library that a path belongs to."""
    return max((f for f in known if path.startswith(f + "/")), key=len, default=None)


def third_party(name):
    return next((t for start, t in THIRD_PARTY.items() if name.startswith(start)), None)


def check_own(path, name, known):
    """The fault of including kelm's header `name` in the file `path`, if any."""
    if name.startswith(SYSTEM_FOLDER) and not path.startswith((SYSTEM_FOLDER, "tests/platform/")):
        if not (name.endswith("/services.h") and path.startswith(("tests/", "bench/"))):
            return f'"{name}" is reached through kelm/platform only'
    if not path.startswith("kelm/"):
        return None
    mine, theirs = owner(path, known), owner(name, known)
    if theirs is None:
        return f'"{name}" belongs to no library'
    allowed = known[mine][1] + [known[mine][0]]
    if known[theirs][0] not in allowed:
        return f'"{name}": {known[mine][0]} does not depend on {known[theirs][0]}'
    return None


def check_other(path, name, known, public):
    """The fault of including the standard, third-party or system header `name` in `path`."""
    if not path.startswith("kelm/") or name in STANDARD or path.startswith(SYSTEM_FOLDERS):
        return None
    if path in public:
        return f"<{name}> in a public header"
    target = third_party(name)
    if target is None:
        return f"<{name}> is neither a standard header nor of a known package"
    if target not in known[owner(path, known)][2]:
        return f"<{name}>: the folder does not link {target}*"
    return None


def public_headers(root):
    """The headers that are installed: those with a KELM_API and what these include."""
    texts = {f.relative_to(root).as_posix(): f.read_text() for f in root.glob("kelm/**/*.h")}
    queue = [path for path, text in texts.items() if re.search(r"^[^/]*KELM_API", text, re.M)]
    public = set()
    while queue:
        path = queue.pop()
        if path not in public:
            public.add(path)
            included = re.findall(r'^#include "(kelm/[^"]+)"', texts.get(path, ""), re.M)
            queue.extend(included)
    return public


def check_file(root, file, known, public):
    path = file.relative_to(root).as_posix()
    lines = file.read_text(errors="replace").splitlines()
    if len(lines) > (220 if path.endswith(".h") else 600):
        yield f"{path}: {len(lines)} lines are too many"
    for number, line in enumerate(lines, 1):
        fault = None
        if match := INCLUDE.match(line):
            name = match[2]
            if name.startswith("kelm/"):
                fault = check_own(path, name, known)
                if not (root / name).exists():
                    fault = f'"{name}" does not exist'
            elif match[1] == '"' and path.startswith("kelm/"):
                fault = f'"{name}" is not a path from the root'
            else:
                fault = check_other(path, name, known, public)
        elif re.match(r"\s*#\s*(el)?if", line) and SYSTEM_MACRO.search(line):
            if not path.startswith(SYSTEM_FOLDERS):
                fault = "asks for an operating system"
        if fault:
            yield f"{path}:{number}: {fault}"


def faults(root):
    known, public = libraries(root), public_headers(root)
    yield from (f"{p}: public, so not of {SYSTEM_FOLDER}" for p in public if SYSTEM_FOLDER in p)
    if path := cycle(known):
        yield "kelm: the folders form a cycle: " + " -> ".join(path)
    for folder in known:
        count = sum(f.suffix in (".h", ".cpp") for f in (root / folder).iterdir())
        if count > 30 and folder.startswith("kelm/platform"):
            yield f"{folder}: {count} files are too many for one folder"
    for top in ("kelm", "tests", "bench", "fuzz", "examples"):
        for file in sorted(root.glob(f"{top}/**/*")):
            if file.suffix in (".h", ".cpp"):
                yield from check_file(root, file, known, public)


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else __file__).resolve()
    root = root if root.is_dir() else root.parent.parent
    found = list(faults(root))
    print("\n".join(found) or "includes: every folder includes only what it may")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
