"""What a study tells on stderr while it goes on."""

import sys
import time


class Progress:
    """A line that is written anew on a terminal, and now and then a line elsewhere."""

    def __init__(self, quiet: bool) -> None:
        self._quiet = quiet
        self._terminal = sys.stderr.isatty()
        self._count = self._done = self._first = self._failed = self._width = 0
        self._began = self._shown = time.monotonic()

    def begin(self, count: int, done: int) -> None:
        """So many runs there are, and so many an earlier study has made."""
        self._count, self._done, self._first = count, done, done
        self._began = self._shown = time.monotonic()

    def say(self, line: str) -> None:
        """A line of its own."""
        if not self._quiet:
            print(line, file=sys.stderr, flush=True)

    def told(self, done: int, failed: int) -> None:
        """So many more runs are over."""
        self._done += done
        self._failed += failed
        now = time.monotonic()
        if self._quiet or now - self._shown < (0.2 if self._terminal else 10):
            return
        self._shown = now
        speed = (self._done - self._first) / (now - self._began)
        line = (
            f"{self._done} of {self._count} runs, {100 * self._done // self._count} %, {self._failures()}"
            f"{speed:.3g} runs/s, {duration((self._count - self._done) / speed)} left"
        )
        if self._terminal:
            print(f"\r{line:{self._width}}", end="", file=sys.stderr, flush=True)
            self._width = len(line)
        else:
            self.say(line)

    def end(self) -> None:
        """Leaves the line."""
        if self._width:
            print(f"\r{'':{self._width}}\r", end="", file=sys.stderr, flush=True)
            self._width = 0

    def _failures(self) -> str:
        return f"{self._failed} failed, " if self._failed else ""


def duration(seconds: float) -> str:
    """Minutes and seconds, with hours where there are some."""
    minutes, rest = divmod(int(seconds + 0.5), 60)
    hours, minutes = divmod(minutes, 60)
    return f"{hours}:{minutes:02}:{rest:02}" if hours else f"{minutes}:{rest:02}"
