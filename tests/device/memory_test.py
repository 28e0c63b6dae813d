"""What an idle daemon takes on the board."""
from suite import DeviceTest

COUNTS = (1, 5, 20)
PROGRAMS = (("does nothing", "idle_nothing"), ("loop by hand", "idle_loop"), ("userlib", "idle_userlib"),
            ("userlib without certificates", "idle_userlib_nocert"), ("userlib, static", "idle_userlib_static"))

# Of all processes with this name: Rss, Pss, Private_Dirty, Private_Clean, in KiB.
SMAPS = r"""
for pid in $(pidof %s); do cat /proc/$pid/smaps; done | awk '
  $1 == "Rss:" { rss += $2 } $1 == "Pss:" { pss += $2 } $1 == "Private_Dirty:" { dirty += $2 }
  $1 == "Private_Clean:" { clean += $2 } END { print rss + 0, pss + 0, dirty + 0, clean + 0 }'"""


class Memory(DeviceTest):
    def figures(self, device, program, count):
        """Private_Dirty and Pss of so many at once, in KiB, when they have ticked twice."""
        device.check("for i in $(seq %d); do /tests/%s & done; sleep 3" % (count, program))
        running = len(device.check("pidof " + program).split())
        self.assertEqual(running, count)
        _, pss, dirty, _ = map(int, device.check(SMAPS % program).split())
        device.check("killall %s; sleep 1; rm -f /var/run/idle.*" % program)
        return dirty, pss

    def test_idle_daemons(self):
        device = self.booted()
        # So that nobody else's pages are counted as shared with phoned.
        device.check("/etc/init.d/S50phoned stop; sleep 1")
        rows = {}
        for name, program in PROGRAMS:
            rows[name] = [self.figures(device, program, count) for count in COUNTS]
        self.say("Private_Dirty / Pss in KiB, of %s daemons" % ", ".join(map(str, COUNTS)))
        for name, figures in rows.items():
            self.say("%-30s %s" % (name, "  ".join("%5d / %5d" % figure for figure in figures)))
