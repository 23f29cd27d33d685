"""Exceptions and warnings raised for the library's reports."""

__all__ = ["Error", "FileError", "OrvikWarning"]


class Error(Exception):
    """A call into the library failed.

    The message is the report chain in brief form; ``reports`` lists the chain as
    ``(function, number, message)`` tuples, outermost first.
    """

    def __init__(self, message="", reports=()):
        super().__init__(message)
        self.reports = list(reports)


class FileError(Error, OSError):
    """A failure whose cause is the file itself: it cannot be opened, created, locked,
    read or written."""

    def __init__(self, message="", reports=()):
        Error.__init__(self, message, reports)
        # OSError's own fields stay empty; str() keeps the brief chain.
        self.strerror = message

    def __str__(self):
        return self.strerror or ""


class OrvikWarning(UserWarning):
    """A report the library printed during a call that went on (a warning, or an error it
    recovered from)."""
