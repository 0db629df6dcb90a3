"""Requests a local viewer must refuse: each gets a 4xx answer with a reason,
and the server goes on serving with the settings it had."""
import pytest

from conftest import call

BAD_REQUESTS = [
    # Paths outside the page and its assets, plain and URL-encoded.
    ("GET", "/../../etc/passwd", None, 400),
    ("GET", "/%2e%2e/%2e%2e/etc/passwd", None, 400),
    ("GET", "/%2E%2E%2F%2E%2E%2Fetc%2Fpasswd", None, 400),
    ("GET", "/three/..%2f..%2f..%2f..%2fetc%2fpasswd", None, 400),
    ("GET", "/%252e%252e/%252e%252e/etc/passwd", None, 404),
    ("GET", "/etc/passwd", None, 404),
    # Frame sets, results and pixels that do not exist.
    ("GET", "/api/frames/5", None, 404),
    ("GET", "/api/frames/-1/distance.png", None, 404),
    ("GET", "/api/frames/99999999999999999999", None, 404),
    ("GET", "/api/frames/0/depth.png", None, 404),
    ("GET", "/api/frames/0/pixel?x=224&y=0", None, 400),
    ("GET", "/api/frames/0/pixel?x=1e1&y=0", None, 400),
    # Unknown parameters, malformed JSON, refused values.
    ("PUT", "/api/parameters/noSuchParameter", b'{"value": 1}', 404),
    ("PUT", "/api/parameters/amplitudeThreshold", b'{"value": ', 400),
    ("PUT", "/api/parameters/amplitudeThreshold", b'[0.7]', 400),
    ("PUT", "/api/parameters/amplitudeThreshold", b'{"value": [0.7]}', 400),
    ("PUT", "/api/parameters/amplitudeThreshold", b'{"value": "0.7x"}', 422),
    ("PUT", "/api/parameters/amplitudeThreshold", b'{"value": 1e9}', 422),
    ("PUT", "/api/parameters/numFreqs", b'{"value": 1.0}', 422),
    ("PUT", "/api/parameter-file", b'{"amplitudeThreshold": 0.7, "noSuchParameter": 1}', 404),
    ("PUT", "/api/parameter-file", b'{"amplitudeThreshold": 0.7, "noiseThreshold": 9}', 422),
    ("PUT", "/api/parameter-file", b'\xff\xfe not JSON', 400),
]


@pytest.mark.parametrize("method, path, body, status", BAD_REQUESTS)
def test_refused_with_a_reason_and_still_serving(server, method, path, body, status):
    before = call(server, "/api/frames/0")[1]
    got, answer = call(server, path, method, body)
    assert (got, bool(answer.get("error"))) == (status, True), answer
    assert call(server, "/api/frames/0") == (200, before)
    settings = {p["name"]: p["value"] for p in call(server, "/api/parameters")[1]["parameters"]}
    assert settings["amplitudeThreshold"] == "0.5" and settings["noiseThreshold"] == "0.07"
