#!/usr/bin/env python3
"""Makes system calls of running daemons fail, and checks how they react.

For each system call, error and moment (the first call, one in the middle, every n-th), the daemon runs under strace,
which makes the call fail, while line cards, an operator and signals keep the daemon busy. A failure may cost the answer
that it affects, or the start. Everything else is bad: an end by a signal, an answer that is wrong or for another
question, a daemon that hangs or spins, a leaked descriptor or child, files left behind.

    faults.py --phoned PROGRAM --daemon PROGRAM [--rounds N] [--jobs N] [--calls CALL,...] [--errors ERROR,...]

Prints a table with the numbers of failed calls, and a line for each bad result. Exits with 1 if there is any.
Each further round uses other moments.
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

# The system calls that the C library may use for each call.
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
PATIENCE = 20.0  # seconds, for what must happen, even on a busy machine
MOMENT = 0.1  # for what may happen


class Bad(Exception):
    """A daemon misbehaves."""


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


# ---- Processes, as /proc shows them ----


def state_of(pid):
    """One letter, or nothing if the process does not exist."""
    return content_of(f"/proc/{pid}/stat").rpartition(") ")[2][:1]


def is_running(pid):
    return state_of(pid) not in ("", "Z", "X")


def children_of(pid):
    return content_of(f"/proc/{pid}/task/{pid}/children").split()


def traced_by(tracer):
    """The processes of a tracer, including daemons, which are no longer its descendants."""
    for name in os.listdir("/proc"):
        if name.isdigit() and f"\nTracerPid:\t{tracer}\n" in content_of(f"/proc/{name}/status"):
            yield int(name)


def descriptors_of(pid):
    try:
        return len(os.listdir(f"/proc/{pid}/fd"))
    except OSError:
        return 0


def udp_port_of(pid):
    """The UDP port that the process is bound to, or None."""
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
    """Processor time in seconds, and the number of waits. Under strace, each system call counts as a wait."""
    fields = content_of(f"/proc/{pid}/stat").rpartition(") ")[2].split()
    switches = re.search(r"^voluntary_ctxt_switches:\s*(\d+)", content_of(f"/proc/{pid}/status"), re.MULTILINE)
    if not fields or not switches:
        return 0.0, 0
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK"), int(switches[1])


def check_that_it_rests(pid, calls_of_its_own):
    """An idle daemon does nothing except for its own timers."""
    watched = 0.3
    for _ in range(10):  # earlier work may still have to finish
        before = effort_of(pid)
        time.sleep(watched)
        after = effort_of(pid)
        processor, waits = after[0] - before[0], after[1] - before[1]
        if processor < watched / 3 and waits < 40 + calls_of_its_own:
            return
    raise Bad(f"spins: {processor:.2f} s of the processor and {waits} waits in {watched} s")


# ---- Line cards ----


class Card:
    """Asks a question and accepts only answers to it."""

    def __init__(self, port):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.connect(("127.0.0.1", port))
        self.late = set()  # answers that may come once at any time

    def close(self):
        self.socket.close()

    def has_answer(self, seconds):
        return bool(select.select([self.socket], [], [], seconds)[0])

    def receive(self):
        try:
            return self.socket.recv(2048).decode(errors="replace")
        except ConnectionRefusedError:
            raise Bad("the port is closed") from None

    def send(self, question):
        try:
            self.socket.send(question.encode())
        except ConnectionRefusedError:
            raise Bad("the port is closed") from None

    def take(self, question, answers, seconds):
        """Returns the answer, if there is one."""
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
    """Checks that the daemon, which serves datagrams in order, has served all sent so far."""

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
        raise Bad("hangs: no answer")


class Conversation:
    """Counts lost answers; anything else wrong is Bad."""

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
    """Returns what the daemon prints before it closes the connection."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as console:
        console.settimeout(PATIENCE)
        text = b""
        try:
            console.connect(path)
            console.send(line.encode() + b"\n")
            while piece := console.recv(4096):
                text += piece
        except TimeoutError:
            raise Bad(f"no answer to the operator's '{line}'") from None
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
        """A call decided by its digits, and one decided by a time-out."""
        Phoned.serial += 1
        word = f"dance{Phoned.serial}"
        talk.ask(card, f"{line} {word}", f"error unknown word '{word}': must be offhook, digit, dial or onhook")
        # If an earlier event or its answer was lost, other answers are right.
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
        # The time-out may come before the card notices that the answer was lost.
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
                # The failure may have hit the command, which reports it, or the answer, which is cut.
                is_right = right.startswith(answer) or "error: " in answer or line.startswith("run ")
            if not is_right:
                raise Bad(f"wrong answer to the operator's '{line}': {answer!r}")


class PhonedInTheBackground(Phoned):
    """Tests only what differs: detaching, the pid file, and the end."""

    name = "phoned in the background"
    is_in_background = True
    calls_of_interest = {"read", "write", "open", "clone", "unlink"}

    def __init__(self, program, directory):
        super().__init__(program, directory)
        self.command.remove("--foreground")


class SmallDaemon:
    """A C program that uses only the library: it returns each datagram, and tells operators its count of ticks."""

    name = "small_daemon"
    is_in_background = False
    calls_of_interest = set(CALLS)
    own_calls = 60  # its ticks
    end_at_once = []  # prints its usage

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


# ---- One cell: a call, an error and some moments ----


@dataclasses.dataclass(frozen=True)
class Fault:
    daemon: type
    program: str
    is_living: bool  # starts when the daemon is up, not with the process
    call: str
    error: str
    when: str  # in strace's syntax

    def options(self, log):
        calls = CALLS[self.call]
        return ["strace", "-f", "-o", log, "-e", f"trace={calls}", "-e", "signal=none", "-e",
                f"inject={calls}:error={self.error}:when={self.when}"]

    def __str__(self):
        period = "while it runs" if self.is_living else "from start to end"
        return f"{self.daemon.name}: {self.call} {self.error} when={self.when} {period}"


class Run:
    """A daemon in its own directory, with or without strace. Everything is removed at the end."""

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
        """Returns None if there is no daemon, or it has not detached yet."""
        if not self.is_traced:
            return self.process.pid
        daemons = list(traced_by(self.process.pid))
        if self.daemon.is_in_background:
            daemons = [pid for pid in daemons if str(pid) == content_of(self.daemon.pid_file)]
        return daemons[0] if len(daemons) == 1 else None

    def is_up(self):
        """Waits until the daemon is up. Returns False if it has ended."""

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
            raise Bad("does not end after TERM") from None
        # strace exits with the status of the process that it started, which need not be the daemon.
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
    """Returns the number of failed calls."""
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
        raise Bad(f"leaves a child: {children_of(pid)}, {[state_of(child) for child in children_of(pid)]}")
    if not comes_true(lambda: descriptors_of(pid) == descriptors):
        raise Bad(f"{descriptors} descriptors before, {descriptors_of(pid)} afterwards")
    return hits


def check_whole_life(run, fault):
    log = f"{run.directory}/log"
    # In the background it reports errors only to the system log.
    is_heard = fault.call != "write" and not run.daemon.is_in_background
    if not run.is_up():
        status, hits = run.process.returncode, hits_in(log)
        if status < 0 or status > 127:
            raise Bad(f"ends with {status} at the start: {run.said()}")
        if status == 0:
            raise Bad(f"exits with 0 at the start: {run.said()}")
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
    """Runs the faults of one call and error. Returns for each the number of hits, and what was bad, if anything."""
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
                        raise RuntimeError("the daemon fails even without faults")
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
    """The number of each call by the run-time linker, from start to end, and while the daemon runs."""

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
    """The first call, one in the middle, and every n-th; random except in the first round."""
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
    parser.add_argument("--jobs", type=int, default=8, metavar="N", help="daemons at the same time (default 8)")
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
    print(f"\nfaults: {len(results)} cells, {hits} failed calls, {bad} bad cells, {time.monotonic() - start:.0f} s")
    if never and not bad:
        print(f"faults: {', '.join(never)} never failed, so nothing was tested", file=sys.stderr)
    return 1 if bad or never else 0


if __name__ == "__main__":
    sys.exit(main())
