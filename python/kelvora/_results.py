"""The results of one frame set."""

import os

import numpy as np

from . import _kelvora


class FrameResult:
    """The results of one frame set, each a numpy array of its own.

    The engine writes straight into these arrays, and a new frame set gets
    new ones, so a result stays as it is after later calls (the memory of
    results nobody holds any more serves later frame sets). Images have the
    engine's shape (height, width), row 0 at the top of the sensor image.

    Attributes
    ----------
    distance : ndarray of float32, (H, W)
        Radial distance along each pixel's viewing ray, in metres.
    amplitude : ndarray of float32, (H, W)
        Signal amplitude of the last modulation frequency, in raw units.
    noise : ndarray of float32, (H, W)
        Distance noise (one standard deviation), in metres.
    intensity : ndarray of float32, (H, W)
        Grey value minus the calibration's fixed-pattern noise, raw units.
    flags : ndarray of uint32, (H, W)
        0 for a valid pixel, else the ``PIXEL_*`` causes ORed together (or
        exactly ``PIXEL_INVALID`` when ``useValidateImage`` cleared them).
    point_cloud : ndarray of float32, (H, W, 4) or (N, 4)
        x, y, z in metres (x right, y down, z forward) and a confidence per
        point: one point per pixel, or with ``useSparsePointCloud`` only the
        N valid pixels' points, in pixel order.
    exposure_proposals : ndarray of uint32
        The grey frame's exposure, then a proposed exposure per frequency
        for the next frame set.

    Distance, amplitude, noise and the point cloud are ``None`` for an
    engine configured with ``numFreqs=0``, which reads only the grey frame.
    """

    __slots__ = (
        "distance",
        "amplitude",
        "noise",
        "intensity",
        "flags",
        "point_cloud",
        "exposure_proposals",
    )

    def __init__(
        self, distance, amplitude, noise, intensity, flags, point_cloud, exposure_proposals
    ):
        self.distance = distance
        self.amplitude = amplitude
        self.noise = noise
        self.intensity = intensity
        self.flags = flags
        self.point_cloud = point_cloud
        self.exposure_proposals = exposure_proposals

    @property
    def valid(self):
        """Boolean mask of the valid pixels (flag word 0), shape (H, W)."""
        return self.flags == 0

    def valid_points(self):
        """The valid pixels' points as an (N, 4) array, in pixel order."""
        if self.point_cloud is None:
            return np.empty((0, 4), np.float32)
        if self.point_cloud.ndim == 2:
            return self.point_cloud
        return self.point_cloud[self.valid]

    def save_ply(self, path):
        """Write the valid points as a binary PLY file, as ``kelvora process``
        does: x, y, z in metres and the confidence per vertex.

        Parameters
        ----------
        path : str or os.PathLike
            The file to write; an existing one is replaced.

        Returns
        -------
        int
            The number of points written.
        """
        points = np.ascontiguousarray(self.valid_points(), dtype=np.float32)
        _kelvora.write_ply(os.fspath(path), points)
        return len(points)

    def __repr__(self):
        height, width = self.flags.shape
        valid = np.count_nonzero(self.valid)
        return (
            f"<kelvora.FrameResult {width} x {height}, "
            f"{valid} valid pixels ({100.0 * valid / self.flags.size:.1f} %), "
            f"exposure proposals {self.exposure_proposals.tolist()}>"
        )
