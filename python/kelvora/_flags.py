"""Pixel flags in words."""

import numpy as np

from . import _kelvora

PIXEL_INVALID = _kelvora.PIXEL_INVALID
PIXEL_SATURATED = _kelvora.PIXEL_SATURATED
PIXEL_INCONSISTENT = _kelvora.PIXEL_INCONSISTENT
PIXEL_LOW_SIGNAL = _kelvora.PIXEL_LOW_SIGNAL
PIXEL_FLYING = _kelvora.PIXEL_FLYING
PIXEL_MASKED = _kelvora.PIXEL_MASKED
PIXEL_MULTIPATH_DISTANCE = _kelvora.PIXEL_MULTIPATH_DISTANCE
PIXEL_MULTIPATH_AMPLITUDE = _kelvora.PIXEL_MULTIPATH_AMPLITUDE

_CAUSES = _kelvora.flag_causes()
_KNOWN_BITS = np.uint32(np.bitwise_or.reduce([value for value, _, _ in _CAUSES]))


def describe_flags(flags):
    """Count the pixels of a flag image by cause, in words.

    Parameters
    ----------
    flags : array_like of unsigned integers
        Flag words, e.g. ``FrameResult.flags``.

    Returns
    -------
    dict of str to int
        ``"valid"`` first, then, in bit order, each cause that occurs, e.g.
        ``{"valid": 37712, "saturated raw sample": 812, ...}``. A pixel can
        have several causes and then counts under each. ``"invalid"`` counts
        pixels whose causes image validation cleared (word exactly 1), and
        ``"unknown bits"`` words with bits no stage sets.

    Examples
    --------
    >>> kelvora.describe_flags(np.array([0, 0x03, 0x13], np.uint32))
    {'valid': 1, 'saturated raw sample': 2, 'flying pixel': 1}
    """
    words = np.asarray(flags)
    if words.dtype.kind not in "ui":
        raise ValueError(f"flags must be unsigned integers, not {words.dtype}")
    words = words.astype(np.uint32, copy=False)
    counts = {"valid": int(np.count_nonzero(words == 0))}
    cleared = int(np.count_nonzero(words == PIXEL_INVALID))
    if cleared:
        counts[_kelvora.describe_flag_word(PIXEL_INVALID)] = cleared
    for value, _, meaning in _CAUSES:
        count = int(np.count_nonzero((words & value) == value))
        if count:
            counts[meaning] = count
    unknown = int(np.count_nonzero(words & ~_KNOWN_BITS))
    if unknown:
        counts["unknown bits"] = unknown
    return counts
