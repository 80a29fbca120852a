"""A stand-in for fprintd on a private system bus, for python3-dbusmock:

    python3 -m dbusmock --system --template fprintd_template.py

One device with the calls the program makes. The test steers it through the
interface net.reactivated.Fprint.Test: Configure(result, enrolled) sets what
VerifyStart reports and whether a finger is enrolled; TakeCalls() returns the
device methods called so far.
"""

import dbus  # noqa: F401  (used by the method code below)
import dbusmock.mockobject

BUS_NAME = "net.reactivated.Fprint"
MAIN_OBJ = "/net/reactivated/Fprint/Manager"
MAIN_IFACE = "net.reactivated.Fprint.Manager"
SYSTEM_BUS = True

DEVICE_PATH = "/net/reactivated/Fprint/Device/0"
DEVICE_IFACE = "net.reactivated.Fprint.Device"
TEST_IFACE = "net.reactivated.Fprint.Test"

# Like the real daemon, the result comes a moment after VerifyStart returned.
# The method code runs under exec(), whose locals a lambda can't see: the
# lambda takes what it needs as default arguments.
VERIFY_START = """
self.calls.append("VerifyStart")
from gi.repository import GLib
GLib.timeout_add(50, lambda device=self, result=self.result: device.EmitSignal(
    "net.reactivated.Fprint.Device", "VerifyStatus", "sb", [result, True]) and False)
"""


def load(mock, parameters):
    mock.AddMethods(MAIN_IFACE, [
        ("GetDefaultDevice", "", "o", f'ret = dbus.ObjectPath("{DEVICE_PATH}")'),
        ("GetDevices", "", "ao", f'ret = [dbus.ObjectPath("{DEVICE_PATH}")]'),
    ])
    mock.AddObject(DEVICE_PATH, DEVICE_IFACE, {"name": "Fake reader", "scan-type": "press"}, [
        ("ListEnrolledFingers", "s", "as",
         'self.calls.append("ListEnrolledFingers")\n'
         'ret = ["right-index-finger"] if self.enrolled else []'),
        ("Claim", "s", "", 'self.calls.append("Claim")'),
        ("Release", "", "", 'self.calls.append("Release")'),
        ("VerifyStart", "s", "", VERIFY_START),
        ("VerifyStop", "", "", 'self.calls.append("VerifyStop")'),
    ])
    device = dbusmock.mockobject.objects[DEVICE_PATH]
    device.result = parameters.get("result", "verify-match")
    device.enrolled = parameters.get("enrolled", True)
    device.calls = []
    device.AddMethods(TEST_IFACE, [
        ("Configure", "sb", "", "self.result = str(args[0])\nself.enrolled = bool(args[1])"),
        ("TakeCalls", "", "as", "ret = list(self.calls)\nself.calls.clear()"),
    ])
