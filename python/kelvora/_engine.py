"""The engine: a camera module's calibration in, depth data out."""

import os
import types
from typing import NamedTuple, Optional, Tuple, Union

from . import _kelvora


class ParameterInfo(NamedTuple):
    """One parameter an engine accepts.

    Attributes
    ----------
    name : str
        The name ``Engine.configure`` takes, e.g. ``"amplitudeThreshold"``.
    key : int
        The library's key of the parameter (``ParameterKey``).
    type : str
        ``"float"``, ``"unsigned"``, ``"bool"`` or ``"int"``.
    value
        The engine's current value.
    default
        The library's default.
    bounds : tuple or None
        (lower, upper), both inclusive, or None when any value of the type is
        accepted.
    description : str
        One sentence on what it does.
    """

    name: str
    key: int
    type: str
    value: Union[float, int, bool]
    default: Union[float, int, bool]
    bounds: Optional[Tuple[Union[float, int, bool], Union[float, int, bool]]]
    description: str


class Engine:
    """A depth engine for one camera module, made from its calibration.

    Parameters
    ----------
    calibration : bytes, bytearray, memoryview, str or os.PathLike
        The calibration data, or the path of a file holding it (container or
        legacy format).

    Raises
    ------
    CalibrationError
        The library cannot use the calibration; the exception's ``name``,
        ``detail`` and ``detail_name`` say why.
    OSError
        The calibration file cannot be read.

    Notes
    -----
    The library starts no threads; ``process`` lets other Python threads run
    while it works, so engines on separate threads process in parallel. One
    engine serves one call at a time: calls from several threads wait for
    each other.

    Float parameters are single precision; they show as the shortest
    decimal that is the same single-precision value (``0.07``).

    Examples
    --------
    >>> calibration, frame_sets, true_distance = kelvora.synthetic(frames=1)
    >>> engine = kelvora.Engine(calibration)
    >>> engine.configure(useValidateImage=False)
    >>> result = engine.process(*frame_sets[0])
    >>> kelvora.describe_flags(result.flags)
    {'valid': 37733, 'saturated raw sample': 361, 'low signal or high noise': 224,
     'flying pixel': 141, 'masked by the calibration': 66, 'multipath by distance': 316,
     'multipath by amplitude': 346}
    """

    def __init__(self, calibration):
        if isinstance(calibration, (str, os.PathLike)):
            with open(calibration, "rb") as file:
                calibration = file.read()
        elif isinstance(calibration, (bytearray, memoryview)):
            calibration = bytes(calibration)
        elif not isinstance(calibration, bytes):
            raise TypeError(
                f"calibration must be bytes or a path, not {type(calibration).__name__}"
            )
        self._native = _kelvora._Engine(calibration)

    @property
    def width(self):
        """Columns of the calibration's region of interest (pixels)."""
        return self._native.width

    @property
    def height(self):
        """Rows of the calibration's region of interest (pixels)."""
        return self._native.height

    @property
    def frequencies(self):
        """The modulation frequencies (Hz) the engine processes, in the
        order ``process`` expects their phase frames."""
        return tuple(self._native.frequencies())

    @property
    def parameters(self):
        """Read-only mapping of each parameter's name to its current value."""
        return types.MappingProxyType(
            {row[0]: row[3] for row in self._native.parameters()}
        )

    def parameter_info(self):
        """Exactly the parameters this engine accepts, in key order.

        A calibration decides some parameters (the number of frequencies,
        the second frequency and the multipath switches for one frequency,
        stray-light removal without a stray-light model); they are not
        listed and ``configure`` refuses them.

        Returns
        -------
        list of ParameterInfo
        """
        return [
            ParameterInfo(
                name, key, kind, value, default,
                None if lower is None else (lower, upper), description,
            )
            for name, key, kind, value, default, lower, upper, description
            in self._native.parameters()
        ]

    def configure(self, **values):
        """Set parameters by name, all in one reconfiguration.

        Values must be of the parameter's type: a number for ``float``
        parameters, an integer for ``unsigned`` and ``int`` ones, ``True`` or
        ``False`` for switches. Nothing changes when any value is refused.

        Raises
        ------
        KeyError
            A name the engine does not accept (unknown, or decided by the
            calibration).
        ValueError
            A value of another type or outside the parameter's bounds; the
            message gives the bounds.
        ConfigurationError
            The library refused the configuration, e.g. a ``freq1`` the
            calibration has no data for; the engine keeps its previous one.

        Examples
        --------
        >>> engine.configure(amplitudeThreshold=0.8, useSparsePointCloud=True)
        """
        self._native.configure(values)

    def process(self, grey, phases, exposures, temperature, frequencies=None):
        """Turn one frame set into depth data.

        Parameters
        ----------
        grey : array_like of uint16, (H, W)
            The unmodulated (grey) frame as the sensor delivers it.
        phases : array_like of uint16, (F, 4, H, W)
            The four phase frames of each modulation frequency. Without
            ``frequencies`` block i holds the engine's frequency i
            (``Engine.frequencies``); blocks past the engine's frequencies
            are not read.
        exposures : sequence of int, length F + 1
            Exposure times in the sensor's unit: the grey frame's, then one
            per block of ``phases``.
        temperature : float
            Sensor temperature, in degrees Celsius.
        frequencies : sequence of int, length F, optional
            The modulation frequency (Hz) of each block of ``phases``; the
            engine then takes its frequencies from the blocks with the same
            value, in any order. ``FrameSet`` carries them, so
            ``engine.process(*frame_set)`` works for any recording that
            holds the engine's frequencies.

        Returns
        -------
        FrameResult

        Raises
        ------
        ValueError
            A frame of another shape or sample type, too few frequencies,
            or exposures that do not match; nothing is processed. Frames that
            are not contiguous or not in native byte order are copied first.
        """
        return self._native.process(grey, phases, exposures, temperature, frequencies)

    def __repr__(self):
        megahertz = " and ".join(f"{hz / 1e6:g}" for hz in self.frequencies) or "no"
        return f"<kelvora.Engine {self.width} x {self.height}, {megahertz} MHz>"
