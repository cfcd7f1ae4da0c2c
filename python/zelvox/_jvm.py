"""The JVM of this process, which FMUs need before they are instantiated (docs/hosting.md)."""

import ctypes
import os
import subprocess
import sys
import threading
from pathlib import Path
from typing import Optional

from zelvox._program import jar, preload, program

_lock = threading.Lock()
_options: Optional[tuple] = None  # of the JVM that start_jvm() started; None without one
_forked = False  # this process was forked from one with a JVM, whose threads a fork does not copy
_attached = threading.local()


def _note_fork() -> None:
    global _forked
    _forked = _forked or _created_jvm() is not None


os.register_at_fork(after_in_child=_note_fork)


class _Attachment:
    """Kept in the variables of a thread, which are deleted when it ends: detaches it then. Else the JVM would keep
    it for ever, and at the end of the process wait for the thread that started it, which is no daemon. In a forked
    child its copy does nothing, as there is no JVM to detach from."""

    def __init__(self) -> None:
        self.process = os.getpid()

    def __del__(self) -> None:
        jpype = sys.modules.get("jpype")
        if jpype is not None and jpype.isJVMStarted() and self.process == os.getpid():
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


def forget_instances() -> int:
    """Frees all instances in the JVM of this process, of every FMU, and returns how many there were: those that an
    importer left behind, as after a run that Ctrl-C ended, and whose names no new instance could have. A call of one
    that was freed fails. Not to be called while another thread is in a call of an FMU.

    Raises RuntimeError where the process has a JVM that FMUs cannot use.
    """
    if _running() is None:
        return 0
    attach_thread()
    vm = _created_jvm()
    env = ctypes.c_void_p()
    # JPype can only call a JVM that it has started, and `zelvox exec` has started one without it. So these are calls
    # of JNI, whose functions have fixed places in two tables: one of the JVM, one of the thread's environment.
    if _jni(vm, 6, ctypes.c_int)(vm, ctypes.byref(env), 0x00010008) != 0:  # GetEnv, JNI_VERSION_1_8
        raise RuntimeError("this thread is not attached to the JVM; call zelvox.forget_instances() from the main thread")
    sim = ctypes.c_void_p(_jni(env, 6)(env, b"com/zelvox/qorbetta/ZelvoxSim"))  # FindClass
    method = ctypes.c_void_p(_jni(env, 113)(env, sim, b"forgetInstances", b"()I"))  # GetStaticMethodID
    forgotten = _jni(env, 131, ctypes.c_int)(env, sim, method, None)  # CallStaticIntMethodA
    _jni(env, 23, None)(env, sim)  # DeleteLocalRef
    return forgotten


def _jni(table: ctypes.c_void_p, place: int, result=ctypes.c_void_p):
    return ctypes.CFUNCTYPE(result)(ctypes.cast(table, ctypes.POINTER(ctypes.POINTER(ctypes.c_void_p)))[0][place])


def _running() -> Optional[str]:
    """How the JVM of this process came about; None where there is none. Raises for one that FMUs cannot use."""
    if _forked:
        raise RuntimeError(
            "this process was forked from one with a JVM and cannot use it; start the JVM only in the processes that "
            'need it, or take multiprocessing.get_context("spawn")'
        )
    jpype = sys.modules.get("jpype")
    if jpype is not None and jpype.isJVMStarted():
        # FMUs find classes by the system class loader. JPype's own one also has what was added after the start,
        # and would find the class where FMUs do not.
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
    if _created_jvm() is None:
        return None
    if "zelvox-preload.so" in Path("/proc/self/maps").read_text():
        return "`zelvox exec` has started the JVM of this process; write zelvox exec --jvm-option OPTION"
    raise RuntimeError("this process has a JVM that JPype did not start and cannot join; run it by `zelvox exec`")


def _created_jvm() -> Optional[ctypes.c_void_p]:
    vm, count = ctypes.c_void_p(), ctypes.c_int(0)
    try:
        ctypes.CDLL(None).JNI_GetCreatedJavaVMs(ctypes.byref(vm), 1, ctypes.byref(count))
    except AttributeError:  # no libjvm.so was loaded
        return None
    return vm if count.value > 0 else None


def _start(options: tuple) -> None:
    try:
        import jpype
    except ImportError:
        raise ImportError("zelvox.start_jvm needs JPype: pip install JPype1") from None
    libjvm, class_path, *flags = _of_program()
    forks = ctypes.CDLL(str(preload()))  # before the start, so that nothing has begun where it is missing
    try:
        jpype.startJVM(*flags, *options, jvmpath=libjvm, classpath=class_path.partition("=")[2])
    except Exception as problem:
        raise RuntimeError(
            f"the JVM {libjvm} did not start: {problem}; try again in a new process, as this one has had its try"
        ) from problem
    # In a forked child a call of the JVM would wait for threads that only the parent has.
    forks.zelvoxCloseJvmToForks(_created_jvm())


def _of_program() -> list:
    """The libjvm.so of the JVM that the program `zelvox` takes, and the options that it starts with."""
    said = subprocess.run([program(), "doctor", "--print-jvm"], stdin=subprocess.DEVNULL, capture_output=True)
    if said.returncode != 0:
        raise RuntimeError(os.fsdecode(said.stderr).strip().removeprefix("zelvox: "))
    return os.fsdecode(said.stdout).split("\n")[:-1]
