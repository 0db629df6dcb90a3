"""Recordings of raw frame sets in the tool's ``.kvrec`` format."""

import errno
import os
from typing import NamedTuple, Tuple

import numpy as np

from . import _frames, _kelvora


class FrameSet(NamedTuple):
    """One frame set as the sensor delivers it.

    Its fields are, in order, the arguments of ``Engine.process``, so
    ``engine.process(*frame_set)`` processes it.

    Attributes
    ----------
    grey : ndarray of uint16, (H, W)
        The unmodulated (grey) frame.
    phases : ndarray of uint16, (F, 4, H, W)
        The four phase frames of each modulation frequency.
    exposures : tuple of int
        Exposure times: the grey frame's, then one per frequency.
    temperature : float
        Sensor temperature, degrees Celsius.
    frequencies : tuple of int
        The modulation frequency (Hz) of each block of ``phases``.
    """

    grey: np.ndarray
    phases: np.ndarray
    exposures: Tuple[int, ...]
    temperature: float
    frequencies: Tuple[int, ...]


def _existing_file(path):
    path = os.fspath(path)
    if not os.path.exists(path):
        raise FileNotFoundError(errno.ENOENT, "no such recording", path)
    if os.path.isdir(path):
        raise IsADirectoryError(errno.EISDIR, "a folder, not a recording", path)
    return path


def read_frame_set(read_into, width, height, frequencies):
    """A frame set that ``read_into(grey, phases)`` fills and describes with
    (temperature, exposures); None when it returns None."""
    grey = np.empty((height, width), np.uint16)
    phases = np.empty((len(frequencies), 4, height, width), np.uint16)
    read = read_into(grey, phases)
    if read is None:
        return None
    temperature, exposures = read
    return FrameSet(grey, phases, tuple(exposures), temperature, tuple(frequencies))


class Recording:
    """A recording of raw frame sets (``.kvrec``), as ``kelvora synth`` and
    ``kelvora demo`` write and ``kelvora process`` reads them, through the
    tool's own reader and writer.

    Use ``Recording.open`` or ``Recording.create``. Iterating reads the frame
    sets one by one from the file, anew for each iteration.

    Attributes
    ----------
    path : str
    width, height : int
        Frame size in pixels.
    frequencies : tuple of int
        The modulation frequencies (Hz) of the frame sets' phase blocks.

    Examples
    --------
    >>> recording = kelvora.Recording.open("build/demo/recording.kvrec")
    >>> for frame_set in recording:
    ...     result = engine.process(*frame_set)
    """

    def __init__(self, path):
        self.path = _existing_file(path)
        reader = _kelvora._RecordingFile(self.path)
        self.width = reader.width
        self.height = reader.height
        self.frequencies = tuple(reader.frequencies)
        self._count = reader.frame_set_count

    @classmethod
    def open(cls, path):
        """Open a recording for reading.

        Raises
        ------
        FileNotFoundError, IsADirectoryError
            No file at ``path``.
        ValueError
            Not a recording, or truncated (its size is not a whole number
            of frame sets).
        """
        return cls(path)

    @classmethod
    def create(cls, path, frame_sets, frequencies=None):
        """Write a recording and open it.

        Parameters
        ----------
        path : str or os.PathLike
            The file to write; an existing one is replaced.
        frame_sets : iterable of FrameSet
            Frame sets of one size and the same number of frequencies; any
            objects with ``grey``, ``phases``, ``exposures`` and
            ``temperature`` do.
        frequencies : sequence of int, optional
            The modulation frequency (Hz) of each phase block; by default
            the first frame set's ``frequencies``.

        Raises
        ------
        ValueError
            Frame sets that differ in size or frequencies, or no frame set.
        OSError
            The file cannot be written.
        """
        frame_sets = list(frame_sets)
        if not frame_sets:
            raise ValueError("a recording needs at least one frame set")
        if frequencies is None:
            frequencies = frame_sets[0].frequencies
        frequencies = [int(hz) for hz in frequencies]
        height, width = np.shape(frame_sets[0].grey)
        records = []
        for fs in frame_sets:
            grey = _frames.uint16_frames(fs.grey, "grey", (height, width))
            phases = _frames.uint16_frames(fs.phases, "phases", (len(frequencies), 4, height, width))
            exposures = _frames.exposure_times(fs.exposures, 1 + len(frequencies))
            records.append((grey, phases, exposures, _frames.temperature_value(fs.temperature)))
        _kelvora.write_recording(os.fspath(path), width, height, frequencies, records)
        return cls(path)

    def __len__(self):
        return self._count

    def __iter__(self):
        reader = _kelvora._RecordingFile(self.path)
        while True:
            frame_set = read_frame_set(reader.read_into, self.width, self.height, self.frequencies)
            if frame_set is None:
                return
            yield frame_set

    def __repr__(self):
        megahertz = " and ".join(f"{hz / 1e6:g}" for hz in self.frequencies)
        return (
            f"<kelvora.Recording {self.path!r}: {self._count} frame sets of "
            f"{self.width} x {self.height}, {megahertz} MHz>"
        )
