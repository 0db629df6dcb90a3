"""Synthetic data: a camera module and a scene whose distances are known."""

from typing import List, NamedTuple

import numpy as np

from ._recording import FrameSet, read_frame_set


class SyntheticData(NamedTuple):
    """What ``synthetic`` returns; unpacks as (calibration, frame_sets,
    true_distance).

    Attributes
    ----------
    calibration : bytes
        The camera module's calibration in the container format.
    frame_sets : list of FrameSet
        The raw frame sets the sensor would deliver.
    true_distance : ndarray of float32, (H, W)
        The true radial distance of every pixel in metres (0 where the ray
        meets nothing).
    """

    calibration: bytes
    frame_sets: List[FrameSet]
    true_distance: np.ndarray


def synthetic(
    width=224,
    height=172,
    frequencies=(80_320_000, 60_240_000),
    frames=5,
    noise=True,
    seed=7,
):
    """A synthetic camera module and a recording of a known scene.

    The same generator as ``kelvora synth`` and ``kelvora demo``, which
    write these bytes and frame sets as ``calibration.bin`` and
    ``recording.kvrec``: a wall at 4 m with a bright patch that saturates
    the sensor, a box 2.2 to 2.9 m away and a slanted floor, rendered
    through the calibration's own corrections so that the engine recovers
    the true distances.

    Parameters
    ----------
    width, height : int
        Frame size in pixels, 8 to 1024 each.
    frequencies : sequence of int
        One or two modulation frequencies in Hz (1 to 400 MHz).
    frames : int
        Number of frame sets, 1 to 10000.
    noise : bool
        Add sensor noise drawn from the calibration's noise model.
    seed : int
        Seed of the sensor noise.

    Returns
    -------
    SyntheticData

    Raises
    ------
    ValueError
        Sizes, frequencies or counts out of range.

    Examples
    --------
    >>> calibration, frame_sets, true_distance = kelvora.synthetic(frames=2)
    """
    from . import _synthetic  # its own copy of the library's internals; load on demand

    data = _synthetic.generate(
        int(width), int(height), [int(hz) for hz in frequencies], int(frames), bool(noise),
        int(seed),
    )
    frame_sets = [
        read_frame_set(
            lambda grey, phases, i=i: data.frame_set_into(i, grey, phases),
            data.width, data.height, data.frequencies,
        )
        for i in range(data.frame_set_count)
    ]
    true_distance = np.empty((data.height, data.width), np.float32)
    data.true_distance_into(true_distance)
    return SyntheticData(data.calibration, frame_sets, true_distance)
