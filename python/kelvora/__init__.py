"""Kelvora: raw time-of-flight camera frames to depth data, in numpy.

An ``Engine`` is made from a camera module's calibration; each frame set
(a grey frame and four phase frames per modulation frequency) becomes a
``FrameResult`` of numpy arrays: distance, amplitude, noise, intensity,
flags, a point cloud and exposure proposals, the same bits as the C++
library gives.

Example
-------
>>> import kelvora
>>> calibration, frame_sets, true_distance = kelvora.synthetic(frames=2)
>>> engine = kelvora.Engine(calibration)
>>> result = engine.process(*frame_sets[0])
>>> kelvora.describe_flags(result.flags)

Names
-----
Engine, FrameResult, ParameterInfo
    The engine, its results and its parameters.
Recording, FrameSet
    Recordings of raw frame sets in the tool's ``.kvrec`` format.
synthetic, SyntheticData
    A synthetic camera module and a scene with known distances.
describe_flags, PIXEL_*
    Pixel flags and their causes.
KelvoraError, CalibrationError, ConfigurationError
    What the library refuses.
"""

from . import _kelvora
from ._engine import Engine, ParameterInfo
from ._flags import (
    PIXEL_FLYING,
    PIXEL_INCONSISTENT,
    PIXEL_INVALID,
    PIXEL_LOW_SIGNAL,
    PIXEL_MASKED,
    PIXEL_MULTIPATH_AMPLITUDE,
    PIXEL_MULTIPATH_DISTANCE,
    PIXEL_SATURATED,
    describe_flags,
)
from ._recording import FrameSet, Recording
from ._results import FrameResult
from ._scene import SyntheticData, synthetic
from .errors import CalibrationError, ConfigurationError, KelvoraError

__version__ = _kelvora.version

__all__ = [
    "Engine",
    "FrameResult",
    "ParameterInfo",
    "Recording",
    "FrameSet",
    "synthetic",
    "SyntheticData",
    "describe_flags",
    "PIXEL_INVALID",
    "PIXEL_SATURATED",
    "PIXEL_INCONSISTENT",
    "PIXEL_LOW_SIGNAL",
    "PIXEL_FLYING",
    "PIXEL_MASKED",
    "PIXEL_MULTIPATH_DISTANCE",
    "PIXEL_MULTIPATH_AMPLITUDE",
    "KelvoraError",
    "CalibrationError",
    "ConfigurationError",
]
