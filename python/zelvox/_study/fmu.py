"""What a study has to know of an FMU: that it is one, which variables are texts, and the units of the others."""

import zipfile
from pathlib import Path
from xml.etree import ElementTree

from zelvox._study.errors import StudyError


def content(file: Path, what: str) -> bytes:
    """Of a file that goes to the workers."""
    try:
        return file.read_bytes()
    except OSError as problem:
        raise StudyError(f"{what} {file} cannot be read: {problem.strerror}") from None


def text_variables(variables: list) -> list:
    """The names of the variables of type String, whose columns are texts."""
    return [variable.get("name", "") for variable in variables if variable.find("String") is not None]


def units(variables: list) -> dict:
    """The unit of each variable that names one."""
    reals = ((variable.get("name", ""), variable.find("Real")) for variable in variables)
    return {name: real.get("unit") for name, real in reals if real is not None and real.get("unit")}


def variables_of(file: Path) -> list:
    """The elements ScalarVariable."""
    try:
        with zipfile.ZipFile(file) as archive:
            description = ElementTree.fromstring(archive.read("modelDescription.xml"))
    except (zipfile.BadZipFile, KeyError, ElementTree.ParseError):
        raise StudyError(f"{file} is no FMU; zelvox pack makes one of a model") from None
    return list(description.iter("ScalarVariable"))
