"""Ends the plug-in in the middle of an export, as GIMP does when its user cancels."""

import os
import signal
import threading
import time
from pathlib import Path

# The export that is to be ended writes to this name; the file that is on its way has a longer one.
TARGET = "killed.bmp"


class Killer(threading.Thread):
    """Waits until a file is on its way, and kills the plug-in that GIMP has started for it."""

    def __init__(self, directory, gimp):
        super().__init__(daemon=True)
        self.directory = directory
        self.gimp = gimp
        self.killed = False
        self.done = threading.Event()

    def run(self):
        while not self.killed and not self.done.is_set():
            time.sleep(0.002)
            if any(self.directory.glob(TARGET + ".*")):
                self.killed = self.kill()

    def kill(self):
        for process in children_of(self.gimp):
            if name_of(process) == "file-tivar":
                os.kill(process, signal.SIGKILL)
                return True
        return False

    def stop(self):
        self.done.set()
        self.join()


def children_of(process):
    return [int(child) for child in Path(f"/proc/{process}/task/{process}/children").read_text().split()]


def name_of(process):
    return Path(f"/proc/{process}/comm").read_text().strip()
