"""The viewer as its users run it: `kelvora view` on a synthetic recording,
with the outputs of `kelvora process` for the same frame sets to check it."""
import json
import os
import re
import signal
import subprocess
import urllib.error
import urllib.request

import numpy as np
import pytest


def pytest_addoption(parser):
    parser.addoption("--kelvora", required=True, help="the kelvora program to test")
    parser.addoption("--artefacts", default=None, help="folder for the screenshots")


@pytest.fixture(scope="session")
def kelvora(request):
    return os.path.abspath(request.config.getoption("--kelvora"))


@pytest.fixture(scope="session")
def data(kelvora, tmp_path_factory):
    folder = tmp_path_factory.mktemp("data")
    subprocess.run([kelvora, "synth", "--out", folder / "synth", "--frames", "5"], check=True,
                   stdout=subprocess.DEVNULL)
    return folder


def process(kelvora, data, name, *options):
    """`kelvora process` on the recording; the arrays of frame set 3."""
    out = data / name
    subprocess.run([kelvora, "process", data / "synth/calibration.bin",
                    data / "synth/recording.kvrec", "--out", out, "--no-images", *options],
                   check=True, stdout=subprocess.DEVNULL)
    return {r: np.load(out / f"frame_0003_{r}.npy")
            for r in ("distance", "noise", "amplitude", "intensity", "flags")}


@pytest.fixture(scope="session")
def server(kelvora, data):
    """The base address of a running `kelvora view`; it must stop cleanly on
    Ctrl-C, with no sanitizer report, when the tests are done."""
    view = subprocess.Popen([kelvora, "view", data / "synth/calibration.bin",
                             data / "synth/recording.kvrec", "--port", "0"],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    line = view.stdout.readline()
    address = re.search(r"http://127\.0\.0\.1:\d+/", line)
    assert address, line + view.stderr.read()
    yield address.group(0)
    view.send_signal(signal.SIGINT)
    out, err = view.communicate(timeout=30)
    assert view.returncode == 0 and "stopped" in out, err
    assert "Sanitizer" not in err and "runtime error" not in err, err


def call(server, path, method="GET", body=None):
    """(status, parsed JSON body) of one request; paths are sent as given."""
    request = urllib.request.Request(server + path.lstrip("/"), data=body, method=method)
    try:
        with urllib.request.urlopen(request, timeout=60) as answer:
            return answer.status, json.loads(answer.read())
    except urllib.error.HTTPError as e:
        return e.code, json.loads(e.read() or b"{}")
