#!/usr/bin/env python3
"""Runs all that pages show, word for word and in one shell for each page: try-pages.py README.md docs/models.md

To be run as root in a fresh clone on a fresh Debian, since pages install what they use. A command fails
when it ends with another exit code than 0 or does not say what the page shows, however long it took; where
a page shows a failure, that counts alone. A Java block that is a model becomes the file of its name, a
Python block is run, and `cat` of a file that is not there makes it. Other blocks are left alone."""

import re
import subprocess
import sys
import time
from pathlib import Path

ENDLESS = re.compile(r" entr |suspend=y")  # is ended after what it says first
CHANGING = [(r"in [\d.e-]+ s\b", "in S s"), (r"[\d.e+]+ times real time", "R times real time"), (r":\d+/", ":PORT/")]


class Shell:
    def __init__(self, root):
        self.seconds = 0.0  # of the last command
        self.bash = subprocess.Popen(["bash"], cwd=root, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, encoding="utf-8", errors="replace")

    def run(self, command):
        """What the command says, and its exit code."""
        begin = time.monotonic()
        self.bash.stdin.write(f"{{ {command}\n}} </dev/null; printf '\\nend of command: %s\\n' $?\n")
        self.bash.stdin.flush()
        said = []
        for line in self.bash.stdout:
            if end := re.fullmatch(r"end of command: (\d+)\n", line):
                self.seconds = time.monotonic() - begin
                return "".join(said), int(end[1])
            said.append(line)
        sys.exit("the shell has ended")


def shows(said, expected):
    """The lines of the page that were not said, whatever the order; ... stands for anything."""
    for pattern, text in CHANGING:
        said, expected = re.sub(pattern, text, said), re.sub(pattern, text, expected)
    return [line for line in expected.splitlines() if line.strip(" .") and not re.search(
        r"^\s*" + re.escape(line.strip()).replace(r"\.\.\.", ".*"), said, re.MULTILINE)]


def commands(block):
    """Commands with what the page shows of each; what stands before the first one has None."""
    command, output = None, []
    for line in block.splitlines():
        if command is not None and command.endswith("\\"):
            command += "\n" + line
        elif line.startswith("$ "):
            if command is not None or output:
                yield command, "\n".join(output)
            command, output = line[2:], []
        else:
            output.append(line)
    yield command, "\n".join(output)


def main(pages):
    root = Path(__file__).resolve().parent.parent
    failures = []

    def judge(what, missing, said):
        print(f"{'FAILED' if missing else 'ok'}  {what}", flush=True)
        if missing:
            failures.append(what)
            print(*(f"  not shown: {line}" for line in missing), "  it said:", said[-3000:], sep="\n", flush=True)

    for page in pages:
        shell, said = Shell(root), ""
        where = lambda: Path(shell.run("pwd")[0].split("\n")[0])
        for kind, block in re.findall(r"^```(\w+)\n(.*?)^```$", (root / page).read_text(), re.MULTILINE | re.DOTALL):
            if kind == "java" and (model := re.search(r"^public class (\w+)", block, re.MULTILINE)):
                where().joinpath(model[1] + ".java").write_text(block)
            elif kind == "python":
                where().joinpath("page.py").write_text(block)
                said, code = shell.run("python3 page.py")
                results = "\n".join(re.findall(r"^print\(.*\)  # (.*)$", block, re.MULTILINE))
                judge(f"{page}: a Python block", shows(said, results) or ["exit code 0"] * bool(code), said)
            elif kind == "console" and not block.startswith("$ "):
                judge(f"{page}: what the command before says", shows(said, block), said)
            elif kind == "console":
                for command, expected in commands(block):
                    made = re.fullmatch(r"cat (\S+)", command)
                    if made and not (where() / made[1]).exists():
                        (where() / made[1]).write_text(expected + "\n")
                    if endless := ENDLESS.search(command):
                        Path("/tmp/endless.sh").write_text(command)
                        said, code = shell.run("timeout 60 script -qec 'bash /tmp/endless.sh' /dev/null")
                    else:
                        said, code = shell.run(command)
                    missing = shows(said, expected)
                    if code and not endless and not re.search("^zelvox: (?!warning)", expected, re.MULTILINE):
                        missing.append("exit code 0")
                    judge(f"{page}: {command} ({shell.seconds:.0f} s)", missing, said)
    return f"{len(failures)} failed" if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
