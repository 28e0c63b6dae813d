"""A day on the board, in minutes: qemu counts instructions, each takes the same time, and a processor that waits is taken to
the next timer at once. So what is measured is the same on any machine, whatever else that has to do."""
import re
import time

from counting import CountingBoard
from suite import DeviceTest

DAY = 86400
TICK = 10000  # microseconds: the kernel's, 100 a second
# Timer callbacks age no timer. What those of a turn take, with what goes with them, is 6 or 7 microseconds here; a timer in
# phase has this once in its phase, and once more each time.
TURN = 15


def timers_of(said):
    """By kind and period: how often they fired, and the least and the most that they were late."""
    rows = re.findall(r"^(once|every) (\d+) s: (\d+) times, (-?\d+) to (-?\d+) us late$", said, re.MULTILINE)
    return {(kind, int(period)): (int(fired), int(least), int(most)) for kind, period, fired, least, most in rows}


class Day(DeviceTest):
    def assert_in_time(self, said, allowed):
        """allowed says by the period how many microseconds a timer may be late by. None may be early, and none missing."""
        timers = timers_of(said)
        self.assertEqual(set(timers), {(kind, period) for kind in ("once", "every") for period in allowed}, said)
        for (kind, period), (fired, least, most) in timers.items():
            self.assertEqual(fired, 1 if kind == "once" else DAY // period, said)
            self.assertGreaterEqual(least, 0, said)
            self.assertLessEqual(most, allowed[period], said)

    def test_a_day(self):
        device = self.booted(kind=CountingBoard)
        # The watch would start two programs every other second.
        device.check("start-stop-daemon -K -q -p /var/run/phoned-watch.pid")
        start = time.monotonic()
        # Without a priority in real time, select() may let a long wait end late by up to 100 ms.
        device.check("cd /var; /tests/timers %d 1 60 3600 86400 >busy & "
                     "chrt -f 1 /tests/timers %d 3600 86400 >quiet & wait" % (DAY, DAY), 3600)
        self.say("a day took %d s" % (time.monotonic() - start))
        busy, quiet = (device.check("cat /var/" + name) for name in ("busy", "quiet"))
        self.say(busy.replace("\n", "; "))
        self.say(quiet.replace("\n", "; "))
        self.assert_in_time(quiet, {3600: TICK, 86400: TICK})
        self.assert_in_time(busy, {1: TICK, 60: TICK, 3600: TICK + 3600 * TURN, 86400: TICK + 86400 * TURN})
        said = device.check("phonectl offhook 9; phonectl dial 9 110; phonectl onhook 9")
        self.assertEqual(said, "9 ready\n9 complete 110 110\n9 idle")
