"""Processing frame sets: the C++ engine's bits, refused input, lasting
results, threads."""

from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import kelvora
from conftest import TOOL_DEFAULTS, results_equal, same_bits


@pytest.mark.parametrize("settings", [
    {}, {"useSparsePointCloud": True, "useValidateImage": True, "noiseThreshold": 0.05}])
@pytest.mark.parametrize("data", ["scene", "single_frequency_scene"])
def test_same_bits_as_the_tool(request, tool, tmp_path, data, settings):
    data = request.getfixturevalue(data)
    (tmp_path / "c.bin").write_bytes(data.calibration)
    recording = kelvora.Recording.create(tmp_path / "r.kvrec", data.frame_sets)
    tool("process", tmp_path / "c.bin", recording.path, "--out", tmp_path / "out", "--no-images",
         *[f"--set={name}={str(value).lower()}" for name, value in settings.items()])
    engine = kelvora.Engine(tmp_path / "c.bin")
    engine.configure(**{**TOOL_DEFAULTS, **settings})
    for i, frame_set in enumerate(recording):
        result, prefix = engine.process(*frame_set), f"{tmp_path}/out/frame_{i:04d}_"
        for name in kelvora.FrameResult.__slots__:
            assert same_bits(getattr(result, name), np.load(f"{prefix}{name}.npy")), name
        result.save_ply(tmp_path / "points.ply")
        assert (tmp_path / "points.ply").read_bytes() == open(f"{prefix}points.ply", "rb").read()


@pytest.mark.parametrize("change, words", [
    (lambda f: f._replace(grey=f.grey.astype(np.int32)), "uint16"),
    (lambda f: f._replace(grey=f.grey[:-1]), "shape (48, 64)"),
    (lambda f: f._replace(phases=f.phases[0]), "shape (F, 4, 48, 64)"),
    (lambda f: f._replace(phases=f.phases.astype(np.float32)), "uint16"),
    (lambda f: f._replace(phases=f.phases[:1], exposures=(1, 2), frequencies=None), "engine processes 2"),
    (lambda f: f._replace(phases=f.phases[:1], exposures=(1, 2), frequencies=(80_320_000,)), "engine processes"),
    (lambda f: f._replace(exposures=f.exposures[:2]), "3 integers"),
    (lambda f: f._replace(exposures=(200, -1, 1000)), "[0, 4294967295]"),
    (lambda f: f._replace(temperature="36"), "temperature"),
    (lambda f: f._replace(frequencies=(1, 2)), "the engine processes"),
])
def test_refused_frame_sets_leave_the_engine_as_it_was(engine, scene, change, words):
    expected = engine.process(*scene.frame_sets[0])
    with pytest.raises(ValueError) as refused:
        engine.process(*change(scene.frame_sets[0]))
    assert words in str(refused.value)
    assert results_equal(engine.process(*scene.frame_sets[0]), expected)


@pytest.mark.parametrize("change", [
    lambda f: f._replace(grey=np.asfortranarray(f.grey)),
    lambda f: f._replace(grey=f.grey.astype(">u2"), exposures=list(f.exposures)),
    lambda f: f._replace(phases=np.flip(np.flip(f.phases, 3).copy(), 3)),
    lambda f: f._replace(phases=f.phases[::-1].copy(), frequencies=f.frequencies[::-1]),
    lambda f: f._replace(exposures=np.array(f.exposures, np.uint32), temperature=np.float32(f.temperature),
                         frequencies=None),
], ids=["fortran-order", "big-endian", "negative-strides", "reordered-frequencies", "numpy-scalars"])
def test_other_layouts_give_the_same_bits(engine, scene, change):
    expected = engine.process(*scene.frame_sets[0])
    assert results_equal(engine.process(*change(scene.frame_sets[0])), expected)


def test_results_outlive_later_calls(engine, scene):
    first = engine.process(*scene.frame_sets[0])
    kept = {name: getattr(first, name).copy() for name in kelvora.FrameResult.__slots__}
    del first.intensity
    for frame_set in scene.frame_sets[1:] * 2:
        later = engine.process(*frame_set)
    engine.configure(useSparsePointCloud=True)
    engine.process(*scene.frame_sets[1])
    for name in kelvora.FrameResult.__slots__[:3] + kelvora.FrameResult.__slots__[4:]:
        assert same_bits(getattr(first, name), kept[name]), name
        assert not np.shares_memory(getattr(first, name), getattr(later, name))


def test_grey_only_engine(engine, scene):
    engine.configure(numFreqs=0)
    result = engine.process(*scene.frame_sets[0])
    assert engine.frequencies == () and result.distance is None and result.point_cloud is None
    assert result.intensity.shape == (48, 64)


def _process_all(engine, frame_sets, passes=3):
    return [engine.process(*fs) for fs in frame_sets * passes]


def test_engines_on_threads_give_the_bits_of_one_after_the_other(scene):
    def engines():
        pair = [kelvora.Engine(scene.calibration) for _ in range(2)]
        pair[1].configure(useSparsePointCloud=True)
        return pair

    alone = [_process_all(e, scene.frame_sets) for e in engines()]
    with ThreadPoolExecutor(2) as pool:
        together = list(pool.map(_process_all, engines(), [scene.frame_sets] * 2))
    # One engine shared by three threads: calls wait for each other.
    shared = kelvora.Engine(scene.calibration)
    with ThreadPoolExecutor(3) as pool:
        shared_runs = list(pool.map(_process_all, [shared] * 3, [scene.frame_sets] * 3))
    for expected, run in zip([alone[0], alone[1], alone[0], alone[0], alone[0]], together + shared_runs):
        assert all(results_equal(a, b) for a, b in zip(expected, run))


@pytest.mark.parametrize("flags, counts", [
    ([0, 0, 0x03, 0x13], {"valid": 2, "saturated raw sample": 2, "flying pixel": 1}),
    ([1, 1, 0], {"valid": 1, "invalid": 2}),
    ([0x21, 0xC1, 0x100], {"valid": 0, "masked by the calibration": 1, "multipath by distance": 1,
                           "multipath by amplitude": 1, "unknown bits": 1}),
])
def test_describe_flags(flags, counts):
    assert kelvora.describe_flags(np.array(flags, np.uint32)) == counts
