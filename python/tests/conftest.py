"""Small synthetic camera modules, and the command-line tool that processes
their recordings with the C++ engine."""

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

import kelvora

# What `kelvora process` sets before the user's --set options.
TOOL_DEFAULTS = {"useValidateImage": False, "exposureLimitLower": 100, "exposureLimitUpper": 4000}


@pytest.fixture(scope="session")
def scene():
    return kelvora.synthetic(width=64, height=48, frames=3)


@pytest.fixture(scope="session")
def single_frequency_scene():
    return kelvora.synthetic(width=40, height=30, frequencies=[60_240_000], frames=2)


@pytest.fixture
def engine(scene):
    return kelvora.Engine(scene.calibration)


@pytest.fixture(scope="session")
def tool():
    """Runs the command-line tool (KELVORA_TOOL, set by the build's test)."""
    path = os.environ.get("KELVORA_TOOL")
    if not path or not Path(path).is_file():
        pytest.skip("KELVORA_TOOL does not name the built kelvora tool")
    return lambda *args: subprocess.run(
        [path, *map(str, args)], check=True, capture_output=True, text=True
    ).stdout


def same_bits(a, b):
    """Equal shapes, types and bytes (NaN and -0.0 included)."""
    a, b = np.asarray(a), np.asarray(b)
    return a.shape == b.shape and a.dtype == b.dtype and a.tobytes() == b.tobytes()


def results_equal(a, b):
    return all(
        getattr(a, n) is getattr(b, n) is None or same_bits(getattr(a, n), getattr(b, n))
        for n in kelvora.FrameResult.__slots__
    )
