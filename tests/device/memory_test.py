"""What idle daemons take of the board's memory."""
import idle
from suite import DeviceTest

COUNTS = (1, 5, 20)
FURTHER = "each further one"
# KiB of private memory: for the first one, and for each further one.
AIM, FURTHER_AIM = 124, 62
WITHIN_AIM, WITHIN_FURTHER_AIM = (idle.NO_CERTIFICATES, idle.STATIC, idle.ALL_STATIC), (idle.ALL_STATIC,)
SHARE, FEW = 0.05, 8  # how far from docs/footprint.md a figure may be: a share, or two pages

# Of all processes with this name: Private_Dirty and Pss, in KiB. What runs meanwhile shares the C library, so awk comes later.
SMAPS = r"""
for pid in $(pidof %s); do cat /proc/$pid/smaps; done >/var/smaps
awk '$1 == "Private_Dirty:" { dirty += $2 } $1 == "Pss:" { pss += $2 } END { print dirty + 0, pss + 0 }' /var/smaps"""


class Memory(DeviceTest):
    def figures(self, device, program, count):
        """Private_Dirty and Pss of so many at once, in KiB, when they have ticked twice."""
        device.check("for i in $(seq %d); do /tests/%s & done; sleep 3" % (count, program))
        running = len(device.check("pidof " + program).split())
        self.assertEqual(running, count)
        dirty, pss = map(int, device.check(SMAPS % program).split())
        device.check("killall %s; sleep 1; rm -f /var/run/idle.*" % program)
        return dirty, pss

    def row(self, device, program):
        figures = {count: self.figures(device, program, count) for count in COUNTS}
        first, last = figures[COUNTS[0]][0], figures[COUNTS[-1]][0]
        return {**{str(count): "%d / %d" % figure for count, figure in figures.items()},
                FURTHER: round((last - first) / (COUNTS[-1] - COUNTS[0]))}

    def test_idle_daemons(self):
        device = self.booted()
        # So that nobody else's pages are counted as shared with phoned.
        device.check("/etc/init.d/S50phoned stop; sleep 1")
        rows = {name: self.row(device, program) for name, program in idle.PROGRAMS.items()}
        self.check_table("board_memory", rows, SHARE, FEW)
        for name in WITHIN_AIM:
            self.assertLessEqual(int(rows[name]["1"].split()[0]), AIM, name)
        for name in WITHIN_FURTHER_AIM:
            self.assertLessEqual(rows[name][FURTHER], FURTHER_AIM, name)
