"""How many instructions a daemon takes on the board until it is ready."""
import idle
from counting import CountingBoard, NANOSECONDS
from suite import DeviceTest

STARTS = 9
SHARE, FEW = 0.03, 20  # how far from docs/footprint.md a figure may be: a share, or so many thousands
PHONED = "%s --foreground --port 0 --ini /var/start.ini"
COMMANDS = {
    **{name: "/tests/" + program for name, program in idle.PROGRAMS.items()},
    "phoned": PHONED % "/usr/sbin/phoned",
    "phoned, all static": PHONED % "/tests/phoned_all_static",
}


class Start(DeviceTest):
    def thousands(self, device, command):
        """Of instructions: the fewest of several starts. A tick of the kernel or an unlucky address makes them more."""
        # The first starts wait for the disk, and each brings more of the program into memory.
        device.run("for i in $(seq 20); do /tests/start 1 %s && break; done" % command)
        scale, *counts = device.check("/tests/start %d %s" % (STARTS, command)).splitlines()
        # If the clock did not count instructions, the figures would mean nothing.
        self.assertAlmostEqual(float(scale.split()[0]) / NANOSECONDS, 1, delta=0.001)
        self.assertEqual(len(counts), STARTS)
        return round(min(map(int, counts)) / 1000)

    def test_start(self):
        device = self.booted(kind=CountingBoard)
        device.check("/etc/init.d/S50phoned stop; sleep 1")
        rows = {name: {"until it waits": self.thousands(device, command)} for name, command in COMMANDS.items()}
        self.check_table("board_start", rows, SHARE, FEW)
