// Live measurements while the sensor streams: one poller reads the statistics of every
// measuring unit on screen in a single request a few times a second, and small views draw
// them (histograms, the exposure grid, the focus values over time).

import { el } from './editors.js';
import { drawGrid, drawHistogram, drawLines } from './plots.js';

const kPollMilliseconds = 250;
const kFocusHistory = 120;

export class StatisticsPoller {
  // statisticsKeyOf(category) names the key to read; isStreaming() says whether to poll.
  constructor(api, { statisticsKeyOf, isStreaming, onError }) {
    this.api = api;
    this.statisticsKeyOf = statisticsKeyOf;
    this.isStreaming = isStreaming;
    this.onError = onError;
    this.subscribers = new Map();
    this.timer = null;
    this.busy = false;
    document.addEventListener('visibilitychange', () => this.schedule(0));
  }

  subscribe(category, callback) {
    if (!this.subscribers.has(category)) this.subscribers.set(category, new Set());
    this.subscribers.get(category).add(callback);
    this.schedule(0);
    return () => {
      const set = this.subscribers.get(category);
      set.delete(callback);
      if (set.size === 0) this.subscribers.delete(category);
    };
  }

  active() {
    return this.subscribers.size > 0 && !document.hidden && this.isStreaming();
  }

  schedule(delay = kPollMilliseconds) {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.poll(), delay);
  }

  async poll() {
    if (this.busy) return;
    if (!this.active()) {
      // Nothing on screen wants data, or the sensor is off: look again later, cheaply.
      if (this.subscribers.size > 0) this.schedule(1000);
      return;
    }
    const categories = [...this.subscribers.keys()];
    this.busy = true;
    try {
      const answers = await this.api.request(
        categories.map((category) => ({ category, key: this.statisticsKeyOf(category) })),
      );
      for (const answer of answers) {
        const callbacks = this.subscribers.get(answer.category);
        if (!callbacks) continue;
        const current = answer.value ? answer.value.current : null;
        for (const callback of callbacks) callback(current, answer.message || []);
      }
      this.schedule();
    } catch (error) {
      this.onError(error);
      this.schedule(2000);
    } finally {
      this.busy = false;
    }
  }
}

function figure(label) {
  const value = el('b', {}, '–');
  return { element: el('span', { class: 'figure' }, el('small', {}, label), value), value };
}

function histogramView(category) {
  const canvas = el('canvas', { class: 'plot live', height: 180, dataset: { live: category } });
  const total = figure('samples');
  const peak = figure('peak bin');
  const mean = figure('mean bin');
  return {
    element: el('div', { class: 'live-body' }, canvas, el('div', { class: 'figures' }, total.element, peak.element, mean.element)),
    update(stats) {
      const bins = stats && Array.isArray(stats.bins) ? stats.bins : [];
      drawHistogram(canvas, bins, { label: `${bins.length} bins, dark → bright` });
      const sum = bins.reduce((acc, count) => acc + count, 0);
      total.value.textContent = `${sum}`;
      peak.value.textContent = sum ? `${bins.indexOf(Math.max(...bins))}` : '–';
      mean.value.textContent = sum ? (bins.reduce((acc, count, index) => acc + count * index, 0) / sum).toFixed(2) : '–';
    },
  };
}

function exposureView(category) {
  const canvas = el('canvas', { class: 'plot live square', height: 200, dataset: { live: category } });
  const luma = figure('luma');
  const above = figure('above ratio');
  const count = figure('samples');
  return {
    element: el('div', { class: 'live-body' }, canvas, el('div', { class: 'figures' }, luma.element, above.element, count.element)),
    update(stats) {
      const mean = stats && Array.isArray(stats.mean) ? stats.mean : [];
      drawGrid(canvas, mean, { max: 1023 });
      luma.value.textContent = stats ? Number(stats.luma).toFixed(1) : '–';
      above.value.textContent = stats ? `${(Number(stats.aboveRatio) * 100).toFixed(1)} %` : '–';
      count.value.textContent = stats ? `${stats.count}` : '–';
    },
  };
}

function focusView(category) {
  const canvas = el('canvas', { class: 'plot live', height: 180, dataset: { live: category } });
  const history = [];
  const windows = ['left', 'centre', 'right'];
  const firs = windows.map((name) => figure(`fir ${name}`));
  const iirs = windows.map((name) => figure(`iir ${name}`));
  const mode = el('select', { class: 'small' }, el('option', { value: 'fir' }, 'FIR'), el('option', { value: 'iir' }, 'IIR'));
  const redraw = () => {
    const which = mode.value;
    drawLines(canvas, windows.map((name, index) => ({ label: name, values: history.map((sample) => Number(sample[which][index])) })), {
      label: `${which.toUpperCase()} sharpness, last ${history.length}`,
    });
  };
  mode.addEventListener('change', redraw);
  return {
    element: el('div', { class: 'live-body' }, canvas,
      el('div', { class: 'figures' }, mode, ...firs.map((f) => f.element), ...iirs.map((f) => f.element))),
    update(stats) {
      if (!stats || !Array.isArray(stats.fir) || !Array.isArray(stats.iir)) return;
      history.push({ fir: stats.fir, iir: stats.iir });
      if (history.length > kFocusHistory) history.shift();
      stats.fir.forEach((value, index) => { if (firs[index]) firs[index].value.textContent = `${value}`; });
      stats.iir.forEach((value, index) => { if (iirs[index]) iirs[index].value.textContent = `${value}`; });
      redraw();
    },
  };
}

// A live panel for a measuring unit: title, state line and the unit's own drawing.
export function createLiveView(category, title) {
  const body = category === 'AES_2' ? exposureView(category) : category === 'AFM_3' ? focusView(category) : histogramView(category);
  const state = el('span', { class: 'live-state' }, 'waiting for the stream');
  const element = el('section', { class: 'card live-card', dataset: { category } },
    el('header', {}, el('h3', {}, category, el('small', {}, title)), state), body.element);
  return {
    element,
    update(stats, messages) {
      body.update(stats);
      state.textContent = messages.length ? messages.join(' · ') : `live · ${new Date().toLocaleTimeString()}`;
      state.classList.toggle('warn', messages.length > 0);
    },
    idle(text) {
      state.textContent = text;
      state.classList.remove('warn');
    },
  };
}
