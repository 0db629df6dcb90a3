"""Checks and conversions of what a caller hands to Engine.process.

The native side uses C-ordered uint16 frames of the engine's size, and
exposures and frequencies given as Python ints, as they are; it calls these
for everything else. A frame of another shape or sample type raises
ValueError, and one that is not contiguous in C order or not in native byte
order is copied into one that is.
"""

import numbers

import numpy as np


def _shape_text(shape):
    return "(" + ", ".join("F" if n is None else str(n) for n in shape) + ")"


def uint16_frames(value, name, shape):
    """``value`` as a C-ordered native uint16 array of ``shape`` (None: any)."""
    array = np.asarray(value)
    if array.dtype.kind != "u" or array.dtype.itemsize != 2:
        raise ValueError(f"{name} must hold uint16 samples, not {array.dtype}")
    if array.ndim != len(shape) or any(
        want is not None and have != want for have, want in zip(array.shape, shape)
    ):
        raise ValueError(
            f"{name} must have shape {_shape_text(shape)}, not {tuple(array.shape)}"
        )
    return np.ascontiguousarray(array, dtype=np.uint16)


def exposure_times(value, count):
    """``value`` as a list of ``count`` unsigned 32-bit exposure times."""
    array = np.asarray(value)
    if array.ndim != 1 or len(array) != count or array.dtype.kind not in "ui":
        raise ValueError(
            f"exposures must be {count} integers (grey, then one per frequency of phases), "
            f"not {value!r}"
        )
    if array.size and (array.min() < 0 or array.max() > 0xFFFFFFFF):
        raise ValueError(f"exposures must lie in [0, 4294967295], not {value!r}")
    return [int(e) for e in array]


def temperature_value(value):
    """``value`` as a float: the sensor temperature in degrees Celsius."""
    if isinstance(value, (bool, np.bool_)) or not isinstance(value, numbers.Real):
        raise ValueError(f"temperature must be a number (degrees Celsius), not {value!r}")
    return float(value)


def _megahertz(frequencies):
    return ", ".join(f"{hz / 1e6:g} MHz" for hz in frequencies) or "none"


def frequency_blocks(engine_frequencies, count, frequencies):
    """For each of the engine's frequencies, the index of its block in phases.

    Without ``frequencies`` the blocks are taken in order; with them, each of
    the engine's frequencies is looked up by value, in any order.
    """
    if frequencies is None:
        if count < len(engine_frequencies):
            raise ValueError(
                f"phases holds {count} frequencies, the engine processes "
                f"{len(engine_frequencies)} ({_megahertz(engine_frequencies)})"
            )
        return list(range(len(engine_frequencies)))
    given = [int(hz) for hz in frequencies]
    if len(given) != count:
        raise ValueError(f"frequencies names {len(given)} frequencies, phases holds {count}")
    missing = [hz for hz in engine_frequencies if hz not in given]
    if missing:
        raise ValueError(
            f"the frame set holds {_megahertz(given)}, but the engine processes "
            f"{_megahertz(engine_frequencies)}"
        )
    return [given.index(hz) for hz in engine_frequencies]
