// The lab panel: what the simulated camera looks at (scene brightness, colour of the light,
// chart or flat grey) and what its control loop makes of it: exposure, white balance gains and
// lens position, read about twice a second while the panel is open.

import { el } from './editors.js';

const kPollMs = 500;
const kScenes = ['chart', 'flat', 'injected'];

// The loops' switches, written through the shell like any other key.
const kSwitches = [
  { label: 'Auto exposure', category: 'EC_2', key: 'state', on: 1, off: 0 },
  { label: 'Auto white balance', category: 'AWB_4', key: 'mode', on: 1, off: 0 },
  { label: 'Auto focus', category: 'FC', key: 'mode', on: 1, off: 0 },
];

function fixed(value, digits) {
  return typeof value === 'number' ? value.toFixed(digits) : '–';
}

// Lux on a log slider: 0 (lens cap) and 1 .. 100000.
const luxToSlider = (lux) => (lux <= 0 ? 0 : Math.round(Math.log10(lux) * 100));
const sliderToLux = (position) => (position <= 0 ? 0 : Math.round(10 ** (position / 100)));

// api: the Api of api.js; onError(error, where) reports a failure.
export function createLabPanel(api, { onError }) {
  const lux = el('input', { type: 'range', min: 0, max: 500, step: 1, title: 'Scene brightness (0: lens cap)' });
  const luxText = el('output', {});
  const illuminant = el('input', { type: 'range', min: 2800, max: 7500, step: 100, title: 'Colour temperature of the light' });
  const illuminantText = el('output', {});
  const scene = el('select', { title: 'What the camera looks at' }, kScenes.map((name) => el('option', { value: name }, name)));
  const readout = el('dl', { class: 'lab-readout' });
  // Controls stay disabled until their values have been read, so that a late answer never
  // overwrites what the engineer just set.
  const switches = kSwitches.map((entry) => {
    const box = el('input', { type: 'checkbox', disabled: true });
    box.addEventListener('change', async () => {
      const value = { current: box.checked ? entry.on : entry.off };
      try {
        await api.request({ category: entry.category, key: entry.key, value });
      } catch (error) {
        onError(error, entry.label);
      }
    });
    return { entry, box, label: el('label', {}, box, ` ${entry.label}`) };
  });

  const put = async (body) => {
    try {
      show(await api.call('PUT', '/api/scene', JSON.stringify(body)));
    } catch (error) {
      onError(error, 'Scene');
    }
  };
  const show = (current) => {
    if (!current) return;
    lux.value = luxToSlider(current.lux);
    luxText.textContent = `${current.lux} lx`;
    illuminant.value = current.illuminant;
    illuminantText.textContent = `${current.illuminant} K`;
    scene.value = current.scene;
  };
  lux.addEventListener('input', () => {
    luxText.textContent = `${sliderToLux(Number(lux.value))} lx`;
  });
  lux.addEventListener('change', () => put({ lux: sliderToLux(Number(lux.value)) }));
  illuminant.addEventListener('input', () => {
    illuminantText.textContent = `${illuminant.value} K`;
  });
  illuminant.addEventListener('change', () => put({ illuminant: Number(illuminant.value) }));
  scene.addEventListener('change', () => put({ scene: scene.value }));

  const row = (name, value) => [el('dt', {}, name), el('dd', {}, value)];
  const showControl = (c) => {
    const e = c.exposure, w = c.whiteBalance, f = c.focus;
    readout.replaceChildren(
      ...row('Exposure', `${e.state}: luma ${fixed(e.luma, 1)} → ${fixed(e.target, 1)}`),
      ...row('Time × gain', `${fixed(e.time * 1000, 2)} ms × ${fixed(e.analogGain, 2)} × ${fixed(e.digitalGain, 2)}`),
      // The loop estimates a colour temperature only while it runs.
      ...row('White balance', `${w.state}: ${w.state === 'off' ? '' : `${fixed(w.kelvin, 0)} K, `}R ${fixed(w.gains[0], 3)} B ${fixed(w.gains[3], 3)}`),
      ...row('Focus', `${f.state}: lens at ${f.position}, measure ${fixed(f.value, 1)}`),
      ...row('Frames', String(c.frames)),
    );
  };
  const readSwitches = async () => {
    try {
      const answers = await api.request(kSwitches.map(({ category, key }) => ({ category, key })));
      answers.forEach((answer, i) => {
        const value = answer && answer.value ? answer.value.current : undefined;
        switches[i].box.checked = typeof value === 'number' && value !== 0;
        switches[i].box.disabled = false;
      });
    } catch (error) {
      onError(error, 'Lab switches');
    }
  };

  let timer = null;
  let stopped = false;
  const poll = async () => {
    if (stopped) return;
    try {
      if (document.visibilityState === 'visible') showControl(await api.call('GET', '/api/control'));
    } catch (error) {
      onError(error, 'Control loop');
      stopped = true;
      return;
    }
    timer = setTimeout(poll, kPollMs);
  };

  const element = el('section', { class: 'card lab-panel' },
    el('h3', {}, 'Lab: scene and control loop'),
    el('div', { class: 'lab-controls' },
      el('label', {}, 'Brightness ', lux, ' ', luxText),
      el('label', {}, 'Light ', illuminant, ' ', illuminantText),
      el('label', {}, 'Scene ', scene),
      switches.map((s) => s.label)),
    readout);

  const sceneControls = [lux, illuminant, scene];
  for (const control of sceneControls) control.disabled = true;
  api.call('GET', '/api/scene').then((current) => {
    show(current);
    for (const control of sceneControls) control.disabled = false;
  }, (error) => onError(error, 'Scene'));
  readSwitches();
  poll();
  return {
    element,
    dispose() {
      stopped = true;
      clearTimeout(timer);
    },
  };
}
