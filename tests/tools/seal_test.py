#!/usr/bin/env python3
"""kelm-seal from outside: what it makes it can open, and nothing else.

usage: seal_test.py TOOL FOLDER_WITH_TEST_KEYS
"""
import base64
import hashlib
import json
import os
import pathlib
import pty
import stat
import subprocess
import sys
import tempfile
import termios
import unittest

TOOL, KEYS = sys.argv[1], pathlib.Path(sys.argv[2])
CONFIGURATION = {"endpoint": "https://pay.example/", "limits": [1.5, True, None], "a": "x;y"}
CANONICAL = "x;y;https://pay.example/;1.5;true;<null>"


class Seal(unittest.TestCase):
    def setUp(self):
        self.force = False
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        self.signer = ["--certificate", KEYS / "certificate_rsa.der",
                       "--bundle", KEYS / "bundle_aes.p12",
                       "--bundle-password", self.write("password", "secret\n")]
        self.keys = ["--key", self.folder / "key", "--iv", self.folder / "iv"]
        self.sealed = self.folder / "sealed.json"

    def write(self, name, text):
        (self.folder / name).write_text(text)
        return self.folder / name

    def run_tool(self, *arguments, status=0):
        done = subprocess.run([TOOL, *arguments], capture_output=True, text=True, check=False,
                              stdin=subprocess.DEVNULL, start_new_session=True)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def seal(self, configuration=CONFIGURATION, status=0, output=None):
        if not self.keys[1].exists():
            self.run_tool("make-key", *self.keys)
        path = self.write("configuration.json", json.dumps(configuration))
        return self.run_tool("seal-configuration", "--configuration", path, "--output",
                             output or self.sealed, *self.signer, *self.keys,
                             *(["--force"] if self.force else []), status=status)

    def open(self, certificate="certificate_rsa.der", status=0):
        return self.run_tool("open-configuration", "--sealed", self.sealed, "--certificate",
                             KEYS / certificate, *self.keys, status=status)

    def test_sealed_configuration_opens_as_it_was_with_fresh_keys_of_the_owner_alone(self):
        made = self.seal()
        self.assertIn(f"\n{CANONICAL}\n", made.stderr)
        self.assertIn('a value holds ";"', made.stderr)
        opened = self.open()
        self.assertEqual(json.loads(opened.stdout), CONFIGURATION)
        self.assertIn(made.stdout.strip(), opened.stderr)
        self.assertNotIn("pay.example", self.sealed.read_text())
        self.assertEqual({p.name for p in self.folder.iterdir()},
                         {"password", "key", "iv", "configuration.json", "sealed.json"})
        for name, size in (("key", 32), ("iv", 16)):
            path = self.folder / name
            self.assertEqual(len(base64.b64decode(path.read_text())), size)
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o600)

    def test_wrong_key_and_foreign_certificate_do_not_open(self):
        self.seal()
        self.assertIn("signature is not that", self.open("certificate_512.der", status=1).stderr)
        self.write("key", base64.b64encode(bytes(32)).decode())
        self.assertIn("wrong", self.open(status=1).stderr)

    def test_keys_are_not_written_over(self):
        for command, names in (("make-key", ("key", "iv")),
                               ("make-string-keys", ("ck1", "ck2", "cks"))):
            rest = [w for n in names for w in (f"--{n}", self.folder / n)]
            rest += self.signer if command == "make-string-keys" else []
            kept = self.write(names[-1], "kept")
            self.assertIn("exists", self.run_tool(command, *rest, status=1).stderr)
            self.assertEqual(kept.read_text(), "kept")
            self.assertFalse((self.folder / names[0]).exists())

    def test_no_file_is_written_twice_or_over_what_it_is_made_from(self):
        (self.folder / "link").symlink_to(self.folder)
        for other in ("new", "./new", "link/new"):
            told = self.run_tool("make-key", "--key", self.folder / "new", "--iv",
                                 f"{self.folder}/{other}", status=1)
            self.assertIn("the same file", told.stderr)
            self.assertFalse((self.folder / "new").exists())
        self.seal()
        self.force = True
        key = self.keys[1].read_bytes()
        for output in (self.keys[1], self.folder / "link" / "configuration.json"):
            told = self.seal(status=1, output=output)
            self.assertIn("the same file", told.stderr)
            self.assertEqual(told.stdout, "")
        self.assertEqual(self.keys[1].read_bytes(), key)
        self.seal()

    def test_failed_sealing_keeps_the_earlier_file_and_leaves_no_draft(self):
        self.seal()
        before = self.sealed.read_bytes()
        self.assertIn("exists", self.seal(status=1).stderr)
        self.force = True
        self.assertIn("no value", self.seal({}, status=1).stderr)
        self.signer[1] = KEYS / "certificate_512.der"
        self.assertIn("signature is not that of the certificate", self.seal(status=1).stderr)
        self.assertEqual(self.sealed.read_bytes(), before)
        self.assertFalse(any("unverified" in p.name for p in self.folder.iterdir()))

    def test_string_gets_the_checksum_that_belongs_to_its_text_and_keys(self):
        files = [w for n in ("ck1", "ck2", "cks") for w in (f"--{n}", self.folder / n)]
        self.run_tool("make-string-keys", *files, *self.signer)
        ck1, ck2 = (base64.b64decode((self.folder / n).read_text()) for n in ("ck1", "ck2"))
        text = self.write("text", "https://pay.example/\n")
        signed = self.run_tool("sign-string", "--text", text, *files, *self.signer[:2])
        salt = bytes(a ^ b for a, b in zip(ck1, ck2))
        expected = hashlib.pbkdf2_hmac("sha256", b"https://pay.example/", salt, 1024)
        self.assertEqual(base64.b64decode(signed.stdout), expected)
        self.assertIn("text: https://pay.example/", signed.stderr)
        self.write("ck1", base64.b64encode(bytes(32)).decode())
        failed = self.run_tool("sign-string", "--text", text, *files, *self.signer[:2], status=1)
        self.assertIn("Antitampering check failed (6)", failed.stderr)
        self.assertEqual(failed.stdout, "")

    def test_control_characters_of_what_is_signed_do_not_reach_the_terminal(self):
        made = self.seal({"a": "\x1b[2Jred\n\x9b2Jü"})
        self.assertIn("\\x1b[2Jred\\x0a\\xc2\\x9b2Jü", made.stderr)
        self.assertNotIn("\x1b", made.stderr)

    def type_password(self, password):
        """The exit status and what the terminal showed."""
        path = self.write("configuration.json", json.dumps(CONFIGURATION))
        arguments = [TOOL, "seal-configuration", "--configuration", path, "--output", self.sealed,
                     "--force", *self.signer[:4], *self.keys]
        child, terminal = pty.fork()
        if child == 0:
            os.execv(TOOL, [os.fspath(a) for a in arguments])
        shown = b""
        while b"password of" not in shown:
            shown += os.read(terminal, 1000)
        while termios.tcgetattr(terminal)[3] & termios.ECHO:  # it prompts first
            os.sched_yield()
        os.write(terminal, password + b"\n")
        try:
            while chunk := os.read(terminal, 1000):
                shown += chunk
        except OSError:  # the child is gone
            pass
        return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), shown

    def test_password_is_asked_for_at_the_terminal_and_not_shown(self):
        self.run_tool("make-key", *self.keys)
        status, shown = self.type_password(b"secret")
        self.assertEqual(status, 0, shown)
        self.assertNotIn(b"secret", shown)
        self.open()
        for length, problem in ((1024, b"password is wrong"), (1025, b"no terminal")):
            self.assertIn(problem, self.type_password(b"x" * length)[1])

    def test_problems_are_named_with_status_1(self):
        self.run_tool("make-key", *self.keys)
        path = self.write("configuration.json", "{")
        rest = ["--output", self.sealed, *self.keys]
        wrong = ["--bundle-password", self.write("wrong", "Secret")]
        rows = [
            (["--configuration", self.folder / "none", *self.signer], "No such file"),
            (["--configuration", path, *self.signer], "configuration.json: "),
            (["--configuration", self.write("c", "[1]"), *self.signer[:4], *wrong], "password"),
            (["--configuration", path, "--certificate", path, *self.signer[2:]], "no X.509"),
            (["--configuration", self.write("c", "[1]"), *self.signer[:4]], "no terminal"),
        ]
        for arguments, message in rows:
            failed = self.run_tool("seal-configuration", *arguments, *rest, status=1)
            self.assertIn(message, failed.stderr)
            self.assertNotIn("ecret", failed.stderr)
        self.assertFalse(self.sealed.exists())

    def test_wrong_use_is_status_2_and_help_names_every_command(self):
        for arguments in ([], ["none"], ["make-key"], ["make-key", "--key"],
                          ["make-key", "--password", "x"], ["make-key", "--text", "x"],
                          ["make-key", *self.keys, "rest"]):
            self.assertIn("--help", self.run_tool(*arguments, status=2).stderr)
        shown = self.run_tool("--help").stdout
        for name in ("make-key", "seal-configuration", "open-configuration", "make-string-keys",
                     "sign-string"):
            self.assertIn(f"\n  {name} --", shown)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
