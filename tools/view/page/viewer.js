'use strict';
// Frame sets, result images, the pixel under the pointer and the figures of
// the frame set. The server processes; this page only shows what it sends.

const view = {
  session: null,
  frame: 0,
  result: 'distance',
  // Counts configurations: answers for an older one are dropped.
  generation: 0,
  hovered: null,  // {x, y} of the pixel under the pointer
  playing: false,
  pixelRequest: 0,
};

function byId(id) {
  return document.getElementById(id);
}

// fetch, with a failure to connect said in the user's words.
async function request(url, options) {
  try {
    return await fetch(url, options);
  } catch (e) {
    throw new Error('kelvora view does not answer; is it still running?');
  }
}

async function fetchJson(url, options) {
  let res;
  try {
    res = await request(url, options);
  } catch (e) {
    return {ok: false, status: 0, body: {error: e.message}};
  }
  const body = await res.json().catch(() => ({error: `${res.status} ${res.statusText}`}));
  return {ok: res.ok, status: res.status, body};
}

function showStatus(message) {
  byId('status').textContent = message || '';
}

function megahertz(hz) {
  return `${+(hz / 1e6).toFixed(2)} MHz`;
}

// Every number also goes into data-value as JavaScript prints it, which
// reads back as the very value the server sent.
function showValue(id, value, text) {
  const cell = byId(id);
  cell.dataset.value = value === null || value === undefined ? '' : String(value);
  cell.textContent = value === null || value === undefined ? '-' : text;
}

function showFigures(summary) {
  const total = summary.width * summary.height;
  showValue('valid-fraction', summary.validFraction,
            `${(100 * summary.validFraction).toFixed(2)} % (${summary.validPixels} of ${total})`);
  showValue('processing-time', summary.milliseconds, `${summary.milliseconds.toFixed(2)} ms`);
  const names = ['grey'].concat(view.session.frequencies.map(megahertz));
  const proposals = summary.exposureProposals.map((p, i) => `${names[i] || '?'} ${p}`);
  showValue('exposure-proposals', summary.exposureProposals.join(' '), proposals.join(', '));
}

function loadImage(url) {
  return new Promise((resolve, reject) => {
    const image = new Image();
    image.onload = () => resolve(url);
    image.onerror = () => reject(new Error('the server sent an image the browser cannot show'));
    image.src = url;
  });
}

// Fetched and decoded before it replaces the old image, so the page never
// flickers, and fetched once: the server marks its answers not to be cached.
async function showImage(index, generation) {
  const result = view.result;
  const res = await request(`api/frames/${index}/${result}.png`);
  if (!res.ok) {
    const body = await res.json().catch(() => ({error: res.statusText}));
    throw new Error(body.error);
  }
  const url = URL.createObjectURL(await res.blob());
  await loadImage(url);
  if (index !== view.frame || generation !== view.generation || result !== view.result) {
    return URL.revokeObjectURL(url);
  }
  const image = byId('result-image');
  if (image.src.startsWith('blob:')) URL.revokeObjectURL(image.src);
  image.src = url;
  image.dataset.frame = index;
  image.dataset.result = result;
}

async function showPixel() {
  if (!view.hovered) return;
  const request = ++view.pixelRequest;
  const {x, y} = view.hovered;
  const {ok, body} = await fetchJson(`api/frames/${view.frame}/pixel?x=${x}&y=${y}`);
  if (request !== view.pixelRequest) return;
  if (!ok) return showStatus(body.error);
  showValue('px-position', `${body.x},${body.y}`, `${body.x}, ${body.y}`);
  showValue('px-distance', body.distance, `${body.distance.toFixed(4)} m`);
  showValue('px-noise', body.noise, `${(1000 * body.noise).toFixed(2)} mm`);
  showValue('px-amplitude', body.amplitude, body.amplitude.toFixed(2));
  showValue('px-intensity', body.intensity, body.intensity.toFixed(2));
  showValue('px-flags', body.flags,
            `0x${body.flags.toString(16).padStart(2, '0')} ${body.flagsText}`);
  byId('pixel-info').dataset.frame = view.frame;
}

// Shows the current frame set; marks #stats with the frame set and
// configuration once everything of it is on the page.
async function showFrameSet() {
  const index = view.frame;
  const generation = view.generation;
  byId('frame').value = index;
  byId('frame-label').textContent = `${index} (0 to ${view.session.frameSets - 1})`;
  const {ok, body} = await fetchJson(`api/frames/${index}`);
  if (index !== view.frame || generation !== view.generation) return;
  if (!ok) return showStatus(body.error);
  showStatus('');
  showFigures(body);
  try {
    await Promise.all([showImage(index, generation), cloud.show(index, generation, body)]);
  } catch (e) {
    return showStatus(e.message);
  }
  await showPixel();
  if (index !== view.frame || generation !== view.generation) return;
  byId('stats').dataset.frame = index;
  byId('stats').dataset.configuration = generation;
}

function pixelUnderPointer(event) {
  const image = byId('result-image');
  const box = image.getBoundingClientRect();
  const scale = view.session.imageScale * (box.width / image.naturalWidth);
  const x = Math.floor((event.clientX - box.left) / scale);
  const y = Math.floor((event.clientY - box.top) / scale);
  // Right of the picture is the legend.
  if (x < 0 || y < 0 || x >= view.session.width || y >= view.session.height) return null;
  return {x, y};
}

async function play() {
  while (view.playing) {
    view.frame = (view.frame + 1) % view.session.frameSets;
    const started = performance.now();
    await showFrameSet();
    const rest = 200 - (performance.now() - started);
    if (rest > 0) await new Promise(resolve => setTimeout(resolve, rest));
  }
}

function configurationChanged() {
  view.generation += 1;
  return showFrameSet();
}

function wireControls() {
  byId('frame').addEventListener('input', event => {
    view.frame = Number(event.target.value);
    showFrameSet();
  });
  byId('play').addEventListener('click', event => {
    view.playing = !view.playing;
    event.target.textContent = view.playing ? 'pause' : 'play';
    if (view.playing) play();
  });
  for (const radio of document.querySelectorAll('input[name=result]')) {
    radio.addEventListener('change', () => {
      view.result = radio.value;
      showImage(view.frame, view.generation).catch(e => showStatus(e.message));
    });
  }
  const image = byId('result-image');
  image.addEventListener('mousemove', event => {
    const pixel = pixelUnderPointer(event);
    if (!pixel || (view.hovered && pixel.x === view.hovered.x && pixel.y === view.hovered.y)) {
      return;
    }
    view.hovered = pixel;
    showPixel();
  });
}

async function startViewer() {
  const {ok, body} = await fetchJson('api/session');
  if (!ok) return showStatus(body.error);
  view.session = body;
  byId('source').textContent =
      `${body.recording} (${body.frameSets} frame sets of ${body.width} x ${body.height}, ` +
      `${body.frequencies.map(megahertz).join(' and ')}) with ${body.calibration}`;
  byId('frame').max = body.frameSets - 1;
  wireControls();
  cloud.start(body.threeProblem);
  await parameters.start(configurationChanged);
  await showFrameSet();
}
