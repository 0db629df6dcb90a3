'use strict';
// The point cloud in 3D with three.js: orbit, pan and zoom, coloured by
// distance or by flag word with the colours of the result images, which the
// server computes.

const cloud = (() => {
  let renderer = null;
  let camera = null;
  let controls = null;
  let scene = null;
  let geometry = null;
  let colours = {distance: null, flags: null};
  let mode = 'distance';
  let aimed = false;

  function render() {
    renderer.render(scene, camera);
  }

  function start(threeProblem) {
    const box = byId('cloud');
    if (threeProblem || typeof THREE === 'undefined' || !THREE.OrbitControls) {
      box.textContent = threeProblem || 'three.js did not load';
      return;
    }
    // The drawing buffer is kept so that a screenshot shows the cloud.
    renderer = new THREE.WebGLRenderer({antialias: true, preserveDrawingBuffer: true});
    renderer.setPixelRatio(window.devicePixelRatio);
    renderer.setSize(box.clientWidth, box.clientHeight);
    renderer.setClearColor(0xc8ccd0);
    box.appendChild(renderer.domElement);
    camera = new THREE.PerspectiveCamera(50, box.clientWidth / box.clientHeight, 0.01, 200);
    scene = new THREE.Scene();
    geometry = new THREE.BufferGeometry();
    const material = new THREE.PointsMaterial(
        {size: 2, sizeAttenuation: false, vertexColors: THREE.VertexColors});
    scene.add(new THREE.Points(geometry, material));
    controls = new THREE.OrbitControls(camera, renderer.domElement);
    controls.addEventListener('change', render);
    for (const radio of document.querySelectorAll('input[name=cloud-colour]')) {
      radio.addEventListener('change', () => {
        mode = radio.value;
        if (colours[mode]) {
          geometry.setAttribute('color', colours[mode]);
          render();
        }
      });
    }
  }

  // The first cloud places the camera at the sensor, looking at the
  // cloud's centre; later frame sets keep the user's view.
  function aim(positions, count) {
    const centre = new THREE.Vector3();
    for (let i = 0; i < count; ++i) {
      centre.x += positions[3 * i] / count;
      centre.y += positions[3 * i + 1] / count;
      centre.z += positions[3 * i + 2] / count;
    }
    camera.position.set(0, 0, 0.01);
    controls.target.copy(centre);
    controls.update();
    aimed = true;
  }

  // Layout of the server's answer: count N (uint32), N x (x, y, z) float32,
  // N RGB bytes by distance, N RGB bytes by flags.
  async function show(index, generation) {
    if (!renderer) return;
    const res = await request(`api/frames/${index}/points`);
    if (!res.ok) throw new Error(`point cloud: ${res.status} ${res.statusText}`);
    const bytes = await res.arrayBuffer();
    if (index !== view.frame || generation !== view.generation) return;
    const count = new DataView(bytes).getUint32(0, true);
    const camera_ = new Float32Array(bytes, 4, 3 * count);
    // The camera's frame has y down and z forward; three.js looks along -z
    // with y up.
    const positions = new Float32Array(3 * count);
    for (let i = 0; i < count; ++i) {
      positions[3 * i] = camera_[3 * i];
      positions[3 * i + 1] = -camera_[3 * i + 1];
      positions[3 * i + 2] = -camera_[3 * i + 2];
    }
    colours = {
      distance: new THREE.BufferAttribute(new Uint8Array(bytes, 4 + 12 * count, 3 * count), 3, true),
      flags: new THREE.BufferAttribute(new Uint8Array(bytes, 4 + 15 * count, 3 * count), 3, true),
    };
    geometry.setAttribute('position', new THREE.BufferAttribute(positions, 3));
    geometry.setAttribute('color', colours[mode]);
    geometry.computeBoundingSphere();
    if (!aimed && count > 0) aim(positions, count);
    render();
    byId('cloud').dataset.points = count;
    byId('cloud').dataset.frame = index;
  }

  return {start, show};
})();
