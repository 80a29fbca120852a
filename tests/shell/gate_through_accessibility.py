#!/usr/bin/python3
"""The unlock gate of the real window program, under Xvfb, against the real
keyring of its session, read through the accessibility tree as a screen
reader reads it. It must fail closed: a held Return key, a locked keyring
and a keyring that is gone never open a program that has a master password.
Runs inside its own keyring session: bash scripts/with-keyring.sh."""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import pyatspi

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "session"))
import keyring_control as keyring  # noqa: E402

PROGRAM = sys.argv.pop(1)
MASTER = "Geheim-42"
GATE_INPUT = "Master-Passwort eingeben"
TILE = "Erstellen"


def names(node, found=None):
    """Every accessible name in the tree below `node`."""
    found = set() if found is None else found
    try:
        if node.name:
            found.add(node.name)
        for index in range(node.childCount):
            names(node.getChildAtIndex(index), found)
    except Exception:  # a node that went while it was read
        pass
    return found


def xdotool(*arguments):
    return subprocess.run(["xdotool", *arguments], capture_output=True, text=True).stdout.strip()


class GateThroughAccessibility(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.runtime = pathlib.Path(os.environ["XDG_RUNTIME_DIR"])
        display_file = cls.runtime / "display"
        with open(display_file, "w") as out:
            cls.xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(out.fileno()), "-screen", "0",
                                         "1280x800x24", "-nolisten", "tcp"],
                                        pass_fds=[out.fileno()], stderr=subprocess.DEVNULL)
        for _ in range(100):
            if display_file.read_text().strip():
                break
            time.sleep(0.1)
        os.environ["DISPLAY"] = ":" + display_file.read_text().strip()
        # The keyring's prompter was started without a display: no unlock
        # prompt can open, as under a timer or on a locked screen.
        cls.atspi = subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
        time.sleep(1)

    @classmethod
    def tearDownClass(cls):
        for process in (cls.atspi, cls.xvfb):
            process.terminate()
            process.wait()

    def setUp(self):
        self.config = pathlib.Path(tempfile.mkdtemp())
        self.app = None

    def tearDown(self):
        if self.app:
            self.app.kill()
            self.app.wait()
        shutil.rmtree(self.config)

    def set_flag(self):
        settings = self.config / "de.Corvina-Backup-Manager" / "Corvina-Backup-Manager.conf"
        settings.parent.mkdir(parents=True)
        settings.write_text("[General]\nhasMasterPassword=true\n")

    def start(self):
        environment = dict(os.environ, XDG_CONFIG_HOME=str(self.config), QT_QPA_PLATFORM="xcb",
                           QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.app = subprocess.Popen([PROGRAM], env=environment, stdout=subprocess.DEVNULL,
                                    stderr=subprocess.DEVNULL)
        for _ in range(1200):
            window = xdotool("search", "--onlyvisible", "--pid", str(self.app.pid))
            if window:
                # Without a window manager nobody gives the window the keyboard.
                xdotool("windowfocus", "--sync", window.splitlines()[0])
                return
            time.sleep(0.05)
        self.fail("the window never appeared")

    def shown(self, seconds=30):
        """The names the program shows, once its tree is there."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            for app in pyatspi.Registry.getDesktop(0):
                if app and app.get_process_id() == self.app.pid:
                    found = names(app)
                    if GATE_INPUT in found or TILE in found:
                        return found
            time.sleep(0.2)
        return set()

    def wait_for(self, name, seconds=30):
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            if name in self.shown():
                return True
            time.sleep(0.2)
        return False

    def type_password(self):
        xdotool("type", "--delay", "20", MASTER)
        xdotool("key", "Return")

    def test_held_return_never_opens_and_the_password_does(self):
        keyring.store(keyring.MASTER_ITEM, MASTER)
        self.start()
        self.assertTrue(keyring.wait_for_core_limit_zero(self.app.pid))
        deadline = time.monotonic() + 4
        while time.monotonic() < deadline:
            xdotool("key", "Return")
            time.sleep(0.03)
        shown = self.shown()
        self.assertIn(GATE_INPUT, shown)
        self.assertNotIn(TILE, shown)
        self.type_password()
        self.assertTrue(self.wait_for(TILE))

    def test_locked_keyring_keeps_the_gate_shut_until_unlocked(self):
        keyring.store(keyring.MASTER_ITEM, MASTER)
        self.set_flag()
        keyring.lock()
        self.start()
        self.assertTrue(self.wait_for(KEYRING_NOTICE_FULL))
        self.type_password()
        time.sleep(2)
        self.assertNotIn(TILE, self.shown())
        keyring.unlock()
        self.type_password()
        self.assertTrue(self.wait_for(TILE))

    def test_stopped_keyring_opens_only_a_program_without_master_password(self):
        keyring.store(keyring.MASTER_ITEM, MASTER)
        owner = subprocess.run(
            ["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
             "/org/freedesktop/DBus", "--method",
             "org.freedesktop.DBus.GetConnectionUnixProcessID", "org.freedesktop.secrets"],
            capture_output=True, text=True, check=True).stdout
        os.kill(int(owner.strip("()\n, ").split()[-1]), signal.SIGKILL)

        self.set_flag()
        self.start()
        self.assertTrue(self.wait_for(KEYRING_NOTICE_FULL))
        self.assertNotIn(TILE, self.shown())
        self.app.kill()
        self.app.wait()

        shutil.rmtree(self.config / "de.Corvina-Backup-Manager")
        self.start()
        self.assertTrue(self.wait_for(TILE))


KEYRING_NOTICE_FULL = ("Der Schlüsselbund ist gesperrt oder nicht erreichbar. Entsperre ihn und "
                       "drücke dann die Eingabetaste.")

if __name__ == "__main__":
    unittest.main(verbosity=2, failfast=False)
