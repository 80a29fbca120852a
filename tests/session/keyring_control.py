"""The test keyring of scripts/with-keyring.sh, driven as a user would drive
theirs: items through secret-tool, the login collection locked through the
Secret Service and unlocked with its password through gnome-keyring's own
unlock call (no prompter can open in a test)."""
import subprocess
import time

import dbus

KEYRING_PASSWORD = "corvina-test"
LOGIN = "/org/freedesktop/secrets/collection/login"
ZIP_ITEM = ["service", "de.Corvina-Backup-Manager.ZipPassword", "account", "zipPassword"]
MASTER_ITEM = ["service", "de.Corvina-Backup-Manager.MasterPassword", "account", "masterPassword"]


def store(attributes, value):
    subprocess.run(["secret-tool", "store", "--label=test", *attributes],
                   input=value.encode(), check=True)


def clear(attributes):
    subprocess.run(["secret-tool", "clear", *attributes], check=False)


def _service():
    return dbus.SessionBus().get_object("org.freedesktop.secrets", "/org/freedesktop/secrets")


def lock():
    _service().Lock([dbus.ObjectPath(LOGIN)], dbus_interface="org.freedesktop.Secret.Service")


def unlock():
    service = _service()
    _, session = service.OpenSession("plain", dbus.String("", variant_level=1),
                                     dbus_interface="org.freedesktop.Secret.Service")
    secret = dbus.Struct((session, dbus.ByteArray(b""), dbus.ByteArray(KEYRING_PASSWORD.encode()),
                          "text/plain"), signature="oayays")
    dbus.Interface(service, "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface") \
        .UnlockWithMasterPassword(dbus.ObjectPath(LOGIN), secret)


def wait_for_core_limit_zero(pid, seconds=10):
    """Whether a running process sets its core size limits to 0 within `seconds`."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        with open(f"/proc/{pid}/limits") as limits:
            for line in limits:
                if line.startswith("Max core file size") and line.split()[4:6] == ["0", "0"]:
                    return True
        time.sleep(0.05)
    return False


if __name__ == "__main__":
    import sys
    {"lock": lock, "unlock": unlock}[sys.argv[1]]()
