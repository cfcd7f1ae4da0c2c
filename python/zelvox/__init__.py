"""Runs models written in Java in importers of FMI 2.0 co-simulation units that are driven by Python.

`start_jvm()` gives this process the JVM that such an FMU needs, `attach_thread()` a thread of it, and
`forget_instances()` frees what an interrupted run has left behind. The program `zelvox` comes with the package.
"""

import importlib

from zelvox._jvm import attach_thread, forget_instances, start_jvm
from zelvox._program import wheel

try:
    from zelvox._version import __version__
except ImportError:  # in a clone that was not installed
    __version__ = "0+clone"

__all__ = ["__version__", "attach_thread", "forget_instances", "start_jvm", "study"]


def __getattr__(name: str):
    if name == "study":  # brings libraries that nobody else needs
        try:
            return importlib.import_module("zelvox._study.api").study
        except ModuleNotFoundError as missing:
            hint = f"zelvox.study needs {missing.name}; {wheel('study')}"
            raise ModuleNotFoundError(hint, name=missing.name) from None
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
