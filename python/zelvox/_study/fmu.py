"""What a study has to know of an FMU: that it is one, and which variables are texts."""

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


def text_variables(file: Path) -> list:
    """The names of the FMU's variables of type String, whose columns are texts."""
    try:
        with zipfile.ZipFile(file) as archive:
            description = ElementTree.fromstring(archive.read("modelDescription.xml"))
    except (zipfile.BadZipFile, KeyError, ElementTree.ParseError):
        raise StudyError(f"{file} is no FMU; zelvox pack makes one of a model") from None
    variables = description.iter("ScalarVariable")
    return [variable.get("name", "") for variable in variables if variable.find("String") is not None]
