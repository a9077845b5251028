#!/usr/bin/env python3
"""The include check must find each fault that it is there for, in a small tree of its own."""
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import check_includes  # noqa: E402

TREE = {
    "kelm/base/CMakeLists.txt": "kelm_library(base)",
    "kelm/base/text.h": "#pragma once\n#include <string>\nclass KELM_API Text {};",
    "kelm/platform/CMakeLists.txt": "kelm_library(platform DEPENDS base)",
    "kelm/platform/linux/epoll.h": "#include <sys/epoll.h>\n#ifdef __linux__\n#endif",
    "kelm/crypto/CMakeLists.txt": "kelm_library(crypto DEPENDS base LINK ZLIB::ZLIB)",
    "kelm/crypto/gzip.cpp": '#include <zlib.h>\n#include "kelm/base/text.h"',
    "kelm/crypto/stream.h": "#include <zlib.h>",
}


class IncludeCheck(unittest.TestCase):
    def faults(self, **changes):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for path, text in {**TREE, **changes}.items():
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text)
            return [fault.split(": ", 1)[1] for fault in check_includes.faults(root)]

    def test_a_tree_that_follows_the_rules_has_no_fault(self):
        self.assertEqual(self.faults(), [])

    def test_each_broken_rule_is_found(self):
        header = "class KELM_API X {};\n"
        for path, text, fault in [
            ("kelm/base/a.cpp", '#include "kelm/crypto/stream.h"', "base does not depend on crypto"),
            ("kelm/crypto/a.cpp", '#include "kelm/platform/linux/epoll.h"', "through kelm/platform"),
            ("examples/a.cpp", '#include "kelm/platform/linux/epoll.h"', "through kelm/platform"),
            ("tests/base/a.cpp", '#include "kelm/platform/linux/epoll.h"', "through kelm/platform"),
            ("kelm/crypto/a.h", header + "#include <zlib.h>", "<zlib.h> in a public header"),
            ("kelm/crypto/a.h", header + '#include "kelm/crypto/stream.h"', "<zlib.h> in a public"),
            ("kelm/crypto/a.cpp", "#include <unistd.h>", "neither a standard header"),
            ("kelm/base/a.cpp", "#include <zlib.h>", "does not link ZLIB::"),
            ("kelm/base/a.cpp", '#include "text.h"', "not a path from the root"),
            ("kelm/base/a.cpp", '#include "kelm/base/gone.h"', "does not exist"),
            ("kelm/base/a.cpp", "#if defined(_WIN32)", "asks for an operating system"),
            ("kelm/base/a.h", "\n" * 221, "221 lines are too many"),
            ("kelm/base/CMakeLists.txt", "kelm_library(base DEPENDS crypto)", "form a cycle"),
        ]:
            with self.subTest(path=path, text=text[:60]):
                self.assertTrue(any(fault in f for f in self.faults(**{path: text})), fault)


if __name__ == "__main__":
    unittest.main()
