"""Exceptions of the orrindale module."""


class Error(Exception):
    """A failure: ``code`` is the library's result code (None when the module itself
    refused), ``log`` the library's log lines of the failing call."""

    def __init__(self, message, code=None, log=()):
        super().__init__(message)
        self.code = code
        self.log = list(log)


class FrameTimeout(Error, TimeoutError):
    """No frame group arrived within the timeout."""


class EmulationError(Error):
    """Emulated cameras could not be set up here."""
