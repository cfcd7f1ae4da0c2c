"""What ends a study: a sentence that says what to do next."""


class StudyError(Exception):
    """The study cannot be made as asked; the text is one sentence."""
