"""Making an engine, reading its parameters and changing them."""

import numpy as np
import pytest

import kelvora
from conftest import results_equal


@pytest.mark.parametrize("form", [bytes, bytearray, memoryview, "path", str])
def test_calibration_as_bytes_or_file(scene, tmp_path, form):
    (tmp_path / "c.bin").write_bytes(scene.calibration)
    calibration = tmp_path / "c.bin" if form == "path" else form(
        tmp_path / "c.bin" if form is str else scene.calibration)
    engine = kelvora.Engine(calibration)
    assert (engine.width, engine.height, engine.frequencies) == (64, 48, (80_320_000, 60_240_000))


@pytest.mark.parametrize("cut, detail_name", [
    (slice(0, 0), "STREAM_TOO_SHORT"), (slice(0, 1000), "STREAM_TOO_SHORT"),
    (slice(100, None), "UNKNOWN_FORMAT")])
def test_refused_calibration(scene, cut, detail_name):
    with pytest.raises(kelvora.CalibrationError) as refused:
        kelvora.Engine(scene.calibration[cut])
    error = refused.value
    assert (error.code, error.name, error.detail_name) == (2, "CALIBRATION_ERROR", detail_name)
    assert detail_name in str(error)


def test_parameters_are_those_the_tool_lists(scene, single_frequency_scene, tmp_path, tool):
    for data in (scene, single_frequency_scene):
        (tmp_path / "c.bin").write_bytes(data.calibration)
        rows = [line.split() for line in tool("process", "--list-parameters", tmp_path / "c.bin").splitlines()]
        listed = [r[0] for r in rows[1:] if r[1:2] in (["float"], ["unsigned"], ["bool"], ["int"])]
        engine = kelvora.Engine(data.calibration)
        info = engine.parameter_info()
        assert [p.name for p in info] == listed == list(engine.parameters)
        assert all(p.value == engine.parameters[p.name] for p in info)
    fixed = {"numFreqs", "freq2", "useMPIFlagAverage", "useMPIFlagAmplitude", "useMPIFlagDistance"}
    assert not fixed & set(engine.parameters)
    for name, value in (("numFreqs", 1), ("freq2", 1), ("useMPIFlagDistance", True)):
        with pytest.raises(KeyError, match="fixed by this calibration"):
            engine.configure(**{name: value})


def test_parameter_values_read_back_as_given(engine):
    engine.configure(noiseThreshold=0.05, amplitudeThreshold=np.float32(0.8), useSparsePointCloud=np.bool_(True),
                     saturationThresholdLower=np.int64(0), adaptiveNoiseFilterType=1)
    values = engine.parameters
    assert (values["noiseThreshold"], values["amplitudeThreshold"]) == (0.05, 0.8)
    assert (values["saturationThresholdLower"], values["useSparsePointCloud"]) == (0, True)
    info = {p.name: p for p in engine.parameter_info()}
    assert (info["noiseThreshold"].default, info["noiseThreshold"].bounds) == (0.07, (0.03, 0.2))
    assert info["freq1"].bounds is None and info["useValidateImage"].type == "bool"
    with pytest.raises(TypeError):
        values["noiseThreshold"] = 0.1


@pytest.mark.parametrize("values, error, words", [
    ({"noSuchParameter": 1}, KeyError, "unknown parameter"),
    ({"amplitudeThreshold": 5000.0}, ValueError, "[0.00015, 4095]"),
    ({"adaptiveNoiseFilterType": 3}, ValueError, "[1, 2]"),
    ({"amplitudeThreshold": "0.5"}, ValueError, "[0.00015, 4095]"),
    ({"useValidateImage": 1}, ValueError, "True or False"),
    ({"saturationThresholdLower": 1.5}, ValueError, "[0, 600]"),
    ({"exposureLimitLower": -1}, ValueError, "[0, 4294967295]"),
    ({"noiseThreshold": 0.05, "consistencyTolerance": 9.0}, ValueError, "[0.2, 1.5]"),
    ({"freq2": 12_345_678}, kelvora.ConfigurationError, "INITIALIZATION_FAILED"),
    ({"freq1": 12_345_678}, kelvora.ConfigurationError, "INITIALIZATION_FAILED"),
])
def test_refused_configuration_changes_nothing(engine, scene, values, error, words):
    before, expected = dict(engine.parameters), engine.process(*scene.frame_sets[0])
    with pytest.raises(error) as refused:
        engine.configure(**values)
    assert words in f"{refused.value} {getattr(refused.value, 'name', '')}"
    assert engine.parameters == before
    assert results_equal(engine.process(*scene.frame_sets[0]), expected)
