"""A headless Chromium, controlled through a pair of pipes."""
import base64
import json
import os
import subprocess
import tempfile

OPTIONS = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
           "--remote-debugging-pipe", "--hide-scrollbars", "--allow-file-access-from-files"]


class Chromium:
    """Use it in a "with" statement. console has what pages have logged since it was last cleared."""

    def __init__(self, program):
        self.program = program
        self.console = []

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        commands, self.commands = os.pipe()
        self.answers, answers = os.pipe()

        # The browser reads from fd 3 and writes to fd 4. Copy both out of the way first, as either may be 3 or 4.
        def hand_over():
            read, write = os.dup(commands), os.dup(answers)
            high_read, high_write = 100, 101
            os.dup2(read, high_read)
            os.dup2(write, high_write)
            os.dup2(high_read, 3)
            os.dup2(high_write, 4)

        self.process = subprocess.Popen([self.program, *OPTIONS, "--user-data-dir=" + self.folder.name],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, close_fds=False,
                                        preexec_fn=hand_over)
        os.close(commands)
        os.close(answers)
        self.buffer, self.number, self.session = b"", 0, None
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.call(domain + ".enable")
        return self

    def __exit__(self, *_):
        self.session = None
        try:
            self.call("Browser.close")
        except (OSError, EOFError):
            self.process.kill()
        self.process.wait(timeout=60)
        os.close(self.commands)
        os.close(self.answers)
        self.folder.cleanup()

    def receive(self):
        while b"\0" not in self.buffer:
            piece = os.read(self.answers, 1 << 16)
            if not piece:
                raise EOFError("the browser has exited")
            self.buffer += piece
        message, _, self.buffer = self.buffer.partition(b"\0")
        message = json.loads(message)
        parameters = message.get("params", {})
        if message.get("method") == "Runtime.exceptionThrown":
            details = parameters["exceptionDetails"]
            self.console.append(details.get("exception", {}).get("description") or details["text"])
        elif message.get("method") == "Runtime.consoleAPICalled" and parameters["type"] in ("error", "warning", "assert"):
            self.console.append(" ".join(str(value.get("value")) for value in parameters["args"]))
        elif message.get("method") == "Log.entryAdded" and parameters["entry"]["level"] in ("error", "warning"):
            self.console.append(parameters["entry"]["text"] + " " + parameters["entry"].get("url", ""))
        return message

    def call(self, method, **parameters):
        self.number += 1
        request = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            request["sessionId"] = self.session
        text = json.dumps(request).encode() + b"\0"
        while text:
            text = text[os.write(self.commands, text) :]
        while True:
            message = self.receive()
            if message.get("id") == self.number:
                if "error" in message:
                    raise RuntimeError("%s: %s" % (method, message["error"]["message"]))
                return message["result"]

    def open(self, address):
        self.call("Page.navigate", url=address)
        while self.receive().get("method") != "Page.loadEventFired":
            pass

    def show(self, width, scheme, height=900):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=width < 600)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def evaluate(self, script):
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(json.dumps(result["exceptionDetails"])[:2000])
        return result["result"].get("value")

    def screenshot(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("Page.captureScreenshot", format="png")["data"]))
