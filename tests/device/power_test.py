"""The power fails while phoned writes to the flash: what is there after the next boot is the old or the new, and whole, as
phoned writes a new file beside the old one."""
import os
import random
import re
import threading
import time

import board
from suite import DeviceTest

CUTS = int(os.environ.get("DEVICE_CUTS", "200"))
SEED = int(os.environ.get("DEVICE_SEED", str(int(time.time()))))
LANES = 2  # boards at a time
CHANGES = 60  # of the flash, at most, until the power fails

INI = "/flash/phoned.ini"
MASKS = ("48", "1023")
MODULES = ("TraceLevel", "Phoned", "Line", "DialPlan", "Console")
DEFAULT_MASK = "113"
# What phoned says of an init file that is damaged, in the log that starts with each boot.
DAMAGED = re.compile(r" phoned\[\d+\]: .*init file .* is damaged; starting with the default masks")
# What qemu says of a change that does not reach the flash.
REFUSED = "Could not update PFLASH"

# What keeps the flash busy: an operator who saves by way of a FIFO, as fast as phoned takes it, ...
SAVES = "while :; do echo 'tr changeall %s'; echo 'tr save'; echo 'tr changeall %s'; echo 'tr save'; done >/var/orders" % MASKS
# ... or one who starts phoned again and again, which writes its pid file, and saves each time.
STARTS = """while :; do
  phonectl console /var/run/phoned.console 'tr changeall %s'; phonectl console /var/run/phoned.console 'tr save'
  phonectl console /var/run/phoned.console stop; sleep 0.1; /etc/init.d/S50phoned start-alone
done >/dev/null 2>&1""" % MASKS[1]

# After a boot: the init file, what phoned has read of it, its pid and what its pid file says, what it has logged, and the
# flash. Init may take a second to reap the child that started the daemon; a zombie has no program.
LOOK = """
cat %s; echo @masks
phonectl console /var/run/phoned.console 'tr show'; echo @pid
echo $(for pid in $(pidof phoned); do [ ! -e /proc/$pid/exe ] || echo $pid; done); cat /flash/run/phoned.pid; echo; echo @log
logread | grep phoned; echo @flash
ls -al /flash /flash/run | cat""" % INI


def file_with(mask):
    rows = ['%d;"%s";%s' % (i, module, mask) for i, module in enumerate(MODULES)]
    return "[TraceLevelInit Version]\n1\n\n[Level]\n" + "\n".join(rows) + "\n\n"


def rules_for(changes):
    """qemu's rules for a flash that takes so many changes, counted from a flush on, and no more."""
    rules = ["""[set-state]\nstate = "1"\nevent = "flush_to_os"\nnew_state = "2"\n"""]
    rules += ["""[set-state]\nstate = "%d"\nevent = "pwritev"\nnew_state = "%d"\n""" % (state, state + 1)
              for state in range(2, changes + 2)]
    rules += ["""[inject-error]\nstate = "%d"\nevent = "pwritev"\nerrno = "5"\nonce = "off"\n""" % (changes + 2)]
    return "\n".join(rules)


class Lane(threading.Thread):
    """A board whose power is cut again and again, each time while it changes the flash: after so many changes all others
    fail, as those would that come when the power has gone. A time alone would pass before anything is written, on a machine
    that has other things to do."""

    def __init__(self, make_board, folder, cuts, seed):
        super().__init__()
        self.rules = folder / ("rules%d" % seed)
        self.device = make_board(flash_rules=self.rules)
        self.cuts, self.seed = cuts, seed
        self.random = random.Random(seed)
        self.problems, self.counts = [], {}

    def run(self):
        try:
            with self.device:
                self.prepare()
                for number in range(self.cuts):
                    self.cut_while_busy(number)
                    self.look(number)
        except Exception as problem:  # a thread's own would get lost
            self.problems.append("seed %d: %r" % (self.seed, problem))

    def power_on(self):
        """With a flash that takes as many changes as the next cut lets through."""
        self.changes = self.random.randint(0, CHANGES)
        self.rules.write_text(rules_for(self.changes), encoding="utf-8")
        self.device.power_on()

    def prepare(self):
        self.power_on()
        self.device.check("/etc/init.d/S50phoned stop; sleep 1; mkdir /flash/run && "
                          "echo '--fifo /var/orders --fifo-out /var/said' >/flash/phoned.options && "
                          "/etc/init.d/S50phoned start; sleep 1")
        self.device.check("phonectl console /var/run/phoned.console 'tr changeall %s' && "
                          "phonectl console /var/run/phoned.console 'tr save' && cat %s" % (MASKS[0], INI))

    def cut_while_busy(self, number):
        name, busy = ("saves", SAVES) if self.random.random() < 0.7 else ("starts", STARTS)
        self.device.note("cut %d of seed %d: after %d changes by %s" % (number, self.seed, self.changes, name))
        self.device.put("/var/busy", busy + "\n")
        self.device.control.type("qemu-io pflash0 flush")
        self.device.send("sh /var/busy &")
        self.device.read_until(REFUSED, 120)
        self.device.cut_power()

    def look(self, number):
        self.power_on()
        said = board.strip_kernel_messages(self.device.run(LOOK)[1])
        verdict = self.judge(said)
        self.counts[verdict] = self.counts.get(verdict, 0) + 1
        if verdict.startswith("WRONG"):
            self.problems.append("cut %d of seed %d: %s:\n%s" % (number, self.seed, verdict, said))

    def judge(self, said):
        file, rest = said.lstrip("\n").split("@masks\n", 1)
        shown, rest = rest.split("@pid\n", 1)
        pids, rest = rest.split("@log\n", 1)
        log = rest.split("@flash\n", 1)[0]
        masks = dict(re.findall(r"handle +\d+ : (\w+) +level : (\d+)", shown))
        running, _, written = pids.strip().partition("\n")
        if sorted(masks) != sorted(MODULES):
            return "WRONG: phoned does not answer"
        if running != written.strip():
            return "WRONG: the pid file says %r, and phoned is %r" % (written, running)
        says_damaged = DAMAGED.search(log) is not None
        mask = next((mask for mask in MASKS if file == file_with(mask)), None)
        if mask is None:
            return "WRONG: a torn file, " + ("and phoned says so" if says_damaged else "without a word of it")
        if says_damaged:
            return "WRONG: a whole file is called damaged"
        if set(masks.values()) != {mask}:
            return "WRONG: a whole file is not taken"
        return "whole, mask " + mask


class PowerCut(DeviceTest):
    def test_power_cut(self):
        self.say("seed %d (DEVICE_SEED), %d cuts (DEVICE_CUTS)" % (SEED, CUTS))
        start = time.monotonic()
        folder = self.folder()
        frozen = board.Frozen(folder)
        lanes = [Lane(lambda which=i, **options: self.board(".lane%d" % which, frozen=frozen, **options), folder,
                      CUTS // LANES + (i < CUTS % LANES), SEED + i) for i in range(LANES)]
        for lane in lanes:
            lane.start()
        for lane in lanes:
            lane.join()
        counts = {}
        for lane in lanes:
            for verdict, count in lane.counts.items():
                counts[verdict] = counts.get(verdict, 0) + count
        for verdict, count in sorted(counts.items()):
            self.say("%d x %s" % (count, verdict))
        self.say("%.1f s a cut" % ((time.monotonic() - start) / max(CUTS, 1)))
        problems = [problem for lane in lanes for problem in lane.problems]
        self.assertEqual(len(problems), 0, "\n".join(problems[:3]))
        self.assertEqual(sum(counts.values()), CUTS)

    def test_what_a_power_cut_leaves(self):
        """An init file that is torn, and a pid file with a number that is another process's after the boot."""
        flash = board.new_flash(self.folder() / "flash")
        with self.board(flash=flash) as device:
            device.power_on()
            device.check("/etc/init.d/S50phoned stop; sleep 1; mkdir /flash/run && printf 1 >/flash/run/phoned.pid")
            device.put(INI, file_with(MASKS[1]).split('3;"')[0])
            device.check("sync")
            device.cut_power()
            device.power_on()
            self.assertRegex(device.check("cat /flash/run/phoned.pid"), r"^\d\d+$")
            self.assertRegex(device.check("logread | grep damaged"), DAMAGED)
            shown = device.check("phonectl console /var/run/phoned.console 'tr show'")
            self.assertEqual(re.findall(r"handle +\d+ : (\w+) +level : (\d+)", shown),
                             [(module, DEFAULT_MASK) for module in MODULES])
