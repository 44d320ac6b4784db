// The commissioning panel: everything goes through the server's JSON API,
// with the token the server printed in the page's address.
'use strict';

const token = new URLSearchParams(location.search).get('token') || '';
const $ = (selector) => document.querySelector(selector);
let variables = [];

async function api(path, options = {}) {
  const response = await fetch('/api/' + path, {
    ...options, headers: { 'X-Svodb-Token': token, ...(options.headers || {}) },
  });
  const json = (response.headers.get('Content-Type') || '').includes('json');
  const body = json ? await response.json() : await response.text();
  if (!response.ok) throw new Error((json && (body.error || body.messages)) || `HTTP ${response.status}`);
  return body;
}

function say(text, error = false) {
  $('#message').textContent = text;
  $('#message').className = error ? 'error' : '';
}

// Numbers as the drive stores them, without binary noise.
const shown = (value) => (value === null || value === undefined ? '' : String(Number(value.toPrecision(10))));

// The page's own question before anything that changes the drive.
function ask(text) {
  const dialog = $('#confirm');
  $('#confirm-text').textContent = text;
  dialog.showModal();
  return new Promise((resolve) => {
    $('#confirm-yes').onclick = () => { dialog.close(); resolve(true); };
    $('#confirm-no').onclick = () => { dialog.close(); resolve(false); };
  });
}

async function loadInfo() {
  try {
    const info = await api('info');
    $('#status').textContent = info.connected ? 'connected' : 'not connected: ' + info.problem;
    $('#status').className = 'status ' + (info.connected ? 'ok' : 'bad');
    $('#identity').replaceChildren(...info.identity.flatMap(([key, value]) => {
      const dt = document.createElement('dt'); dt.textContent = key;
      const dd = document.createElement('dd'); dd.textContent = value;
      return [dt, dd];
    }));
    $('#faults').textContent = info.faults;
  } catch (error) {
    $('#status').textContent = 'no answer: ' + error.message;
    $('#status').className = 'status bad';
  }
}

function valueEditor(variable) {
  if (variable.text !== undefined) return document.createTextNode(variable.text);
  if (variable.error !== undefined) return document.createTextNode(variable.error);
  if (variable.readOnly) return document.createTextNode(shown(variable.value));
  let editor;
  if (variable.labels.length > 0) {
    editor = document.createElement('select');
    for (const { value, label } of variable.labels) editor.add(new Option(label, value));
    editor.value = String(variable.value);
    editor.onchange = () => write(variable.name, { label: editor.selectedOptions[0].text }, editor);
  } else {
    editor = document.createElement('input');
    editor.value = shown(variable.value);
    editor.onchange = () => writeNumber(variable, editor);
  }
  editor.className = 'value-edit';
  editor.dataset.name = variable.name;
  return editor;
}

function row(variable) {
  const tr = document.createElement('tr');
  tr.dataset.name = variable.name;
  tr.title = variable.description;
  if (variable.availability !== 'enabled') tr.className = 'disabled';
  const range = variable.min === undefined ? '' : `${shown(variable.min)} … ${shown(variable.max)}`;
  const cells = [variable.name, valueEditor(variable), variable.units || '', range,
    shown(variable.default), variable.availability];
  for (const cell of cells) {
    const td = document.createElement('td');
    td.append(cell);
    tr.append(td);
  }
  return tr;
}

// Each group once, in this order; within a group the catalogue's order.
const kGroups = ['User parameters', 'Manufacturing settings', 'Status and monitoring'];

function renderTable() {
  const filter = $('#search').value.trim().toLowerCase();
  const rows = [];
  for (const group of kGroups) {
    const members = variables.filter((v) => v.group === group && (!filter || v.name.toLowerCase().includes(filter)));
    if (members.length === 0) continue;
    const tr = document.createElement('tr');
    tr.className = 'group';
    tr.innerHTML = '<td colspan="6"></td>';
    tr.firstChild.textContent = group;
    rows.push(tr, ...members.map(row));
  }
  $('#variables tbody').replaceChildren(...rows);
}

async function loadVariables() {
  variables = await api('variables');
  renderTable();
  fillPlotChoices();
}

function replaceVariable(variable) {
  variables[variables.findIndex((v) => v.name === variable.name)] = variable;
  const old = document.querySelector(`#variables tr[data-name="${variable.name}"]`);
  if (old) old.replaceWith(row(variable));
}

// The range is checked here first so that nothing out of range is sent;
// the library checks again.
function writeNumber(variable, editor) {
  const value = Number(editor.value);
  if (editor.value.trim() === '' || !Number.isFinite(value)) {
    editor.classList.add('invalid');
    return say(`${variable.name}: "${editor.value}" is not a number`, true);
  }
  if (variable.min !== undefined && (value < variable.min || value > variable.max)) {
    editor.classList.add('invalid');
    return say(`${variable.name}: ${editor.value} is outside ${shown(variable.min)} … ${shown(variable.max)}`, true);
  }
  return write(variable.name, { value }, editor);
}

async function write(name, request, editor) {
  try {
    const stored = await api('variables/' + name, { method: 'PUT', body: JSON.stringify(request) });
    replaceVariable(stored);
    const asked = request.label ?? shown(request.value);
    const now = stored.labels.find((l) => l.value === stored.value)?.label ?? shown(stored.value);
    say(`${name} stored ${now}${String(asked) === String(now) ? '' : ` (asked for ${asked})`}`);
  } catch (error) {
    editor.classList.add('invalid');
    say(`${name}: ${error.message}`, true);
  }
}

function showDiff(title, nowTitle, otherTitle, comparison) {
  $('#diff-title').textContent = `${title}: ${comparison.differing.length} of ${comparison.compared} parameters differ`;
  $('#diff-now').textContent = nowTitle;
  $('#diff-other').textContent = otherTitle;
  $('#diff tbody').replaceChildren(...comparison.differing.map((d) => {
    const tr = document.createElement('tr');
    for (const text of [d.name, d.now, d.other]) {
      const td = document.createElement('td'); td.textContent = text; tr.append(td);
    }
    return tr;
  }));
  $('#diff').hidden = false;
}

async function diffDefaults() {
  try {
    showDiff('Against the factory defaults', 'Drive now', 'Default', await api('diff/defaults'));
    $('#restore').hidden = true;
  } catch (error) { say('diff: ' + error.message, true); }
}

let restoreText = null;
async function compareFile(file) {
  try {
    restoreText = await file.text();
    const comparison = await api('diff/file', { method: 'POST', body: restoreText });
    showDiff(`What restoring ${file.name} would change`, "Drive's NV now", 'After', comparison);
    $('#restore').hidden = false;
  } catch (error) { say(`${file.name}: ${error.message}`, true); }
}

async function restore() {
  if (!await ask('Write this file to the drive\'s NV memory? A backup is saved first.')) return;
  try {
    const run = await api('restore', { method: 'POST', body: restoreText });
    say(`${run.output.trim()} (backup: ${run.backup.join(', ')})`);
    $('#diff').hidden = true;
  } catch (error) { say('restore: ' + error.message, true); }
}

async function downloadBackup() {
  try {
    const text = await api('backup');
    const link = document.createElement('a');
    link.href = URL.createObjectURL(new Blob([text], { type: 'text/plain' }));
    link.download = 'drive-backup.par';
    link.click();
    say(`backup downloaded (${text.length} bytes)`);
  } catch (error) { say('backup: ' + error.message, true); }
}

async function save() {
  if (!await ask('Save the drive\'s working parameters to its NV memory? A backup is saved first.')) return;
  try {
    const run = await api('save', { method: 'POST' });
    say(run.output.trim());
  } catch (error) { say('save: ' + error.message, true); }
}

// ---- live plot ------------------------------------------------------------
const plot = { timer: null, samples: [], names: [] };
const colours = ['#1f77b4', '#d62728', '#2ca02c', '#9467bd'];
const kPlotPeriodMs = 250;
const kPlotSamples = 240;

function fillPlotChoices() {
  const online = variables.filter((v) => v.value !== undefined).map((v) => v.name);
  const defaults = ['VBus', '', '', ''];
  $('#plot-names').replaceChildren(...defaults.map((name, i) => {
    const select = document.createElement('select');
    select.className = 'plot-name';
    select.add(new Option('—', ''));
    for (const n of online) select.add(new Option(n, n));
    select.value = online.includes(name) ? name : '';
    select.style.borderColor = colours[i];
    return select;
  }));
}

function drawPlot() {
  const canvas = $('#plot');
  const context = canvas.getContext('2d');
  context.clearRect(0, 0, canvas.width, canvas.height);
  canvas.dataset.samples = plot.samples.length;
  plot.names.forEach((name, i) => {
    const values = plot.samples.map((s) => s.values[name]).filter((v) => v !== null);
    if (values.length === 0) return;
    let low = Math.min(...values), high = Math.max(...values);
    if (high === low) { low -= 1; high += 1; }
    context.strokeStyle = colours[i];
    context.beginPath();
    plot.samples.forEach((sample, x) => {
      const y = canvas.height - 10 - ((sample.values[name] - low) / (high - low)) * (canvas.height - 20);
      const px = (x / (kPlotSamples - 1)) * canvas.width;
      if (x === 0) context.moveTo(px, y); else context.lineTo(px, y);
    });
    context.stroke();
    context.fillStyle = colours[i];
    context.fillText(`${name} ${shown(values[values.length - 1])}`, 6, 14 + 14 * i);
  });
}

async function takeSample() {
  const query = plot.names.map((n) => 'name=' + encodeURIComponent(n)).join('&');
  try {
    const values = await api('sample?' + query);
    plot.samples.push({ time: Date.now(), values });
    if (plot.samples.length > kPlotSamples) plot.samples.shift();
    drawPlot();
  } catch (error) { say('plot: ' + error.message, true); }
}

function startPlot() {
  const names = [...document.querySelectorAll('.plot-name')].map((s) => s.value).filter(Boolean);
  if (names.length === 0) return say('plot: choose one to four values', true);
  if (names.join() !== plot.names.join()) plot.samples = [];
  plot.names = names;
  clearInterval(plot.timer);
  plot.timer = setInterval(takeSample, kPlotPeriodMs);
  $('#plot-pause').disabled = false;
}

function pausePlot() {
  clearInterval(plot.timer);
  plot.timer = null;
  $('#plot-pause').disabled = true;
}

function exportCsv() {
  const lines = [['time_ms', ...plot.names].join(',')];
  for (const s of plot.samples) lines.push([s.time, ...plot.names.map((n) => s.values[n] ?? '')].join(','));
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob([lines.join('\n') + '\n'], { type: 'text/csv' }));
  link.download = 'svodb-plot.csv';
  link.click();
}

// ---- motor data and flash ---------------------------------------------------
async function loadMotor() {
  try {
    const block = await api('motor');
    $('#motor tbody').replaceChildren(...block.fields.map((field) => {
      const tr = document.createElement('tr');
      tr.dataset.name = field.name;
      for (const text of [field.name, field.value ?? '(not decodable)', field.unit]) {
        const td = document.createElement('td'); td.textContent = text; tr.append(td);
      }
      return tr;
    }));
  } catch (error) { say('motor data: ' + error.message, true); }
}

async function flash(file) {
  if (!await ask(`Program the drive's flash from ${file.name}? The drive's parameters are saved first.`)) return;
  try {
    await api('flash?name=' + encodeURIComponent(file.name), { method: 'POST', body: await file.arrayBuffer() });
    const progress = $('#flash-progress');
    for (;;) {
      const state = await api('flash');
      if (state.total > 0) { progress.max = state.total; progress.value = state.step + 1; }
      if (!state.running) {
        $('#flash-result').textContent = `${state.result.output}${state.result.messages}`;
        say(state.result.ok ? 'the flash is programmed' : 'programming the flash failed', !state.result.ok);
        return;
      }
      await new Promise((resolve) => setTimeout(resolve, 200));
    }
  } catch (error) { say('flash: ' + error.message, true); }
}

function wire() {
  $('#search').oninput = renderTable;
  $('#diff-defaults').onclick = diffDefaults;
  $('#diff-close').onclick = () => { $('#diff').hidden = true; };
  $('#restore-file').onchange = (e) => e.target.files[0] && compareFile(e.target.files[0]);
  $('#restore').onclick = restore;
  $('#backup').onclick = downloadBackup;
  $('#save').onclick = save;
  $('#plot-start').onclick = startPlot;
  $('#plot-pause').onclick = pausePlot;
  $('#plot-csv').onclick = exportCsv;
  $('#motor-load').onclick = loadMotor;
  $('#flash-file').onchange = (e) => e.target.files[0] && flash(e.target.files[0]);
}

wire();
loadInfo().then(loadVariables).catch((error) => say(error.message, true));
