"""A board whose clock counts instructions: each takes four nanoseconds, about as on such boards, and a processor that waits
is taken to the next timer at once. So what is measured there is the same on any machine, however busy that is."""
import board

SHIFT = 2
NANOSECONDS = 1 << SHIFT  # per instruction
COUNTING = ("-icount", "shift=%d,sleep=off" % SHIFT, "-S")
# qemu also takes a waiting processor to the next timer between the moment when the processor's own timer fires and its
# interrupt. If no other timer is due, that is the same one again, once around: the kernel finds that no time has passed, sets
# it anew, and so on for ever. So another timer is always to be due before: that of the real-time clock, twice a second, whose
# interrupt the kernel ignores.
CLOCK_TICKS = ("o /b 0x70 0x0a", "o /b 0x71 0x2f", "o /b 0x70 0x0b", "o /b 0x71 0x42")


class CountingBoard(board.Board):
    def __init__(self, **options):
        super().__init__(arguments=COUNTING, **options)

    def start(self):
        super().start()
        for command in CLOCK_TICKS:
            self.control.type(command)
        self.control.execute("cont")
