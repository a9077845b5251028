#!/usr/bin/env python3
"""What a host's log lines become in the journal, in syslog where there is no journal, and on
standard error where there is neither. Runs itself inside a private mount namespace.

usage: journal_test.py PROGRAM
"""
import contextlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
SKIPPED = 77
IDENTIFIER = "com.example.till"
CATEGORY = "com.trevalo.logs"
LINES = (["◯[DEBUG] [NET] plain 100%",
          "❗[FATAL] [FRONTEND] perché\nsecond line %@ %n",
          "🔵[INFO] [None] nul\0inside",
          "🔵[INFO] [None] [1/2]" + "x" * 1000,
          "🔵[INFO] [None] [2/2]x"]
         + [f"⚠️[WARN] [None] line {i}" for i in range(500)]
         + ["y" * 20_000, "z" * (1 << 20)])


def run_program():
    return subprocess.run([os.environ["PROGRAM"]], check=True, capture_output=True,
                          env={"KELM_BUNDLE_ID": IDENTIFIER, "PATH": os.environ["PATH"]})


@contextlib.contextmanager
def without(*sockets):
    paths = [f"/run/systemd/journal/{socket}" for socket in sockets]
    for path in paths:
        os.rename(path, path + ".hidden")
    try:
        yield
    finally:
        for path in paths:
            os.rename(path + ".hidden", path)


def entries(*matches):
    subprocess.run(["journalctl", "--sync"], check=True)
    out = subprocess.run(["journalctl", "--all", "--no-pager", "-o", "json", *matches], check=True,
                         capture_output=True).stdout
    return [json.loads(line) for line in out.splitlines()]


def text(field):
    """A field that is not plain text is written as a list of its bytes."""
    return field if isinstance(field, str) else bytes(field).decode()


class JournalTest(unittest.TestCase):
    def test_1_every_line_is_an_entry_of_one_type_in_order(self):
        self.assertEqual(run_program().stderr, b"")
        found = entries(f"CATEGORY={CATEGORY}")
        self.assertEqual([text(e["MESSAGE"]) for e in found], LINES)
        for entry in found:
            self.assertEqual(entry["SUBSYSTEM"], IDENTIFIER)
            self.assertEqual(entry["SYSLOG_IDENTIFIER"], IDENTIFIER)
            self.assertEqual(entry["PRIORITY"], "5")
            self.assertNotIn("CODE_FILE", entry)

    def test_2_without_a_journal_the_lines_go_to_syslog(self):
        with without("socket"):
            self.assertEqual(run_program().stderr, b"")
        found = entries("_TRANSPORT=syslog", "PRIORITY=5")
        self.assertEqual(len(found), len(LINES) - 1)  # the last one is too large for syslog
        for entry, line in zip(found[:3], LINES):
            self.assertEqual(text(entry["MESSAGE"]),
                             f"{IDENTIFIER} [{CATEGORY}] " + line.replace("\0", " "))

    def test_3_without_either_the_lines_go_to_standard_error(self):
        with without("socket", "dev-log"):
            lines = run_program().stderr.decode()
        self.assertEqual(lines, "".join(f"{IDENTIFIER} [{CATEGORY}] {line}\n" for line in LINES))


def main():
    if "PROGRAM" in os.environ:
        unittest.main()
    if not shutil.which("journalctl") or not os.path.exists("/lib/systemd/systemd-journald"):
        print("skipped: no journal daemon on this machine")
        return SKIPPED
    unshare = ["unshare", "-m", "--propagation", "private"]
    if os.geteuid() != 0:
        unshare.insert(1, "-Ur")
    if subprocess.run(unshare + ["mount", "-t", "tmpfs", "tmpfs", "/run"]).returncode != 0:
        print("skipped: no mount namespaces on this machine")
        return SKIPPED
    environment = dict(os.environ, PROGRAM=os.path.abspath(sys.argv[1]))
    return subprocess.run(unshare + [str(HERE / "with_journald"), sys.executable, __file__, "-v"],
                          env=environment).returncode


if __name__ == "__main__":
    sys.exit(main())
