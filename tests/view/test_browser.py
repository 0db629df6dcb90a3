"""The viewer page in headless Chromium, used as a person would: step to a
frame set, look at its flags, hover a pixel, tune a parameter, look at the
point cloud. What the page shows is checked against `kelvora process`."""
import json
import os
import tempfile

import numpy as np
import pytest
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from conftest import call, process

# A digest of the 3D view's pixels and how many colours it shows.
CANVAS_PIXELS = """
const c = document.querySelector('#cloud canvas'), t = document.createElement('canvas');
[t.width, t.height] = [c.width, c.height];
const g = t.getContext('2d'); g.drawImage(c, 0, 0);
const d = g.getImageData(0, 0, t.width, t.height).data, seen = new Set();
let digest = 0;
for (let i = 0; i < d.length; i += 4) {
  const rgb = (d[i] << 16) | (d[i + 1] << 8) | d[i + 2];
  seen.add(rgb); digest = (digest * 31 + rgb) >>> 0;
}
return [digest, seen.size];"""


@pytest.fixture(scope="module")
def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in ("--headless=new", "--no-sandbox", "--use-gl=swiftshader",
                 "--enable-unsafe-swiftshader", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--no-first-run",
                 "--disable-quic", "--window-size=1600,1000", "--force-device-scale-factor=1",
                 "--user-data-dir=" + tempfile.mkdtemp(prefix="kelvora-chromium-")):
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    yield driver
    driver.quit()


def test_page(browser, server, kelvora, data, request):
    artefacts = request.config.getoption("--artefacts") or str(data)
    os.makedirs(artefacts, exist_ok=True)
    wait = WebDriverWait(browser, 60)
    find = browser.find_element

    def shown(selector, attribute, value):
        wait.until(lambda d: d.find_element(By.CSS_SELECTOR, selector).get_attribute(attribute)
                   == str(value))

    def value(element_id):
        return find(By.ID, element_id).get_attribute("data-value")

    browser.get(server)
    shown("#stats", "data-frame", 0)
    find(By.ID, "frame").click()  # the slider takes the arrow keys from here
    find(By.ID, "frame").send_keys(Keys.HOME, *[Keys.ARROW_RIGHT] * 3)
    shown("#stats", "data-frame", 3)
    find(By.CSS_SELECTOR, "input[name=result][value=flags]").click()
    shown("#result-image", "data-result", "flags")

    # Hover a saturated pixel of the bright patch; its values are the engine's bits.
    expected = process(kelvora, data, "default")
    y, x = np.argwhere(expected["flags"] & 0x02)[0]
    image = find(By.ID, "result-image")
    scale = image.rect["width"] / browser.execute_script("return arguments[0].naturalWidth", image)
    ActionChains(browser).move_to_element_with_offset(
        image, int((2 * x + 1) * scale - image.rect["width"] / 2),
        int((2 * y + 1) * scale - image.rect["height"] / 2)).perform()
    shown("#px-position", "data-value", f"{x},{y}")
    for result in ("distance", "noise", "amplitude", "intensity"):
        assert np.float32(float(value("px-" + result))) == expected[result][y, x], result
    assert int(value("px-flags")) == expected["flags"][y, x]
    assert "saturated" in find(By.ID, "px-flags").text
    valid = float(value("valid-fraction"))
    assert valid == np.count_nonzero(expected["flags"] == 0) / expected["flags"].size

    find(By.CSS_SELECTOR, "input[name=result][value=distance]").click()
    shown("#result-image", "data-result", "distance")
    find(By.ID, "image-panel").screenshot(os.path.join(artefacts, "view-distance.png"))

    # The 3D view draws the cloud, recolours it by flags and orbits on a drag.
    assert int(find(By.ID, "cloud").get_attribute("data-points")) > 0.9 * expected["flags"].size
    digest, colours = browser.execute_script(CANVAS_PIXELS)
    assert colours > 50
    find(By.CSS_SELECTOR, "input[name=cloud-colour][value=flags]").click()
    by_flags = browser.execute_script(CANVAS_PIXELS)[0]
    canvas = find(By.CSS_SELECTOR, "#cloud canvas")
    ActionChains(browser).drag_and_drop_by_offset(canvas, 80, 30).perform()
    assert len({digest, by_flags, browser.execute_script(CANVAS_PIXELS)[0]}) == 3
    find(By.CSS_SELECTOR, "input[name=cloud-colour][value=distance]").click()
    find(By.ID, "cloud-panel").screenshot(os.path.join(artefacts, "view-cloud.png"))
    browser.save_screenshot(os.path.join(artefacts, "view-page.png"))

    # Tune: a higher amplitude threshold flags more pixels; a value out of
    # bounds is refused with the reason and changes nothing.
    field = find(By.ID, "param-amplitudeThreshold")
    field.clear()
    field.send_keys("300", Keys.ENTER)
    shown("#stats", "data-configuration", 1)
    tuned = float(value("valid-fraction"))
    assert tuned < valid
    field.clear()
    field.send_keys("5000", Keys.ENTER)
    wait.until(lambda d: "outside the bounds" in find(By.ID, "refusal-amplitudeThreshold").text)
    assert "4095" in find(By.ID, "refusal-amplitudeThreshold").text
    assert find(By.ID, "stats").get_attribute("data-configuration") == "1"
    assert float(value("valid-fraction")) == tuned

    # The saved settings give `kelvora process --params` the page's results.
    settings = data / "tuned.json"
    settings.write_text(json.dumps(call(server, "/api/parameter-file")[1]))
    tuned_flags = process(kelvora, data, "tuned", "--params", settings)["flags"]
    assert np.count_nonzero(tuned_flags == 0) / tuned_flags.size == tuned
