"""Exceptions for what the library refuses.

Both carry the library's status: ``code`` (the status code as a number),
``name`` (its name, e.g. ``"CALIBRATION_ERROR"``), ``detail`` (the number
that narrows it down) and ``detail_name`` (the detail's name where it is a
calibration reader's code, e.g. ``"STREAM_TOO_SHORT"``, else ``None``). The
message says the same in words, with what to do about it.
"""


class KelvoraError(Exception):
    """A call the library refused, with its status.

    Attributes
    ----------
    code : int
        The status code (``KelvoraStatus::Code``).
    name : str
        The status code's name, e.g. ``"INITIALIZATION_FAILED"``.
    detail : int
        The status detail: a calibration reader's code, a parameter key or
        the library's own code, depending on ``code``.
    detail_name : str or None
        The detail's name where it is a calibration reader's code.
    """

    def __init__(self, message, code=None, name=None, detail=None, detail_name=None):
        super().__init__(message)
        self.code = code
        self.name = name
        self.detail = detail
        self.detail_name = detail_name


class CalibrationError(KelvoraError):
    """The library cannot make an engine from this calibration."""


class ConfigurationError(KelvoraError):
    """The engine refused a configuration and keeps its previous one."""
