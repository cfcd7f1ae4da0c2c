"""A minimal importer: one co-simulation instance of an unpacked FMU, through ctypes."""

import ctypes
import xml.etree.ElementTree as ElementTree

REAL = ctypes.c_double
# Variadic in C; the first of the arguments for the message, if any, arrives like a sixth parameter.
LOGGER = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p,
                          ctypes.c_char_p, ctypes.c_void_p)


class Callbacks(ctypes.Structure):
    _fields_ = [("logger", LOGGER)] + [(name, ctypes.c_void_p) for name in
                                       ("allocate", "free", "stepFinished", "environment")]


class Instance:
    def __init__(self, directory, name, uri=None, guid=None):
        self.messages = []
        description = ElementTree.parse(f"{directory}/modelDescription.xml").getroot()
        self.guid = description.get("guid")
        binary = description.find("CoSimulation").get("modelIdentifier")
        self.library = ctypes.CDLL(f"{directory}/binaries/linux64/{binary}.so")
        host = ctypes.CDLL(None)
        self.callbacks = Callbacks(
            LOGGER(self.receive),
            *(ctypes.cast(f, ctypes.c_void_p) for f in (host.calloc, host.free)))
        self.library.fmi2Instantiate.restype = ctypes.c_void_p
        component = self.library.fmi2Instantiate(
            name.encode(), 1, (guid or self.guid).encode(), (uri or f"file://{directory}/resources").encode(),
            ctypes.byref(self.callbacks), 0, 0)
        if not component:
            raise RuntimeError(self.messages[-1])
        self.component = ctypes.c_void_p(component)
        self.time = None

    def receive(self, environment, name, status, category, message, argument):
        text = message.decode()
        if "%s" in text:
            text = text.replace("%s", ctypes.string_at(argument).decode())
        self.messages.append(text)

    def call(self, function, *arguments):
        if getattr(self.library, function)(self.component, *arguments) != 0:
            raise RuntimeError(f"{function}: {self.messages[-1:]}")

    def set(self, reference, value):
        self.call("fmi2SetReal", ctypes.byref(ctypes.c_uint(reference)), ctypes.c_size_t(1),
                  ctypes.byref(REAL(value)))

    def get(self, reference):
        value = REAL()
        self.call("fmi2GetReal", ctypes.byref(ctypes.c_uint(reference)), ctypes.c_size_t(1),
                  ctypes.byref(value))
        return value.value

    def step(self, size):
        if self.time is None:
            self.call("fmi2SetupExperiment", 0, REAL(0), REAL(0), 0, REAL(0))
            self.call("fmi2EnterInitializationMode")
            self.call("fmi2ExitInitializationMode")
            self.time = 0.0
        self.call("fmi2DoStep", REAL(self.time), REAL(size), 1)
        self.time += size

    def free(self):
        self.library.fmi2FreeInstance(self.component)
