"""Comma-separated tables as `zelvox batch` reads and writes them: texts in quotes, which may hold anything."""

import csv
import io
from collections.abc import Iterable

import pyarrow.csv


def rows(lines: Iterable) -> bytes:
    """With texts in quotes and numbers with all their digits. A character that UTF-8 does not have becomes bytes
    that `zelvox batch` refuses."""
    text = io.StringIO(newline="")
    csv.writer(text, lineterminator="\n", quoting=csv.QUOTE_NONNUMERIC).writerows(lines)
    return text.getvalue().encode(errors="surrogatepass")


def names(content: bytes) -> list:
    """Of the columns."""
    return next(csv.reader(io.StringIO(content[: content.index(b"\n") + 1].decode(), newline="")))


def read(content: bytes, texts: Iterable) -> pyarrow.Table:
    """A column of texts for these names, else of numbers, which an empty cell has not."""
    types = {name: pyarrow.string() if name in texts else pyarrow.float64() for name in names(content)}
    types["run"] = pyarrow.int64()
    return pyarrow.csv.read_csv(
        io.BytesIO(content),
        read_options=pyarrow.csv.ReadOptions(block_size=len(content) + 1),  # no row is cut
        parse_options=pyarrow.csv.ParseOptions(newlines_in_values=True),
        convert_options=pyarrow.csv.ConvertOptions(column_types=types, null_values=[""]),
    )
