#!/usr/bin/python3
"""corvina-backup against a real keyring that is locked and cannot prompt (as
under a timer): no backup under the empty password, no restore or check; the
stored password once unlocked.
Also: backups of the empty password still open, a too long comment leaves
nothing in the clear, and no core dump can be written.
Runs inside its own keyring session: bash scripts/with-keyring.sh."""
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "session"))
import keyring_control as keyring  # noqa: E402

TOOL = sys.argv.pop(1)
KEYRING_UNAVAILABLE = 4


def tree(folder):
    return {str(p.relative_to(folder)): p.read_bytes() for p in sorted(folder.rglob("*"))
            if p.is_file()}


class ToolWithALockedKeyring(unittest.TestCase):
    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp())
        self.data = self.home / "Data"
        (self.data / "Pflege").mkdir(parents=True)
        (self.data / "Patienten.db").write_bytes(b"Frau Berger, Zimmer 4" * 1000)
        (self.data / "Pflege" / "Bericht.txt").write_text("Blutdruck 120/80")
        self.storage = self.home / "Sicherungen"
        self.storage.mkdir()
        keyring.store(keyring.ZIP_ITEM, "Archiv-7")

    def tearDown(self):
        keyring.unlock()
        keyring.clear(keyring.ZIP_ITEM)
        shutil.rmtree(self.home)

    def run_tool(self, *arguments, password=None):
        environment = dict(os.environ, HOME=str(self.home),
                           XDG_CONFIG_HOME=str(self.home / ".config"))
        environment.pop("DISPLAY", None)
        command = [TOOL, *arguments]
        if password is not None:
            command += ["--password-file", "-"]
        return subprocess.run(command, input=(password or "").encode(), capture_output=True,
                              env=environment, timeout=60)

    def create(self, password=None, comment=None):
        arguments = ["create", "--source", str(self.data), "--dest", str(self.storage)]
        if comment is not None:
            arguments += ["--comment", comment]
        result = self.run_tool(*arguments, password=password)
        # Backups are named by the second they were made in.
        time.sleep(1)
        return result, result.stdout.decode().strip().splitlines()[-1:]

    def restore(self, backup, password=None):
        return self.run_tool("restore", "--backup", backup, "--container", str(self.home),
                             password=password)

    def verify(self, backup, password=None):
        return self.run_tool("verify", "--backup", backup, password=password)

    def test_locked_keyring_refuses_then_unlocked_uses_the_stored_password(self):
        created, [backup] = self.create()
        self.assertEqual(created.returncode, 0, created.stderr)
        storage_before, data_before = tree(self.storage), tree(self.data)

        keyring.lock()
        for name, result in [("create", self.create()[0]), ("restore", self.restore(backup)),
                             ("verify", self.verify(backup))]:
            with self.subTest(name):
                self.assertEqual(result.returncode, KEYRING_UNAVAILABLE, result.stderr)
                self.assertIn("Schlüsselbund", result.stderr.decode())
                self.assertNotIn("leere Archivpasswort wird verwendet", result.stderr.decode())
        self.assertEqual(tree(self.storage), storage_before)
        self.assertEqual(tree(self.data), data_before)

        keyring.unlock()
        created, [second] = self.create()
        self.assertEqual(created.returncode, 0, created.stderr)
        self.assertEqual(self.verify(second).returncode, 0)
        self.assertEqual(self.verify(second, password="Archiv-7").returncode, 0)
        self.assertNotEqual(self.verify(second, password="").returncode, 0)
        self.assertEqual(self.restore(second).returncode, 0)
        self.assertEqual(tree(self.data), data_before)

    def test_a_backup_of_the_empty_password_still_opens_and_says_so(self):
        _, [empty] = self.create(password="")
        for name, result in [("verify", self.verify(empty)), ("restore", self.restore(empty))]:
            with self.subTest(name):
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertIn("ohne Archivpasswort erstellt", result.stderr.decode())

    def test_a_too_long_comment_leaves_nothing_in_the_clear(self):
        _, [sound] = self.create()
        # A damaged backup of another time, and what earlier versions left
        # in the clear beside both.
        damaged = self.storage / "Backup_2020-01-01_10-00-00.halvorn"
        damaged.write_bytes(pathlib.Path(sound).read_bytes()[:-32])
        plain = b"PK\x03\x04 the data folder in the clear"
        beside_sound = self.storage / (".Backup_" + pathlib.Path(sound).stem[7:] + ".zip")
        beside_damaged = self.storage / ".Backup_2020-01-01_10-00-00.zip"
        for leftover in (beside_sound, beside_damaged):
            leftover.write_bytes(plain)

        result, [backup] = self.create(comment="x" * 4001)
        self.assertEqual(result.returncode, 1)
        self.assertIn("4000 Zeichen", result.stderr.decode())
        self.assertFalse(beside_sound.exists())
        self.assertTrue(beside_damaged.exists())
        beside_damaged.unlink()
        starts = {p.name: p.read_bytes()[:4] for p in self.storage.iterdir()}
        self.assertNotIn(b"PK\x03\x04", starts.values(), starts)
        self.assertIn(pathlib.Path(backup).name, starts)

    def test_no_core_dump_can_be_written(self):
        _, hard = resource.getrlimit(resource.RLIMIT_CORE)
        if hard == 0:
            self.skipTest("SKIP core dumps are already off for every process here")

        def allow_core_dumps():
            resource.setrlimit(resource.RLIMIT_CORE, (hard, hard))

        # Waits for its password on standard input meanwhile.
        process = subprocess.Popen([TOOL, "verify", "--backup", "x", "--password-file", "-"],
                                   stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, preexec_fn=allow_core_dumps,
                                   env=dict(os.environ, HOME=str(self.home)))
        try:
            self.assertTrue(keyring.wait_for_core_limit_zero(process.pid))
        finally:
            process.communicate(b"\n", timeout=30)

if __name__ == "__main__":
    unittest.main(verbosity=2)
