"""What a study tells on stderr while it goes on."""

import datetime
import sys
import time


class Progress:
    """A line that is written anew on a terminal, and now and then a line elsewhere."""

    def __init__(self, quiet: bool) -> None:
        self._quiet = quiet
        self._terminal = sys.stderr.isatty()
        self._failed = self._width = 0

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
        left = datetime.timedelta(seconds=round(min((self._count - self._done) / speed, 1e9)))
        failed = f"{self._failed} failed, " if self._failed else ""
        share = f"{self._done} of {self._count} runs, {100 * self._done // self._count} %"
        line = f"{share}, {failed}{speed:.3g} runs/s, {left} left"
        if self._terminal:
            print(f"\r{line:{self._width}}", end="", file=sys.stderr, flush=True)
            self._width = len(line)
        else:
            self.say(line)

    def end(self) -> None:
        """Clears the line on a terminal."""
        if self._width:
            print(f"\r{'':{self._width}}\r", end="", file=sys.stderr, flush=True)
            self._width = 0
