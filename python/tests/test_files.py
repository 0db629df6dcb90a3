"""Synthetic data and recordings, against the tool's own files."""

import numpy as np
import pytest

import kelvora
from conftest import same_bits


@pytest.mark.parametrize("options, arguments", [
    ({"width": 64, "height": 48, "frames": 3}, ["--width", 64, "--height", 48, "--frames", 3]),
    ({"width": 40, "height": 30, "frequencies": [60_240_000], "frames": 2, "noise": False, "seed": 3},
     ["--width", 40, "--height", 30, "--freq", 60_240_000, "--frames", 2, "--no-noise", "--seed", 3]),
])
def test_synthetic_data_and_recordings_match_the_tool(tool, tmp_path, options, arguments):
    data = kelvora.synthetic(**options)
    tool("synth", "--out", tmp_path / "tool", *arguments)
    assert (tmp_path / "tool" / "calibration.bin").read_bytes() == data.calibration
    assert same_bits(np.load(tmp_path / "tool" / "true_distance.npy"), data.true_distance)
    kelvora.Recording.create(tmp_path / "python.kvrec", data.frame_sets)
    assert (tmp_path / "tool" / "recording.kvrec").read_bytes() == (tmp_path / "python.kvrec").read_bytes()
    recording = kelvora.Recording.open(tmp_path / "tool" / "recording.kvrec")
    assert (len(recording), recording.width, recording.height) == (options["frames"], options["width"], options["height"])
    for _ in range(2):  # each iteration reads the file anew
        for read, made in zip(recording, data.frame_sets):
            assert all(same_bits(a, b) for a, b in zip(read, made))


def test_refused_recordings(scene, tmp_path):
    content = (kelvora.Recording.create(tmp_path / "good.kvrec", scene.frame_sets), (tmp_path / "good.kvrec").read_bytes())[1]
    (tmp_path / "short.kvrec").write_bytes(content[:-7])
    (tmp_path / "junk.kvrec").write_bytes(b"not a recording" * 10)
    for path, error, words in [
        (tmp_path / "missing.kvrec", FileNotFoundError, "no such recording"),
        (tmp_path, IsADirectoryError, "a folder"),
        (tmp_path / "short.kvrec", ValueError, "truncated"),
        (tmp_path / "junk.kvrec", ValueError, "KVRAWREC"),
    ]:
        with pytest.raises(error, match=words):
            kelvora.Recording.open(path)
    first, second = scene.frame_sets[:2]
    for frame_sets, words in [([], "at least one"), ([first, second._replace(grey=second.grey[:-1])], "grey must have shape")]:
        with pytest.raises(ValueError, match=words):
            kelvora.Recording.create(tmp_path / "bad.kvrec", frame_sets)
    assert not (tmp_path / "bad.kvrec").exists()
