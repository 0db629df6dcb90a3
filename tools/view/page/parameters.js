'use strict';
// The tuning panel: every parameter the engine accepts, with its type,
// bounds and description. A change goes to the server, which reconfigures
// the engine; a refused value stays in its field, marked, with the reason.

const parameters = (() => {
  let changed = () => {};

  function input(p) {
    const field = document.createElement('input');
    field.id = `param-${p.name}`;
    field.name = p.name;
    if (p.type === 'bool') {
      field.type = 'checkbox';
      field.checked = p.value === 'true';
    } else {
      field.type = 'text';
      field.inputMode = p.type === 'float' ? 'decimal' : 'numeric';
      field.value = p.value;
    }
    field.addEventListener('change', () => send(p.name, field));
    return field;
  }

  function row(p) {
    const tr = document.createElement('tr');
    const name = document.createElement('td');
    name.innerHTML = '<div></div><div class="description"></div>';
    name.firstChild.textContent = p.name;
    name.lastChild.textContent = p.description;
    const type = document.createElement('td');
    type.textContent = p.type;
    const bounds = document.createElement('td');
    bounds.textContent = p.hasBounds ? `${p.lowerBound} to ${p.upperBound}` : 'any';
    const value = document.createElement('td');
    const refusal = document.createElement('div');
    refusal.id = `refusal-${p.name}`;
    refusal.className = 'refusal';
    value.append(input(p), refusal);
    tr.append(name, type, bounds, value);
    return tr;
  }

  function showList(list) {
    const body = document.querySelector('#parameters tbody');
    body.replaceChildren(...list.map(row));
  }

  async function send(name, field) {
    const value = field.type === 'checkbox' ? field.checked : field.value.trim();
    const {ok, body} = await fetchJson(`api/parameters/${encodeURIComponent(name)}`, {
      method: 'PUT',
      headers: {'Content-Type': 'application/json'},
      body: JSON.stringify({value}),
    });
    const refusal = byId(`refusal-${name}`);
    if (!ok) {
      if (field.type === 'checkbox') field.checked = !field.checked;
      field.classList.add('refused');
      refusal.textContent = `${body.error}; the engine keeps its settings`;
      return;
    }
    field.classList.remove('refused');
    refusal.textContent = '';
    const current = body.parameters.find(p => p.name === name);
    if (current && field.type !== 'checkbox') field.value = current.value;
    await changed();
  }

  async function load(file) {
    const message = byId('load-message');
    const {ok, body} = await fetchJson('api/parameter-file', {
      method: 'PUT',
      headers: {'Content-Type': 'application/json'},
      body: await file.text(),
    });
    if (!ok) {
      message.textContent = `${file.name}: ${body.error}; nothing was changed`;
      return;
    }
    message.textContent = '';
    showList(body.parameters);
    await changed();
  }

  async function start(onChange) {
    changed = onChange;
    byId('load').addEventListener('change', event => {
      if (event.target.files.length) load(event.target.files[0]);
      event.target.value = '';
    });
    const {ok, body} = await fetchJson('api/parameters');
    if (!ok) return showStatus(body.error);
    showList(body.parameters);
  }

  return {start};
})();
