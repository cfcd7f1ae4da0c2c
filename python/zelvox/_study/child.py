"""One process `zelvox batch` that makes run after run: rows go in, rows come out, until it is told to end or
ends by itself. Nothing here waits for the process to read while it waits for us to read."""

import contextlib
import os
import select
import subprocess
import time
from collections import deque
from pathlib import Path
from typing import Optional

_PIECE = 1 << 16
_PATIENCE = 10  # seconds for a process to end that was told to; a JVM that crashes writes a report first


class Ended(Exception):
    """No row comes any more, as the process ended; the text says how."""


class TooLong(Exception):
    """The row did not come in time."""


class Child:
    """The process, started in a directory of its own; `sentence` is the last that it said on stderr."""

    def __init__(self, command: list, directory: Path) -> None:
        # In a session of its own, as Ctrl-C in a terminal is for the study and not for its runs.
        self._process = subprocess.Popen(
            command,
            cwd=directory,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            bufsize=0,
            start_new_session=True,
        )
        pipes = (self._process.stdin, self._process.stdout, self._process.stderr)
        self._in, self._out, self._err = (pipe.fileno() for pipe in pipes if pipe)
        for pipe in (self._in, self._out, self._err):
            os.set_blocking(pipe, False)
        self._going = bytearray()  # what is to be written
        self._last = False  # and nothing after it
        self._row = b""  # one that goes over several lines, as a quoted text may
        self._line = b""  # the beginning of the next
        self._rows: deque[bytes] = deque()
        self._said = b""  # the end of what it wrote on stderr
        self.fresh = True  # made no run yet
        self.header = b""  # of its table
        self.code: Optional[int] = None  # how it ended, negative by a signal

    def send(self, rows: bytes) -> None:
        """To be written while receive() waits."""
        self._going += rows

    def finish(self) -> None:
        """Nothing more comes: the process ends behind what was sent, so that receive() raises Ended."""
        self._last = True

    def receive(self, patience: Optional[float] = None) -> bytes:
        """The next row with its end of line. Raises TooLong after that many seconds, and Ended."""
        end = None if patience is None else time.monotonic() + patience
        while not self._rows:
            left = None if end is None else (end - time.monotonic()) * 1000
            if left is not None and left <= 0:
                raise TooLong
            poll = select.poll()
            for pipe in (self._out, self._err):
                poll.register(pipe, select.POLLIN)
            if self._going:
                poll.register(self._in, select.POLLOUT)
            elif self._last and self._process.stdin:
                self._process.stdin.close()
            ready = dict(poll.poll(left))
            if self._in in ready:
                self._write()
            if self._err in ready and not self._listen() and self._out not in ready:
                time.sleep(0.001)  # somebody closed it; do not spin
            if self._out in ready:
                self._read()
        return self._rows.popleft()

    def _write(self) -> None:
        try:
            del self._going[: os.write(self._in, self._going[:_PIECE])]
        except BrokenPipeError:  # stdout will tell that it ended, behind the last rows
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

    def close(self) -> str:
        """Has the process end when it has made the runs that it knows, and says how it ended."""
        for pipe in (self._process.stdin, self._process.stdout):
            with contextlib.suppress(OSError):
                pipe.close()  # type: ignore[union-attr]
        try:
            self.code = self._process.wait(_PATIENCE)
        except subprocess.TimeoutExpired:
            self.kill()
        while not self._process.stderr.closed and self._listen():  # type: ignore[union-attr]
            pass
        self._process.stderr.close()  # type: ignore[union-attr]
        assert self.code is not None
        how = f"signal {-self.code}" if self.code < 0 else f"exit code {self.code}"
        more = f": {self.sentence}" if self.sentence and how not in self.sentence else ""
        return f"the process ended with {how}{more}"

    def kill(self) -> None:
        """Ends the process at once."""
        self._process.kill()
        self.code = self._process.wait()

    @property
    def warnings(self) -> list:
        """What the program warned of so far."""
        said = self._said.decode(errors="replace").splitlines()
        return [line[len("zelvox: ") :] for line in said if line.startswith("zelvox: warning: ")]

    @property
    def sentence(self) -> str:
        """What the program said last of itself; of a batch with runs that failed, why the first one did."""
        said = [line for line in self._said.decode(errors="replace").splitlines() if line.startswith("zelvox: ")]
        return said[-1][len("zelvox: ") :].split("; the first one: ")[-1] if said else ""
