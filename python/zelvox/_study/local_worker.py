"""Loaded by the workers of this machine: Ctrl-C in a terminal, which goes to all its processes, is for the
study alone. It ends them in order."""

import signal
from typing import Any


def dask_setup(worker: Any) -> None:
    """Called by Dask in the worker's process."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
