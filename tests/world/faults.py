#!/usr/bin/env python3
"""Lets system calls of running daemons fail, and looks at what they make of it.

For each system call, error and moment (the first call, one in the middle, every so many), the daemon runs under strace,
which makes the call fail, while line cards, an operator and signals want something from it. A failure may cost the answer
that it hits, and the start; everything else is bad: an end by a signal, a wrong answer or one that belongs to somebody
else, a daemon that hangs or spins, a descriptor or a child that stays, files that are left behind.

    faults.py --phoned PROGRAM --daemon PROGRAM [--rounds N] [--jobs N] [--calls CALL,...] [--errors ERROR,...]

Prints a table of how many calls have failed, and of each bad cell what was seen. Ends with 1 if there is any.
With more rounds, every further one takes other moments.
"""

import argparse
import concurrent.futures
import dataclasses
import os
import random
import re
import select
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

# What the C library makes of the calls.
CALLS = {
    "select": "select,pselect6",
    "read": "read",
    "write": "write",
    "sendto": "sendto",
    "recvfrom": "recvfrom",
    "open": "open,openat",
    "socket": "socket",
    "bind": "bind",
    "accept": "accept,accept4",
    "pipe": "pipe,pipe2",
    "clone": "clone,clone3,fork,vfork",
    "wait4": "wait4",
    "unlink": "unlink,unlinkat",
    "mmap": "mmap",
}
ERRORS = ["EINTR", "EAGAIN", "ENOMEM", "EMFILE", "ENOSPC", "EIO"]
PATIENCE = 20.0  # seconds, for what has to happen; a busy machine may take its time
MOMENT = 0.1  # for what may happen


class Bad(Exception):
    """What must not be."""


def comes_true(question, patience=PATIENCE):
    end = time.monotonic() + patience
    while not question():
        if time.monotonic() > end:
            return False
        time.sleep(0.005)
    return True


def content_of(path):
    try:
        with open(path, "rb") as file:
            return file.read().decode(errors="replace")
    except OSError:
        return ""


# ---- What /proc tells about a process ----


def state_of(pid):
    """One letter, or nothing when there is no such process."""
    return content_of(f"/proc/{pid}/stat").rpartition(") ")[2][:1]


def is_running(pid):
    return state_of(pid) not in ("", "Z", "X")


def children_of(pid):
    return content_of(f"/proc/{pid}/task/{pid}/children").split()


def traced_by(tracer):
    """The processes that a tracer has, daemons among them, which are nobody's children any more."""
    for name in os.listdir("/proc"):
        if name.isdigit() and f"\nTracerPid:\t{tracer}\n" in content_of(f"/proc/{name}/status"):
            yield int(name)


def descriptors_of(pid):
    try:
        return len(os.listdir(f"/proc/{pid}/fd"))
    except OSError:
        return 0


def udp_port_of(pid):
    """The port on which the process listens; None if there is none."""
    sockets = set()
    try:
        for name in os.listdir(f"/proc/{pid}/fd"):
            sockets.add(os.readlink(f"/proc/{pid}/fd/{name}"))
    except OSError:
        pass
    for row in content_of(f"/proc/{pid}/net/udp").splitlines()[1:]:
        words = row.split()
        if f"socket:[{words[9]}]" in sockets:
            return int(words[1].partition(":")[2], 16)
    return None


def effort_of(pid):
    """Processor time in seconds, and how often the process has waited. Under strace, that is at each of its calls."""
    fields = content_of(f"/proc/{pid}/stat").rpartition(") ")[2].split()
    switches = re.search(r"^voluntary_ctxt_switches:\s*(\d+)", content_of(f"/proc/{pid}/status"), re.MULTILINE)
    if not fields or not switches:
        return 0.0, 0
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK"), int(switches[1])


def check_that_it_rests(pid, calls_of_its_own):
    """A daemon of which nobody wants anything does nothing but what its own timers make it do."""
    watched = 0.3
    for _ in range(10):  # what was begun before may still have its end
        before = effort_of(pid)
        time.sleep(watched)
        after = effort_of(pid)
        processor, waits = after[0] - before[0], after[1] - before[1]
        if processor < watched / 3 and waits < 40 + calls_of_its_own:
            return
    raise Bad(f"spins: {processor:.2f} s of the processor and {waits} waits in {watched} s")


# ---- Line cards ----


class Card:
    """Asks, and takes nothing for an answer but what belongs to the question."""

    def __init__(self, port):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.connect(("127.0.0.1", port))
        self.late = set()  # answers that may come at any time, once

    def close(self):
        self.socket.close()

    def has_answer(self, seconds):
        return bool(select.select([self.socket], [], [], seconds)[0])

    def receive(self):
        try:
            return self.socket.recv(2048).decode(errors="replace")
        except ConnectionRefusedError:
            raise Bad("nobody listens any more") from None

    def send(self, question):
        try:
            self.socket.send(question.encode())
        except ConnectionRefusedError:
            raise Bad("nobody listens any more") from None

    def take(self, question, answers, seconds):
        """The answer, if there is one."""
        while self.has_answer(seconds):
            answer = self.receive()
            if answer in answers:
                return answer
            if answer not in self.late:
                raise Bad(f"wrong answer to '{question}': '{answer}'")
            self.late.remove(answer)
        return None


    def takes_late(self, answer, seconds):
        while answer in self.late and self.has_answer(seconds):
            self.take("(nothing)", (), 0)
        return answer not in self.late


class Fence:
    """Tells whether a daemon that serves one datagram after the other has served all that was sent before."""

    serial = 0

    def __init__(self, port, question, answer):
        self.card = Card(port)
        self.question = question
        self.answer = answer

    def wait(self):
        Fence.serial += 1
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            self.card.send(self.question(Fence.serial))
            while self.card.has_answer(MOMENT):
                if self.card.receive() == self.answer(Fence.serial):
                    return
        raise Bad("hangs: no answer any more")


class Conversation:
    """Counts what was lost; whatever is wrong is Bad."""

    def __init__(self, fence):
        self.fence = fence
        self.lost = 0

    def ask(self, card, question, *answers):
        card.take("(nothing)", (), 0)
        card.send(question)
        answer = card.take(question, answers, MOMENT)
        if answer is None:
            self.fence.wait()
            answer = card.take(question, answers, 0)
        if answer is None:
            self.lost += 1
        return answer


# ---- The daemons ----


def ask_operator(path, line):
    """What the daemon says before it hangs up."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as console:
        console.settimeout(PATIENCE)
        text = b""
        try:
            console.connect(path)
            console.send(line.encode() + b"\n")
            while piece := console.recv(4096):
                text += piece
        except TimeoutError:
            raise Bad(f"an operator who said '{line}' is not answered") from None
        except (ConnectionError, BrokenPipeError):
            pass
        return text.decode(errors="replace")


class Phoned:
    name = "phoned"
    is_in_background = False
    calls_of_interest = set(CALLS)
    own_calls = 0
    end_at_once = ["--version"]
    serial = 0

    def __init__(self, program, directory):
        self.console = f"{directory}/console"
        self.pid_file = f"{directory}/phoned.pid"
        self.files = [self.console, self.pid_file]
        plan = f"{directory}/plan"
        with open(plan, "w") as file:
            file.write("110\n0x.T\n")
        self.command = [program, "--foreground", "--port", "0", "--run-dir", directory, "--console", self.console]
        self.command += ["--map-file", plan, "--interdigit", "60", "--statistics", "3600", "--ini", f"{directory}/none"]

    @staticmethod
    def fence(port):
        return Fence(
            port,
            lambda serial: f"250 fence{serial}",
            lambda serial: f"error unknown word 'fence{serial}': must be offhook, digit, dial or onhook",
        )

    def converse(self, pid, port, is_strict):
        """Returns how many answers were lost."""
        talk = Conversation(self.fence(port))
        cards = [Card(port), Card(port)]
        for line, card in enumerate(cards * 2):
            self.call(talk, card, line, is_strict)
        self.operate(is_strict)
        os.kill(pid, signal.SIGHUP)
        for line, card in enumerate(cards):
            self.call(talk, card, line, is_strict)
        for card in cards + [talk.fence.card]:
            card.close()
        return talk.lost

    def call(self, talk, card, line, is_strict):
        """A call that the digits decide, and one that time decides."""
        Phoned.serial += 1
        word = f"dance{Phoned.serial}"
        talk.ask(card, f"{line} {word}", f"error unknown word '{word}': must be offhook, digit, dial or onhook")
        # What an event before has not reached phoned, or its answer not the card, decides what is right now.
        lifted = [] if is_strict else [f"error line {line} is off the hook already: 'onhook' comes first"]
        decided = [] if is_strict else [
            f"error line {line} is on the hook: 'offhook' comes first",
            f"error line {line} has its answer: 'onhook' comes first",
        ]
        talk.ask(card, f"{line} onhook", f"{line} idle")
        talk.ask(card, f"{line} offhook", f"{line} ready", *lifted)
        talk.ask(card, f"{line} dial 110", f"{line} complete 110 110", *decided)
        talk.ask(card, f"{line} onhook", f"{line} idle")
        talk.ask(card, f"{line} offhook", f"{line} ready", *lifted)
        # Time may decide before anybody has noticed that the answer is lost.
        outcome = f"{line} complete 0 0x.T"
        card.late.add(outcome)
        is_dialled = talk.ask(card, f"{line} dial 0", f"{line} more 0", *decided) == f"{line} more 0"
        if is_dialled and not card.takes_late(outcome, PATIENCE if is_strict else 3 * MOMENT):
            talk.lost += 1

    def operate(self, is_strict):
        for line, right in [("check 110", "complete 110 110\n"), ("run printf x", "x\nstatus 0\n"), ("dance", "command not found\n")]:
            answer = ask_operator(self.console, line)
            is_right = answer == right
            if not is_strict and not is_right:
                # The command may have met the failure, and say so; an answer may end before its end.
                is_right = right.startswith(answer) or "error: " in answer or line.startswith("run ")
            if not is_right:
                raise Bad(f"wrong answer to the operator's '{line}': {answer!r}")


class PhonedInTheBackground(Phoned):
    """Only what it does in another way is of interest: how it gets there, with its pid file, and how it ends."""

    name = "phoned in the background"
    is_in_background = True
    calls_of_interest = {"read", "write", "open", "clone", "unlink"}

    def __init__(self, program, directory):
        super().__init__(program, directory)
        self.command.remove("--foreground")


class SmallDaemon:
    """A C program on the library alone: it sends each datagram back, and counts its ticks for operators."""

    name = "small_daemon"
    is_in_background = False
    calls_of_interest = set(CALLS)
    own_calls = 60  # it ticks
    end_at_once = []  # nothing but how it is used

    def __init__(self, program, directory):
        self.console = f"{directory}/console"
        self.files = [self.console]
        self.command = [program, self.console]

    @staticmethod
    def fence(port):
        return Fence(port, lambda serial: f"fence {serial}", lambda serial: f"fence {serial}")

    def converse(self, pid, port, is_strict):
        talk = Conversation(self.fence(port))
        cards = [Card(port), Card(port)]
        for serial in range(6):
            for number, card in enumerate(cards):
                talk.ask(card, f"{number} {serial}", f"{number} {serial}")
        answer = ask_operator(self.console, "ticks")
        is_right = re.fullmatch(r"\d+ ticks\n", answer) or (not is_strict and re.fullmatch(r"\d*( t?i?c?k?s?)?", answer))
        for card in cards + [talk.fence.card]:
            card.close()
        if not is_right:
            raise Bad(f"wrong answer to the operator: {answer!r}")
        return talk.lost


# ---- One cell: a call that fails in one way at some moments ----


@dataclasses.dataclass(frozen=True)
class Fault:
    daemon: type
    program: str
    is_living: bool  # it begins when the daemon is up; otherwise with the process
    call: str
    error: str
    when: str  # as strace takes it

    def options(self, log):
        calls = CALLS[self.call]
        return ["strace", "-f", "-o", log, "-e", f"trace={calls}", "-e", "signal=none", "-e",
                f"inject={calls}:error={self.error}:when={self.when}"]

    def __str__(self):
        period = "while it runs" if self.is_living else "from start to end"
        return f"{self.daemon.name}: {self.call} {self.error} when={self.when} {period}"


class Run:
    """A daemon in a directory of its own, under strace or not. Whatever it was, nothing of it is left in the end."""

    def __init__(self, daemon, program, strace=()):
        self.directory = tempfile.mkdtemp(prefix="faults.")
        self.daemon = daemon(program, self.directory)
        with open(f"{self.directory}/out", "w") as out, open(f"{self.directory}/err", "w") as err:
            self.process = subprocess.Popen([*strace, *self.daemon.command], stdin=subprocess.DEVNULL, stdout=out,
                                            stderr=err, start_new_session=True)
        self.is_traced = bool(strace)
        self.pid = None
        self.port = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for pid in [*traced_by(self.process.pid), *self.everybody(self.process.pid), self.process.pid]:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        self.process.wait()
        shutil.rmtree(self.directory, ignore_errors=True)

    def everybody(self, pid):
        for child in children_of(pid):
            yield from self.everybody(child)
            yield int(child)

    def find_daemon(self):
        """None while there is none, or it has not detached yet."""
        if not self.is_traced:
            return self.process.pid
        daemons = list(traced_by(self.process.pid))
        if self.daemon.is_in_background:
            daemons = [pid for pid in daemons if str(pid) == content_of(self.daemon.pid_file)]
        return daemons[0] if len(daemons) == 1 else None

    def is_up(self):
        """False: it has ended."""

        def decided():
            self.pid = self.find_daemon()
            self.port = self.pid and udp_port_of(self.pid)
            if self.port and all(os.path.exists(file) for file in self.daemon.files):
                return True
            return self.process.poll() is not None

        if not comes_true(decided):
            raise Bad(f"hangs at the start: {self.said()}")
        return self.process.poll() is None

    def said(self):
        lines = content_of(f"{self.directory}/out").splitlines()[-2:] + content_of(f"{self.directory}/err").splitlines()[-3:]
        return " | ".join(lines)

    def end(self):
        """Returns the exit status."""
        os.kill(self.pid, signal.SIGTERM)
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            raise Bad("TERM does not end it") from None
        # strace ends like the process that it has started; the daemon may be another one.
        ends = re.findall(rf"^{self.pid} +\+\+\+ exited with (\d+)", content_of(f"{self.directory}/log"), re.MULTILINE)
        return int(ends[0]) if ends else status

    def left_behind(self):
        return [os.path.basename(file) for file in self.daemon.files if os.path.lexists(file)]


class Tracer:
    """strace, attached to a running daemon."""

    def __init__(self, options, pid):
        self.process = subprocess.Popen([*options, "-p", str(pid)], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE, text=True)
        line = self.process.stderr.readline()
        if "attached" not in line:
            raise RuntimeError(f"strace cannot attach: {line}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.process.stderr.close()


def hits_in(log):
    return content_of(log).count("(INJECTED)")


def check_living(run, fault):
    """Returns how many calls have failed."""
    pid, log = run.pid, f"{run.directory}/log"
    descriptors = descriptors_of(pid)
    with Tracer(fault.options(log), pid):
        lost = run.daemon.converse(pid, run.port, is_strict=False)
        if not is_running(pid):
            raise Bad(f"has ended: {run.said()}")
        check_that_it_rests(pid, run.daemon.own_calls)
    hits = hits_in(log)
    if lost > hits:
        raise Bad(f"{lost} answers are lost for {hits} failures")
    again = run.daemon.converse(pid, run.port, is_strict=True)
    if again:
        raise Bad(f"{again} answers are lost after the failures")
    if not comes_true(lambda: not children_of(pid)):
        raise Bad(f"a child stays: {children_of(pid)}, {[state_of(child) for child in children_of(pid)]}")
    if not comes_true(lambda: descriptors_of(pid) == descriptors):
        raise Bad(f"{descriptors} descriptors have become {descriptors_of(pid)}")
    return hits


def check_whole_life(run, fault):
    log = f"{run.directory}/log"
    # In the background it tells nobody but the system log.
    is_heard = fault.call != "write" and not run.daemon.is_in_background
    if not run.is_up():
        status, hits = run.process.returncode, hits_in(log)
        if status < 0 or status > 127:
            raise Bad(f"ends with {status} at the start: {run.said()}")
        if status == 0:
            raise Bad(f"ends at the start with success: {run.said()}")
        if not run.said() and fault.call != "write":  # before it has detached
            raise Bad("does not say why it cannot start")
    else:
        run.daemon.converse(run.pid, run.port, is_strict=False)
        check_that_it_rests(run.pid, run.daemon.own_calls)
        status, hits = run.end(), hits_in(log)
        if status not in (0, 1):
            raise Bad(f"ends with {status}: {run.said()}")
        if status == 1 and is_heard and not content_of(f"{run.directory}/err"):
            raise Bad("fails at the end, and does not say why")
    left = run.left_behind()
    if left and (status == 0 or (is_heard and not any(name in run.said() for name in left))):
        raise Bad(f"leaves {', '.join(left)} behind, with status {status}: {run.said()}")
    return hits


def check_group(faults):
    """The faults of one call and error. Returns a pair for each: how often it has hit, and what was bad, if anything."""
    results = []
    run = None
    for fault in faults:
        bad = None
        hits = 0
        try:
            if fault.is_living:
                if run is None:
                    run = Run(fault.daemon, fault.program)
                    if not run.is_up() or run.daemon.converse(run.pid, run.port, is_strict=True):
                        raise RuntimeError("a daemon without faults does not do what it should")
                hits = check_living(run, fault)
            else:
                with (tempfile.TemporaryDirectory(prefix="faults.") as logs,
                      Run(fault.daemon, fault.program, fault.options(f"{logs}/log")) as life):
                    os.symlink(f"{logs}/log", f"{life.directory}/log")
                    hits = check_whole_life(life, fault)
        except Bad as found:
            bad = str(found)
        results.append((fault, hits, bad))
        if bad and run:
            run.__exit__()
            run = None
    if run:
        results.append(end_of_living(run, faults[-1]))
    return results


def end_of_living(run, fault):
    bad = None
    with run:
        try:
            status = run.end()
            if status != 0 or run.left_behind():
                bad = f"ends with {status} and leaves {run.left_behind()} behind: {run.said()}"
        except Bad as found:
            bad = str(found)
    return fault, 0, bad


# ---- The table ----


def count_calls(daemon, program):
    """How often each call is made from start to end, by the run-time linker before, and while the daemon runs."""

    def counts_of(log):
        text = content_of(log)
        return {call: len(re.findall(rf"^\d+ +({names.replace(',', '|')})\(", text, re.MULTILINE))
                for call, names in CALLS.items()}

    everything = "trace=" + ",".join(CALLS.values())
    with tempfile.TemporaryDirectory(prefix="faults.") as directory:
        log = f"{directory}/log"
        subprocess.run(["strace", "-f", "-o", log, "-e", everything, program, *daemon.end_at_once], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False, timeout=PATIENCE)
        linker = counts_of(log)
        with Run(daemon, program, ["strace", "-f", "-o", log, "-e", everything]) as run:
            run.is_up()
            run.daemon.converse(run.pid, run.port, is_strict=True)
            run.end()
        life = counts_of(log)
        if daemon.is_in_background:
            return linker, life, {}
        with Run(daemon, program) as run:
            run.is_up()
            with Tracer(["strace", "-f", "-o", log, "-e", everything], run.pid):
                run.daemon.converse(run.pid, run.port, is_strict=True)
        living = counts_of(log)
    return linker, life, living


def moments(before, count, chance):
    """The first call, one in the middle and every so many; by chance in all rounds but the first."""
    if count == 0:
        return []
    if chance is None:
        return [f"{before + 1}", f"{before + (count + 1) // 2}"] + ([f"{before + 2}+3"] if count > 1 else [])
    return [f"{before + chance.randint(1, count)}", f"{before + chance.randint(1, min(count, 5))}+{chance.randint(2, 9)}"]


def faults_of(daemon, program, options, chance):
    linker, life, living = count_calls(daemon, program)
    for call in options.calls:
        if call not in daemon.calls_of_interest:
            continue
        for error in options.errors:
            running = moments(0, living[call], chance) if not daemon.is_in_background else []
            yield [Fault(daemon, program, True, call, error, when) for when in dict.fromkeys(running)]
            whole = moments(linker[call], life[call] - linker[call], chance)
            yield [Fault(daemon, program, False, call, error, when) for when in dict.fromkeys(whole)]


def show(results, options):
    for daemon in (Phoned, PhonedInTheBackground, SmallDaemon):
        print(f"\n{daemon.name}\n{'':12}" + "".join(f"{error:>14}" for error in options.errors))
        for call in [call for call in options.calls if call in daemon.calls_of_interest]:
            row = f"{call:12}"
            for error in options.errors:
                cell = [r for r in results if (r[0].daemon, r[0].call, r[0].error) == (daemon, call, error)]
                bad = sum(1 for r in cell if r[2])
                hits = sum(r[1] for r in cell)
                text = f"{bad} BAD" if bad else f"{hits} failed" if cell else "not called"
                row += f"{text:>14}"
            print(row)
    for fault, _, bad in results:
        if bad:
            print(f"BAD: {fault}: {bad}")


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--phoned", required=True, metavar="PROGRAM")
    parser.add_argument("--daemon", required=True, metavar="PROGRAM", help="the small daemon in C")
    parser.add_argument("--rounds", type=int, default=1, metavar="N")
    parser.add_argument("--jobs", type=int, default=8, metavar="N", help="so many daemons at the same time (8)")
    parser.add_argument("--calls", type=lambda text: text.split(","), default=list(CALLS), metavar="CALL,...")
    parser.add_argument("--errors", type=lambda text: text.split(","), default=ERRORS, metavar="ERROR,...")
    return parser.parse_args()


def main():
    options = parse_options()
    start = time.monotonic()
    results = []
    programs = [(Phoned, options.phoned), (PhonedInTheBackground, options.phoned), (SmallDaemon, options.daemon)]
    with concurrent.futures.ProcessPoolExecutor(options.jobs) as pool:
        for number in range(options.rounds):
            chance = random.Random(number) if number > 0 else None
            groups = [group for daemon, program in programs
                      for group in faults_of(daemon, program, options, chance) if group]
            for group in pool.map(check_group, groups):
                results += group
    show(results, options)
    bad = sum(1 for _, _, bad in results if bad)
    hits = sum(hits for _, hits, _ in results)
    never = [call for call in options.calls if not any(r[1] for r in results if r[0].call == call)]
    print(f"\nfaults: {len(results)} cells, {hits} calls have failed, {bad} cells are bad, {time.monotonic() - start:.0f} s")
    if never and not bad:
        print(f"faults: {', '.join(never)} never failed: that shows nothing", file=sys.stderr)
    return 1 if bad or never else 0


if __name__ == "__main__":
    sys.exit(main())
