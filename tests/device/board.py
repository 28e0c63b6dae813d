"""A board: qemu's Malta with a 24Kf, with a shell on its serial console, and power that can be cut."""
import base64
import json
import os
import re
import select
import shlex
import shutil
import socket
import subprocess
import tempfile
import time
from pathlib import Path

from recipes import DEVICE

FLASH_SIZE = 4 << 20
ERASE_BLOCK = 64 << 10
# What the boot loader of such a board would say to the kernel: 1 MiB for itself, then /flash, which takes eight blocks, as
# the file system keeps some of them for itself.
PARTITIONS = "mtdparts=1e000000.flash:1m(boot)ro,512k(flash)"
BOOTED = "rcS: done"
# With this word on the kernel's command line, the board waits for an Enter before it looks at the flash.
HOLD = "hold"
PAGE = 4096
# Seconds. The kernel measures its clock by the board's, and waits for a moment that comes once a second and lasts for a quarter
# of a millisecond. On a machine that is busy, the emulator may not run at that moment for minutes.
BOOT = 600
# The console takes lines of 4095 characters at most.
LONGEST_LINE = 1000
# What the kernel says when it gives up, and restarts the board, which qemu takes for its end.
PANIC = re.compile(r"Kernel panic - not syncing: (.*)\n")


class BoardError(Exception):
    """The board did not do what it should."""


class TimeOut(BoardError):
    """The board did not answer in time."""


def new_flash(path):
    """A file for the board's flash: all erased."""
    path.write_bytes(b"\xff" * FLASH_SIZE)
    return path


class Board:
    """Use it in a with statement: at its end the power is cut, if the board has any.

    memory      in MiB
    flash       the file of the flash, which outlives the board; without it the flash is new, and thrown away
    disk        an image of a squashfs for /tests, or None
    transcript  the file that is told all that is said on the console
    frozen      a Frozen board that this one starts from, in place of a boot
    flash_rules a file with rules of qemu's for when writes to the flash fail (its driver blkdebug), or None

    control is a Control of the board that is on.
    """

    def __init__(self, memory=32, flash=None, disk=DEVICE / "tests.squashfs", transcript=None, frozen=None,
                 kernel_words="", flash_rules=None, arguments=()):
        self._folder = Path(tempfile.mkdtemp(prefix="board.", dir=DEVICE))
        self.flash = flash or new_flash(self._folder / "flash")
        self._transcript = open(transcript or os.devnull, "ab", buffering=0)
        # The board's real-time clock counts the same time as its processor, which the kernel measures by it.
        self._command = [
            "qemu-system-mips", "-M", "malta", "-cpu", "24Kf", "-m", str(memory), "-display", "none", "-vga", "none", "-net",
            "none", "-no-reboot", "-rtc", "clock=vm", "-monitor", "none", "-serial", "stdio", "-kernel",
            str(DEVICE / "vmlinux"), "-append",
            "console=ttyS0 panic=-1 quiet root=/dev/vda rootfstype=squashfs ro %s %s" % (PARTITIONS, kernel_words),
            "-drive", "if=pflash,format=raw,file=%s%s" % ("blkdebug:%s:" % flash_rules if flash_rules else "", self.flash)]
        for name, image in (("system", DEVICE / "root.squashfs"), ("tests", disk)):
            if image is not None:
                self._command += ["-drive", "if=none,id=%s,format=raw,readonly=on,file=%s" % (name, image),
                                  "-device", "virtio-blk-pci,drive=" + name]
        self._command += arguments
        self._frozen = frozen
        self._qemu = None
        self.control = None
        self._unread = b""
        self._commands = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.cut_power()
        self._transcript.close()
        shutil.rmtree(self._folder)

    # ---- power ----

    def power_on(self, timeout=BOOT):
        """Returns what is said on the console until there is a shell."""
        self.note("power on")
        self.start()
        said = self.read_until(BOOTED, timeout)
        self.send("stty -echo; PS1=; PS2=; echo @shell@")
        self.read_until("\n@shell@", timeout)
        return said

    def start(self):
        """Power on, without waiting for anything."""
        self._unread = b""
        command = list(self._command)
        if self._frozen is not None:
            state = self._folder / "state"
            self._frozen.write_with(self.flash, state)
            command += ["-incoming", "exec:cat %s" % shlex.quote(str(state))]
        ours, theirs = socket.socketpair()
        self.control = Control(ours)
        command += ["-chardev", "socket,id=control,fd=%d" % theirs.fileno(), "-mon", "chardev=control,mode=control"]
        # Whatever ends this process takes the board along.
        command = ["setpriv", "--pdeathsig", "KILL", *command]
        self._qemu = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                      pass_fds=[theirs.fileno()])
        theirs.close()
        if self._frozen is not None:
            self._thaw()

    def _thaw(self, timeout=120):
        """Presses Enter until the board echoes one. It hears nothing before qemu has read all of its state."""
        deadline = time.monotonic() + timeout
        while not select.select([self._qemu.stdout], [], [], 0.1)[0]:
            if time.monotonic() > deadline:
                raise TimeOut("the frozen board does not go on within %d s" % timeout)
            self.send("")

    def serve_person(self):
        """Gives the console to whoever sits at this terminal, until the power goes."""
        words = ["mon:stdio" if word == "stdio" else word for word in self._command]
        return subprocess.call(words)

    def is_on(self):
        return self._qemu is not None and self._qemu.poll() is None

    def cut_power(self):
        """From one instruction to the next. What has reached the flash stays there."""
        if self._qemu is None:
            return
        self._qemu.kill()
        self._qemu.wait()
        self._qemu.stdin.close()
        self._qemu.stdout.close()
        self._qemu = None
        self.control.close()
        self.note("power cut")

    def power_off(self, timeout=60):
        """As an operator would. Returns what the board says about it."""
        self.send("poweroff")
        said = self.read_until(None, timeout)
        self._qemu.wait(timeout)
        self.cut_power()
        return said

    # ---- console ----

    def note(self, text):
        self._transcript.write(("\n---- %s ----\n" % text).encode())

    def send(self, text):
        try:
            self._qemu.stdin.write(text.encode() + b"\n")
            self._qemu.stdin.flush()
        except BrokenPipeError:
            raise BoardError("the board went off before it could be told %r" % text) from None

    def read_until(self, text, timeout, name=None):
        """Returns what is said up to a text, without it; without a text, up to the end of the power. An error gives what
        was waited for that name."""
        wanted = None if text is None else text.encode()
        name = name or ("the end of the power" if text is None else repr(text))
        deadline = time.monotonic() + timeout
        while True:
            if wanted is not None and wanted in self._unread:
                said, _, self._unread = self._unread.partition(wanted)
                return said.decode(errors="replace").replace("\r", "")
            wait = deadline - time.monotonic()
            if wait <= 0 or not select.select([self._qemu.stdout], [], [], wait)[0]:
                raise TimeOut("waited %d s in vain for %s%s" % (timeout, name, self._last_words()))
            piece = os.read(self._qemu.stdout.fileno(), 65536)
            if not piece:
                panic = PANIC.search(self.said())
                if panic:
                    raise BoardError("the kernel gave up before %s: %s" % (name, panic.group(1)))
                if wanted is not None:
                    raise BoardError("the board went off before %s%s" % (name, self._last_words()))
                said, self._unread = self.said(), b""
                return said
            self._transcript.write(piece.replace(b"\r", b""))
            self._unread += piece

    def said(self):
        """What is said on the console and belongs to no answer yet."""
        return self._unread.decode(errors="replace").replace("\r", "")

    def _last_words(self):
        return "; the last that was said: %r" % self.said()[-400:]

    def run(self, command, timeout=60):
        """Runs a command, which may have several lines, in a shell of the board. Returns its exit status and what was
        printed, the kernel's messages included."""
        self._commands += 1
        mark = "@%d@" % self._commands
        self._transcript.write(("\n# %s\n" % command).encode())
        if "\n" in command or len(command) > LONGEST_LINE:
            self.put("/var/tmp/command", command + "\n")
            command = "sh /var/tmp/command"
        # The mark must not be found in an echo of the line that makes it.
        self.send("%s\necho \"@%d\"@$?@" % (command, self._commands))
        said = self.read_until(mark, timeout, "the end of %r" % command)
        status = int(self.read_until("@", timeout))
        self.read_until("\n", timeout)
        return status, said

    def check(self, command, timeout=60):
        """As run(), for what has to succeed. Returns what was printed, without blanks at its ends."""
        status, said = self.run(command, timeout)
        if status != 0:
            raise BoardError("%s: exit status %d: %s" % (command, status, said.strip()))
        return said.strip()

    def put(self, path, text):
        """Writes a file on the board, by the console, which takes short lines only, and control characters for itself."""
        lines = base64.encodebytes(text.encode()).decode()
        self.send("base64 -d >%s <<@\n%s@\necho \"@\"written@" % (shlex.quote(path), lines))
        self.read_until("@written@", 60, "%s to be written" % path)
        self.read_until("\n", 60)


class Frozen:
    """A board that has booted up to where it looks at the flash for the first time. Boards can start from there, each with
    a flash of its own: nothing that comes before depends on it, and takes most of the time of a boot."""

    def __init__(self, folder, **options):
        # Each page of the flash says which it is, so that it can be found in what qemu writes.
        self._state = folder / "frozen"
        flash = folder / "frozen.flash"
        flash.write_bytes(b"".join(self._mark(page) for page in range(FLASH_SIZE // PAGE)))
        with Board(flash=flash, kernel_words=HOLD, **options) as device:
            device.start()
            device.read_until("rcS: holding", 120)
            time.sleep(0.2)
            device.control.execute("migrate", uri="exec:cat >%s" % shlex.quote(str(self._state)))
            device.control.wait_for_migration()
        self._state = self._state.read_bytes()
        self._places = [self._state.find(self._mark(page)) for page in range(FLASH_SIZE // PAGE)]
        # The first page is the boot loader's, which qemu writes itself.
        if any(place < 0 for place in self._places[1:]):
            raise BoardError("the frozen board has no flash")

    @staticmethod
    def _mark(page):
        return (b"page %08d of the flash; " % page * PAGE)[:PAGE]

    def write_with(self, flash, path):
        """Writes the board with the content of a file for its flash."""
        state = bytearray(self._state)
        content = flash.read_bytes()
        for page, place in enumerate(self._places):
            if place >= 0:
                state[place:place + PAGE] = content[page * PAGE:(page + 1) * PAGE]
        path.write_bytes(state)


class Control:
    """What qemu itself can be told (QMP), by a socket."""

    def __init__(self, connected):
        self._socket = connected
        self._socket.settimeout(60)
        self._lines = self._socket.makefile("r", encoding="utf-8")
        self._is_ready = False

    def close(self):
        self._lines.close()
        self._socket.close()

    def execute(self, command, **arguments):
        if not self._is_ready:
            self._is_ready = True
            self.execute("qmp_capabilities")
        self._socket.sendall(json.dumps({"execute": command, "arguments": arguments}).encode())
        while True:
            answer = json.loads(self._lines.readline())
            if "error" in answer:
                raise BoardError("qemu refuses %s: %s" % (command, answer["error"]["desc"]))
            if "return" in answer:  # all else is a greeting, or tells what has happened meanwhile
                return answer["return"]

    def type(self, line):
        """A line for qemu's monitor."""
        return self.execute("human-monitor-command", **{"command-line": line})

    def wait_for_migration(self):
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            status = self.execute("query-migrate").get("status")
            if status == "completed":
                return
            if status == "failed":
                break
            time.sleep(0.05)
        raise BoardError("qemu cannot freeze the board")


def strip_kernel_messages(text):
    """What programs have said, without the lines that the kernel says in between."""
    return "\n".join(line for line in text.splitlines() if not re.match(r"\[ *\d+\.\d+\] ", line))
