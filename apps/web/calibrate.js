// The calibration panel: the black level, lens shading, white points and colour matrix of the
// sensor module, measured on frames the server takes from the camera or on raw files uploaded
// here, shown as tables, a gain map and chart swatches, and imported into the ISP with one
// button (the shell requests the server answers with).

import { el } from './editors.js';

const kSteps = [
  { kind: 'black', title: 'Black level', help: 'Dark frames: the lens cap on (the camera scene goes to 0 lux).' },
  { kind: 'shading', title: 'Lens shading', help: 'A flat field: an evenly lit grey filling the frame.' },
  { kind: 'white', title: 'White points', help: 'The colour chart under several lights: white-balance gains per light.' },
  { kind: 'colour', title: 'Colour matrix', help: 'The 24-patch colour chart under one light.' },
];

const fixed = (value, digits) => (typeof value === 'number' ? value.toFixed(digits) : '–');
const rgb = (c) => `rgb(${c[0]},${c[1]},${c[2]})`;

// "2800, 5000 6500" -> [2800, 5000, 6500]; null when a part is not a number.
export function parseNumberList(text) {
  const parts = text.split(/[\s,;]+/).filter(Boolean);
  const values = parts.map(Number);
  return values.every(Number.isFinite) ? values : null;
}

// The body of POST /api/calibrate for a step and the options chosen.
export function calibrationBody(kind, { source, frames, illuminant, illuminants, gains }) {
  const body = { kind, source };
  if (source === 'twin') body.frames = frames;
  if (kind === 'colour' && source === 'twin' && illuminant) body.illuminant = illuminant;
  if (kind === 'white') body.illuminants = illuminants;
  if (kind === 'black' && gains && gains.length) body.gains = gains;
  return body;
}

// A gain (1 = 1024) as a colour from dark blue (lowest) over teal to yellow (highest).
function heat(t) {
  const stops = [[24, 32, 96], [32, 120, 150], [60, 190, 120], [250, 220, 70]];
  const x = Math.min(Math.max(t, 0), 1) * (stops.length - 1);
  const i = Math.min(Math.floor(x), stops.length - 2);
  const f = x - i;
  return stops[i].map((a, k) => Math.round(a + (stops[i + 1][k] - a) * f));
}

// The grid's gains drawn over the frame's proportions (aspect: height / width).
function gainMap(channel, side, unity, low, high, aspect) {
  const scale = 4;
  const canvas = el('canvas', { width: side * scale, height: side * scale, class: 'gain-map', title: `${channel.name} gains`,
    style: `height:${Math.round(132 * aspect)}px` });
  const context = canvas.getContext('2d');
  const image = context.createImageData(side * scale, side * scale);
  for (let y = 0; y < side * scale; ++y) {
    for (let x = 0; x < side * scale; ++x) {
      const gain = channel.grid[Math.floor(y / scale) * side + Math.floor(x / scale)] / unity;
      const [r, g, b] = heat(high > low ? (gain - low) / (high - low) : 0.5);
      const at = (y * side * scale + x) * 4;
      image.data.set([r, g, b, 255], at);
    }
  }
  context.putImageData(image, 0, 0);
  return canvas;
}

function table(head, rows) {
  return el('table', { class: 'calibrate-table' },
    el('thead', {}, el('tr', {}, head.map((h) => el('th', {}, h)))),
    el('tbody', {}, rows.map((cells) => el('tr', {}, cells.map((c) => el('td', {}, c))))));
}

function blackView(result) {
  const full = 2 ** result.bitDepth;
  const rows = [];
  for (const point of result.points) {
    for (const c of point.channels) {
      rows.push([c.name, `×${fixed(point.gain, 2)}`, fixed(c.level, 2), fixed(c.noise, 2), fixed((c.level * 4096) / full, 1)]);
    }
  }
  return el('div', {},
    el('p', { class: 'muted' }, `${result.bitDepth}-bit captures; the pedestal is given on the 12-bit scale "BLS" data uses.`),
    table(['Channel', 'Gain', 'Level (codes)', 'Noise (codes)', 'Pedestal (12-bit)'], rows));
}

function shadingView(result) {
  const gains = result.channels.flatMap((c) => c.grid.map((g) => g / result.unity));
  const low = Math.min(...gains), high = Math.max(...gains);
  return el('div', {},
    el('div', { class: 'gain-maps' }, result.channels.map((c) => el('figure', {},
      gainMap(c, result.gridSide, result.unity, low, high, result.width ? result.height / result.width : 1),
      el('figcaption', {}, el('b', {}, c.name),
        ` corners ${fixed(100 * c.cornerToCentreBefore, 1)}% → ${fixed(100 * c.cornerToCentreAfter, 1)}% of the centre`))),
    ),
    el('p', { class: 'legend' }, el('span', { class: 'ramp' }), ` gain ${fixed(low, 2)} … ${fixed(high, 2)}`));
}

function colourView(result) {
  const swatch = (p) => el('div', { class: 'swatch', title: `${p.name}: ΔE ${fixed(p.deltaEBefore, 2)} before, ${fixed(p.deltaEAfter, 2)} after` },
    el('div', { class: 'patch' },
      el('span', { class: 'reference', style: `background:${rgb(p.reference)}` }),
      el('span', { class: 'measured' },
        el('i', { style: `background:${rgb(p.before)}`, title: 'measured before' }),
        el('i', { style: `background:${rgb(p.after)}`, title: 'measured after' }))),
    el('small', {}, p.name),
    el('small', { class: 'num' }, `ΔE ${fixed(p.deltaEBefore, 1)} → ${fixed(p.deltaEAfter, 1)}`));
  return el('div', {},
    el('p', { class: 'muted' }, `Each patch: the chart's colour on the left; on the right as measured with the matrix in use (top) and with the new one (bottom), at ${fixed(result.illuminant, 0)} K.`),
    el('div', { class: 'swatches' }, result.patches.map(swatch)),
    table(['CIEDE2000', 'Mean', 'Max'], [
      ['before', fixed(result.meanBefore, 2), fixed(result.maxBefore, 2)],
      ['after', fixed(result.meanAfter, 2), fixed(result.maxAfter, 2)],
    ]),
    el('p', { class: 'mono matrix' }, `matrix ${[0, 3, 6].map((i) => result.matrix.slice(i, i + 3).map((v) => fixed(v, 3)).join(' ')).join(' | ')}; white balance ${result.wbGains.map((v) => fixed(v, 3)).join(', ')}`));
}

function whiteView(result) {
  return el('div', {},
    table(['Light', 'R gain', 'Gr', 'Gb', 'B gain', 'R/G', 'B/G', 'Greys within'],
      result.points.map((p) => [`${fixed(p.kelvin, 0)} K`, ...p.gains.map((g) => fixed(g, 3)), fixed(p.rg, 3), fixed(p.bg, 3), `${fixed(100 * p.neutralError, 2)}%`])),
    el('p', { class: 'muted' }, `Import sets the gains of the light nearest the scene's ${fixed(result.applyKelvin, 0)} K.`));
}

const kViews = { black: blackView, shading: shadingView, colour: colourView, white: whiteView };

// api: the Api of api.js. hooks: onError(error, where); beforeApply() and afterApply() around
// an import, so that the preview keeps the picture before it and shows the corrected one.
export function createCalibratePanel(api, { onError, beforeApply = () => {}, afterApply = () => {} }) {
  let step = kSteps[0];
  let busy = false;
  const results = {}; // the last result of each step, by kind
  let result = null; // the one shown: the current step's

  const tabs = kSteps.map((s) => el('button', { type: 'button', class: 'tab', dataset: { kind: s.kind } }, s.title));
  const help = el('p', { class: 'muted step-help' });
  const sourceTwin = el('input', { type: 'radio', name: 'calibrate-source', value: 'twin', checked: true });
  const sourceUploads = el('input', { type: 'radio', name: 'calibrate-source', value: 'uploads' });
  const frames = el('input', { type: 'number', min: 1, max: 16, value: 4, class: 'short', name: 'frames' });
  const illuminant = el('input', { type: 'number', min: 2800, max: 7500, step: 100, value: 5000, class: 'short', name: 'illuminant' });
  const illuminants = el('input', { type: 'text', value: '2800, 4000, 5000, 6500', name: 'illuminants', spellcheck: 'false' });
  const gains = el('input', { type: 'text', value: '', placeholder: '1', name: 'gains', spellcheck: 'false' });
  const illuminantLabel = el('label', {}, 'Light ', illuminant, ' K');
  const illuminantsLabel = el('label', {}, 'Lights ', illuminants, ' K');
  const gainsLabel = el('label', {}, 'Gains ', gains);
  const framesLabel = el('label', {}, 'Frames ', frames);
  const fileInput = el('input', { type: 'file', multiple: true, name: 'captures', hidden: true });
  const progress = el('progress', { max: 1, value: 0, hidden: true });
  const uploadList = el('ul', { class: 'upload-list' });
  const clearButton = el('button', { type: 'button', class: 'ghost small' }, 'Clear uploads');
  const runButton = el('button', { type: 'button', class: 'primary run' }, 'Calibrate');
  const status = el('p', { class: 'calibrate-status', role: 'status' });
  const resultBox = el('div', { class: 'calibrate-result' });
  const importButton = el('button', { type: 'button', class: 'primary import', disabled: true }, 'Import');
  const download = el('a', { class: 'button small', hidden: true }, 'Download file');

  const twinOptions = el('div', { class: 'calibrate-options' }, framesLabel, illuminantLabel, illuminantsLabel, gainsLabel);
  const uploadOptions = el('div', { class: 'calibrate-options' },
    el('label', { class: 'button' }, 'Choose raw files…', fileInput), progress, clearButton, uploadList);

  const say = (text, kind = '') => {
    status.textContent = text;
    status.dataset.kind = kind;
  };

  const layout = () => {
    const twin = sourceTwin.checked;
    for (const tab of tabs) tab.classList.toggle('current', tab.dataset.kind === step.kind);
    help.textContent = step.help;
    twinOptions.hidden = !twin && step.kind !== 'white' && step.kind !== 'black';
    framesLabel.hidden = !twin;
    illuminantLabel.hidden = !(twin && step.kind === 'colour');
    illuminantsLabel.hidden = step.kind !== 'white';
    gainsLabel.hidden = step.kind !== 'black';
    uploadOptions.hidden = twin;
    runButton.textContent = twin ? 'Capture from camera' : 'Use uploaded files';
    runButton.disabled = busy;
  };

  const showUploads = (list) => {
    uploadList.replaceChildren(...(list.captures.length
      ? list.captures.map((c) => el('li', {}, `${c.name} `, el('span', { class: 'muted' }, `${c.width}×${c.height}`)))
      : [el('li', { class: 'muted' }, 'No files uploaded')]));
  };
  const refreshUploads = () => api.call('GET', '/api/calibrate/captures').then(showUploads, (error) => onError(error, 'Calibration uploads'));

  // One file through XMLHttpRequest, whose upload reports progress; resolves with the list.
  const uploadOne = (file, retried = false) => new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open('PUT', `${api.base}/api/calibrate/captures?name=${encodeURIComponent(file.name)}`);
    for (const [name, value] of Object.entries(api.headers({ 'Content-Type': 'application/octet-stream' }))) {
      request.setRequestHeader(name, value);
    }
    request.upload.addEventListener('progress', (event) => {
      if (event.lengthComputable) progress.value = event.loaded / event.total;
    });
    request.addEventListener('load', async () => {
      let data = null;
      try {
        data = JSON.parse(request.responseText);
      } catch {
        // not JSON
      }
      if (request.status === 401 && !retried && (await api.renewToken('The upload needs a valid token.'))) {
        uploadOne(file, true).then(resolve, reject);
      } else if (request.status === 200 && data) {
        resolve(data);
      } else {
        reject(new Error(`${file.name} refused (${request.status}): ${data && data.error ? data.error : request.statusText}`));
      }
    });
    request.addEventListener('error', () => reject(new Error(`${file.name}: the server did not answer`)));
    request.send(file);
  });

  fileInput.addEventListener('change', async () => {
    const files = [...fileInput.files];
    fileInput.value = '';
    progress.hidden = false;
    try {
      for (const [i, file] of files.entries()) {
        say(`Uploading ${file.name} (${i + 1} of ${files.length})…`);
        progress.value = 0;
        showUploads(await uploadOne(file));
      }
      say(`${files.length} file${files.length === 1 ? '' : 's'} uploaded.`, 'ok');
    } catch (error) {
      say(`Upload: ${error.message}`, 'error');
      refreshUploads();
    } finally {
      progress.hidden = true;
    }
  });
  clearButton.addEventListener('click', async () => {
    try {
      showUploads(await api.call('DELETE', '/api/calibrate/captures'));
    } catch (error) {
      say(error.message, 'error');
    }
  });

  const showResult = () => {
    if (!result) {
      resultBox.replaceChildren();
      importButton.disabled = true;
      download.hidden = true;
      return;
    }
    resultBox.replaceChildren(
      el('h4', {}, kSteps.find((s) => s.kind === result.kind).title),
      kViews[result.kind](result),
      el('ul', { class: 'report' }, result.report.map((line) => el('li', {}, line))));
    importButton.disabled = !result.apply.length;
    const text = result.file || result.fragment;
    download.hidden = !text;
    if (text) {
      download.href = URL.createObjectURL(new Blob([text], { type: result.file ? 'text/plain' : 'application/json' }));
      download.download = result.file ? `${result.kind === 'colour' ? 'ccm' : 'lsc_3'}.txt` : `${result.kind}.json`;
      download.textContent = result.file ? 'Download calibration file' : 'Download settings fragment';
    }
  };

  runButton.addEventListener('click', async () => {
    const options = {
      source: sourceTwin.checked ? 'twin' : 'uploads',
      frames: Number(frames.value),
      illuminant: Number(illuminant.value),
      illuminants: parseNumberList(illuminants.value),
      gains: parseNumberList(gains.value),
    };
    if (step.kind === 'white' && !(options.illuminants && options.illuminants.length)) {
      say('Give the colour temperature of each light, e.g. 2800, 5000, 6500.', 'error');
      return;
    }
    if (options.gains === null) {
      say('Gains must be numbers, e.g. 1, 4, 16.', 'error');
      return;
    }
    busy = true;
    layout();
    const kind = step.kind;
    result = results[kind] = null;
    showResult();
    say(options.source === 'twin' ? 'Capturing from the camera and calibrating…' : 'Calibrating the uploaded files…', 'busy');
    try {
      results[kind] = await api.call('POST', '/api/calibrate', JSON.stringify(calibrationBody(kind, options)));
      if (step.kind === kind) say('Done: check the result, then import it.', 'ok');
    } catch (error) {
      say(error.message.replace(/^\d+: /, ''), 'error');
    } finally {
      busy = false;
      result = results[step.kind] || null;
      layout();
      showResult();
    }
  });

  importButton.addEventListener('click', async () => {
    if (!result) return;
    importButton.disabled = true;
    beforeApply();
    try {
      const answers = await api.request(result.apply);
      const problems = answers.flatMap((a) => a.message || []);
      if (problems.length) say(`Import: ${problems.join('; ')}`, 'error');
      else say(`${kSteps.find((s) => s.kind === result.kind).title} imported into the ISP.`, 'ok');
    } catch (error) {
      say(`Import: ${error.message}`, 'error');
    } finally {
      importButton.disabled = false;
      afterApply();
    }
  });

  for (const tab of tabs) {
    tab.addEventListener('click', () => {
      step = kSteps.find((s) => s.kind === tab.dataset.kind);
      say('');
      result = results[step.kind] || null;
      layout();
      showResult();
    });
  }
  sourceTwin.addEventListener('change', layout);
  sourceUploads.addEventListener('change', layout);

  const element = el('section', { class: 'card calibrate-panel' },
    el('h3', {}, 'Calibrate the sensor module'),
    el('nav', { class: 'steps' }, tabs),
    help,
    el('div', { class: 'calibrate-source' },
      el('label', {}, sourceTwin, ' Capture from camera'),
      el('label', {}, sourceUploads, ' Use uploaded files')),
    twinOptions,
    uploadOptions,
    el('div', { class: 'calibrate-actions' }, runButton, importButton, download),
    status,
    resultBox);
  layout();
  refreshUploads();
  return { element, dispose() {} };
}
