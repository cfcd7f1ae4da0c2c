"""One process `zelvox batch` that makes run after run: rows go in, rows come out, until it is told to end or
ends by itself. Nothing here waits for the process to read while it waits for us to read."""

import contextlib
import math
import os
import select
import signal
import subprocess
import time
from collections import deque
from pathlib import Path
from typing import Callable, Optional

_PIECE = 1 << 16
_LOOK = 1  # second, after which receive() asks again whether the row is still wanted
_PATIENCE = 10  # seconds for a process to end that was told to; a JVM that crashes writes a report first


class Ended(Exception):
    """No row comes any more, as the process ended; the text says how."""


class TooLong(Exception):
    """The row did not come in time."""


class Unwanted(Exception):
    """Nobody waits for the row any more."""


class Child:
    """The process, started in a directory that is its own and in which it has its temporary files, so that
    whoever deletes the directory deletes what a killed process left."""

    def __init__(self, command: list, directory: Path) -> None:
        # In a session of its own, as Ctrl-C in a terminal is for the study and not for its runs. Its process group
        # has the processes that a model starts, too.
        pipes = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.PIPE)
        own = {"cwd": directory, "env": {**os.environ, "TMPDIR": str(directory)}, "start_new_session": True}
        self._process = subprocess.Popen(command, bufsize=0, **pipes, **own)  # type: ignore[call-overload]
        self._pipes = [getattr(self._process, name) for name in pipes]
        self._in, self._out, self._err = (pipe.fileno() for pipe in self._pipes)
        for pipe in self._pipes:
            os.set_blocking(pipe.fileno(), False)
        self._going = bytearray()  # what is to be written
        self._row = b""  # one that goes over several lines, as a quoted text may
        self._line = b""  # the beginning of the next
        self._rows: deque[bytes] = deque()
        self._said = b""  # the end of what it wrote on stderr
        self.fresh = True  # made no run yet
        self.idle_since = 0.0
        self.code: Optional[int] = None  # how it ended, negative by a signal

    def send(self, rows: bytes) -> None:
        """To be written while receive() waits."""
        self._going += rows

    def receive(self, end: float = math.inf, wanted: Callable[[], bool] = lambda: True) -> bytes:
        """The next row with its end of line. Raises TooLong at that time of the monotonic clock, Unwanted soon after
        nobody wants it, and Ended."""
        while not self._rows:
            left = end - time.monotonic()
            if left <= 0:
                raise TooLong
            if not wanted():
                raise Unwanted
            poll = select.poll()
            for pipe in (self._out, self._err):
                poll.register(pipe, select.POLLIN)
            if self._going:
                poll.register(self._in, select.POLLOUT)
            ready = dict(poll.poll(1000 * min(left, _LOOK)))
            if self._in in ready:
                self._write()
            if self._err in ready and not self._listen() and self._out not in ready:
                time.sleep(0.001)  # the model has closed stderr, so that poll() returns at once each time
            if self._out in ready:
                self._read()
            elif not ready and self._has_ended():  # but what it has started keeps our pipes open
                raise Ended(self.close())
        return self._rows.popleft()

    def _write(self) -> None:
        try:
            del self._going[: os.write(self._in, self._going[:_PIECE])]
        except BrokenPipeError:  # it has ended; the last rows may still be in stdout, and then its end
            self._going.clear()

    def _listen(self) -> bool:
        with contextlib.suppress(BlockingIOError):
            piece = os.read(self._err, _PIECE)
            self._said = (self._said + piece)[-4000:]
            return bool(piece)
        return False

    def _read(self) -> None:
        piece = os.read(self._out, _PIECE)
        if not piece and not self._rows:
            raise Ended(self.close())
        *lines, self._line = (self._line + piece).split(b"\n")
        for line in lines:
            self._row += line + b"\n"
            if self._row.count(b'"') % 2 == 0:
                self._rows.append(self._row)
                self._row = b""

    def finish(self) -> None:
        """Nothing more comes: the process ends when it has made the runs that it knows."""
        self._pipes[0].close()

    def close(self) -> str:
        """Waits for the process to end, and says how it ended."""
        self.finish()
        end = time.monotonic() + _PATIENCE
        while not self._has_ended() and time.monotonic() < end:
            time.sleep(0.005)
        while self._listen():
            pass
        self.kill()
        assert self.code is not None
        how = f"signal {-self.code}" if self.code < 0 else f"exit code {self.code}"
        more = f": {self.said[-1]}" if self.said and how not in self.said[-1] else ""
        return f"the process ended with {how}{more}"

    def _has_ended(self) -> bool:
        # Leaves the exit code where it is: until somebody takes it, no other process can get the same id.
        return os.waitid(os.P_PID, self._process.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is not None

    def kill(self) -> None:
        """Ends the process at once, and what it has started."""
        if self.code is None:
            os.killpg(self._process.pid, signal.SIGKILL)
            self.code = self._process.wait()
            for pipe in self._pipes:
                pipe.close()

    @property
    def said(self) -> list:
        """The last sentences that the program said of itself."""
        return sentences(self._said)


def sentences(said: bytes) -> list:
    """What `zelvox` said of itself on stderr."""
    lines = said.decode(errors="replace").splitlines()
    return [line[len("zelvox: ") :] for line in lines if line.startswith("zelvox: ")]
