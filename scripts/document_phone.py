"""The emulated phone of ./run.sh, which is up while the commands of documents run."""
import os
import re
import signal
import subprocess
import time

UP = "The phone stays up."
FOLDER = re.compile(r"build/run/[\d-]+(?=/service\.log)")
# In vain no wait is longer.
PATIENCE = 600
READY = '/bv2_hal_ready","bytes":'


class Down(Exception):
    """The phone does not come up, or not back."""


class Phone:
    """Up from its making to `end()`, in a registry folder of its own; what the run leaves is in `folder`.
    Made in the project's root."""

    def __init__(self, registry, output):
        self.registry = registry
        self._output = output
        with open(output, "wb") as file:
            self._process = subprocess.Popen(
                ["./run.sh", "--no-install"], env={**os.environ, "HIDL_SOCKET_DIR": registry},
                stdin=subprocess.DEVNULL, stdout=file, stderr=file)
        try:
            self._await("./run.sh", lambda: UP in self._told())
            self.folder = FOLDER.search(self._told()).group(0)
        except Down:
            self.end()
            raise

    def make_anew(self):
        """As it was at first: a cover that is attached and ready, no faults, no images, nothing counted."""
        ready = self._times_ready()
        self._call("bivista-emulator", "ctl", "reset")
        self._await("the detach", lambda: '"value":false' in self._call("bivistactl", "call",
                                                                        "getBV2Connect"))
        self._call("bivista-emulator", "ctl", "attach")
        self._await("the cover", lambda: self._times_ready() > ready)
        self._await("the panel", lambda: self._call("bivistactl", "sub", "state") == "ON\n")
        self._call("bivistactl", "dump", "--reset")

    def end(self):
        """Ends it by Ctrl-C. Gives what was wrong with that, or None."""
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGINT)
        try:
            status = self._process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self._process.kill()
            return "./run.sh: does not end by Ctrl-C"
        return None if status == 128 + signal.SIGINT else f"./run.sh: exit {status}\n{self._told()}"

    def _told(self):
        with open(self._output, encoding="utf-8", errors="replace") as file:
            return file.read()

    def _times_ready(self):
        with open(f"{self.folder}/journal.jsonl", encoding="utf-8", errors="replace") as file:
            return sum('"node-write"' in line and READY in line for line in file)

    def _call(self, program, *words):
        return subprocess.run(
            [f"build/release/bin/{program}", *words], capture_output=True, text=True, check=False,
            env={**os.environ, "HIDL_SOCKET_DIR": self.registry}).stdout

    def _await(self, what, come):
        end = time.monotonic() + PATIENCE
        while not come():
            if self._process.poll() is not None:
                raise Down(f"./run.sh: exit {self._process.returncode} while waiting for {what}\n"
                           + self._told())
            if time.monotonic() > end:
                raise Down(f"./run.sh: waited in vain for {what}")
            time.sleep(0.05)
