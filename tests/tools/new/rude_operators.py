#!/usr/bin/env python3
"""Operators who send nothing, hang up before the answer, or send too much must not harm the service.

    rude_operators.py <program>
"""
import os
import shlex
import signal
import socket
import subprocess
import sys
import tempfile
import time

program = shlex.split(os.environ.get("EMULATOR", "")) + [os.path.abspath(sys.argv[1])]


def connect():
    operator = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    operator.connect("run/sampled.console")
    operator.settimeout(60)
    return operator


def ask(line):
    with connect() as operator:
        operator.sendall(line)
        answer = b""
        while piece := operator.recv(4096):
            answer += piece
    return answer


def expect_alive(port):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as card:
        card.settimeout(60)
        card.connect(("127.0.0.1", port))
        card.send(b"?")
        assert card.recv(512).startswith(b"sampled: 0 samples")


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)
    os.mkdir("run")
    port = free_port()
    service = subprocess.Popen(program + ["-f", "run", str(port), "masks.ini"], stdout=subprocess.DEVNULL)
    try:
        while not os.path.exists("run/sampled.pid"):
            assert service.poll() is None, "does not start"
            time.sleep(0.05)

        # A silent operator delays other operators by five seconds, and nothing else.
        silent = connect()
        expect_alive(port)
        assert ask(b"state") == b"sampled: 0 samples, last 0, mean 0\n"
        assert silent.recv(1) == b"", "the silent operator is still connected"

        for _ in range(50):
            with connect() as operator:
                operator.sendall(b"tr show")
        for _ in range(20):
            with connect() as operator:
                operator.sendall(b'run "echo late"')
        assert ask(b"state\nstate\n") == b"sampled: 0 samples, last 0, mean 0\n"
        assert ask(b"x" * 100) == b"command not found\n"
        assert ask(b'"state') == b"syntax error\n"
        assert ask(b"\0state") == b""
        expect_alive(port)

        # Nobody reads the answer, which exceeds the socket's buffer.
        greedy = connect()
        greedy.sendall(b'run "yes | head -c 4000"')
        expect_alive(port)
        assert ask(b"state").startswith(b"sampled: ")
    finally:
        service.send_signal(signal.SIGTERM)
        status = service.wait(60)
    assert status == 0, status
