// The picture beside the parameters: the camera's frame at a chosen stage, live while the
// sensor streams, with zoom and pan, a pixel probe and a region readout, a comparison against
// the picture before the last change or a saved snapshot, raw capture download and frame
// upload.
//
// Frames come from GET /api/frame/stream (multipart JPEG) read through fetch(), since an <img>
// cannot send the Authorization header; a server without the stream is polled on /api/frame.
// Each frame is decoded to an ImageBitmap and drawn on a canvas, which also lets zoom show
// the pixels unsmoothed.

import { ApiError } from './api.js';
import { el } from './editors.js';
import {
  MultipartParser,
  SnapshotStore,
  ViewTransform,
  formatValues,
  frameRect,
  kStages,
  multipartBoundary,
  packDataUri,
  unpackDataUri,
  requestWidth,
} from './frames.js';

const kStageKey = 'tshell.preview.stage';
const kSnapshotWidth = 480;
const kPollGap = 40;
const kStallMilliseconds = 6000;

function delay(ms, signal) {
  return new Promise((resolve) => {
    if (signal?.aborted) {
      resolve();
      return;
    }
    const timer = setTimeout(resolve, ms);
    signal?.addEventListener('abort', () => {
      clearTimeout(timer);
      resolve();
    }, { once: true });
  });
}

async function errorText(response) {
  const text = await response.text().catch(() => '');
  try {
    const data = JSON.parse(text);
    if (data && typeof data.error === 'string') return data.error;
  } catch {
    // not JSON
  }
  return text || response.statusText;
}

function frameInfo(headers, fallback = {}) {
  const number = (name) => {
    const value = headers.get(name);
    return value === null || value === undefined || value === '' ? null : Number(value);
  };
  return {
    frame: number('x-frame-number') ?? fallback.frame ?? null,
    width: number('x-frame-width') ?? fallback.width ?? null,
    height: number('x-frame-height') ?? fallback.height ?? null,
    stage: headers.get('x-frame-stage') || fallback.stage || null,
  };
}

// Keeps frames coming for one stage and width: the multipart stream, reopened when it drops,
// or polling. onFrame(bitmap, info); onState(state, text) with state 'live', 'stopped' (the
// server answers 409: the sensor is not streaming), 'error' or 'connecting'.
class FrameSource {
  constructor(api, { onFrame, onState }) {
    this.api = api;
    this.onFrame = onFrame;
    this.onState = onState;
    this.stage = 'output';
    this.width = 0;
    this.mode = 'stream';
    this.controller = null;
    this.running = false;
    this.decoding = false;
    this.pending = null;
    this.retry = 500;
    this.reading = false;
    this.lastData = 0;
  }

  configure(stage, width) {
    if (stage === this.stage && width === this.width) return;
    this.stage = stage;
    this.width = width;
    this.restart();
  }

  start() {
    if (this.running) return;
    this.running = true;
    this.loop();
    // A connection that stays open but stops carrying frames (a proxy, a sleeping laptop's
    // network) is dropped and opened again.
    setInterval(() => {
      if (this.reading && performance.now() - this.lastData > kStallMilliseconds) this.restart();
    }, 1000);
  }

  // Drops the open connection; the loop opens one with the current stage and width at once.
  restart() {
    this.retry = 500;
    if (this.controller) this.controller.abort();
  }

  query() {
    return `stage=${encodeURIComponent(this.stage)}${this.width ? `&width=${this.width}` : ''}`;
  }

  async loop() {
    for (;;) {
      const controller = new AbortController();
      this.controller = controller;
      let wait = 0;
      try {
        if (this.mode === 'stream') await this.readStream(controller.signal);
        else await this.poll(controller.signal);
        wait = 200; // the stream ended: the server went away or the sensor stopped
      } catch (error) {
        if (controller.signal.aborted) continue;
        if (error instanceof ApiError && error.status === 401) {
          if (!(await this.api.renewToken('The picture needs a valid token.'))) return;
          continue;
        }
        if (error instanceof ApiError && error.status === 409) {
          this.onState('stopped', error.message);
          wait = 2000;
        } else {
          this.onState('error', error.message);
          wait = this.retry;
          this.retry = Math.min(this.retry * 2, 5000);
        }
      }
      await delay(wait, controller.signal);
    }
  }

  async open(path, signal) {
    let response;
    try {
      response = await fetch(`${this.api.base}${path}?${this.query()}`, {
        headers: this.api.headers(),
        signal,
        cache: 'no-store',
      });
    } catch (error) {
      if (signal.aborted) throw error;
      throw new ApiError(0, `Server unreachable: ${error.message}`);
    }
    if (!response.ok) throw new ApiError(response.status, await errorText(response));
    return response;
  }

  async readStream(signal) {
    this.onState('connecting', '');
    let response;
    try {
      response = await this.open('/api/frame/stream', signal);
    } catch (error) {
      // A server without the stream still hands out single frames.
      if (error instanceof ApiError && (error.status === 404 || error.status === 405)) {
        this.mode = 'poll';
        return this.poll(signal);
      }
      throw error;
    }
    const boundary = multipartBoundary(response.headers.get('Content-Type'));
    const outer = frameInfo(response.headers, { stage: this.stage });
    if (!boundary) {
      // One picture instead of a stream: take it and keep polling.
      await this.take(await response.blob(), outer);
      this.mode = 'poll';
      return this.poll(signal);
    }
    const parser = new MultipartParser(boundary, (headers, body) => {
      const type = headers.get('content-type') || 'image/jpeg';
      this.take(new Blob([body], { type }), frameInfo(headers, outer));
    });
    const reader = response.body.getReader();
    signal.addEventListener('abort', () => reader.cancel().catch(() => {}), { once: true });
    this.reading = true;
    this.lastData = performance.now();
    try {
      for (;;) {
        const { value, done } = await reader.read();
        if (done || signal.aborted) return undefined;
        this.lastData = performance.now();
        parser.push(value);
      }
    } finally {
      this.reading = false;
    }
  }

  async poll(signal) {
    this.onState('connecting', '');
    while (!signal.aborted) {
      const started = performance.now();
      const response = await this.open('/api/frame', signal);
      await this.take(await response.blob(), frameInfo(response.headers, { stage: this.stage }));
      await delay(Math.max(kPollGap - (performance.now() - started), 0), signal);
      await new Promise((resolve) => requestAnimationFrame(resolve));
    }
  }

  // Decodes one frame at a time; a frame arriving meanwhile replaces the one waiting, so a
  // slow decoder shows the newest picture rather than falling behind.
  async take(blob, info) {
    if (this.decoding) {
      this.pending = { blob, info };
      return;
    }
    this.decoding = true;
    let next = { blob, info };
    while (next) {
      this.pending = null;
      try {
        const bitmap = await createImageBitmap(next.blob);
        this.retry = 500;
        this.onState('live', '');
        this.onFrame(bitmap, next.info);
      } catch (error) {
        this.onState('error', `a frame could not be decoded: ${error.message}`);
      }
      next = this.pending;
    }
    this.decoding = false;
  }
}

export class PreviewPane {
  // hooks: notify(text, kind), reportError(error, context), startStreaming(),
  // readSettings() -> data URI, restoreSettings(uri), writeKey(category, key, value) -> messages.
  constructor(api, root, hooks) {
    this.api = api;
    this.root = root;
    this.hooks = hooks;
    this.snapshots = new SnapshotStore(window.localStorage);
    this.view = new ViewTransform();
    this.live = null; // {bitmap, info}
    this.before = null; // {bitmap, info, time}
    this.references = new Map(); // snapshot name -> ImageBitmap
    this.full = { width: 0, height: 0 };
    this.compare = 'off';
    this.referenceName = 'before';
    this.showReference = false;
    this.split = 0.5;
    this.tool = 'pan';
    this.region = null; // {x, y, w, h} in the frame
    this.dragging = null;
    this.probeBusy = false;
    this.probeNext = null;
    this.probePoint = null; // the pixel under the cursor, in the frame
    this.frames = 0;
    this.build();
    const stored = window.localStorage.getItem(kStageKey);
    this.stage = kStages.includes(stored) ? stored : 'output';
    this.stageSelect.value = this.stage;
    this.source = new FrameSource(api, {
      onFrame: (bitmap, info) => this.frame(bitmap, info),
      onState: (state, text) => this.sourceState(state, text),
    });
    this.source.configure(this.stage, 0);
    this.source.start();
    this.renderSnapshots();
  }

  // ---- Layout ------------------------------------------------------------------------------

  build() {
    const button = (text, title, onclick, extra = {}) => el('button', { type: 'button', class: 'small', title, onclick, ...extra }, text);
    this.stageSelect = el('select', { id: 'preview-stage', class: 'small', title: 'Stage the picture is taken at' },
      kStages.map((stage) => el('option', { value: stage }, stage)));
    this.stageSelect.addEventListener('change', () => this.setStage(this.stageSelect.value));
    this.info = el('span', { class: 'preview-info muted' }, '');
    this.canvas = el('canvas', { id: 'preview-canvas', class: 'preview-canvas' });
    this.ctx = this.canvas.getContext('2d');
    this.idle = el('div', { class: 'preview-idle', hidden: true });
    this.zoomText = el('span', { class: 'zoom-text mono' }, 'fit');
    this.toolButtons = {
      pan: button('✥', 'Drag to pan the picture', () => this.setTool('pan'), { dataset: { tool: 'pan' } }),
      region: button('▭', 'Drag a rectangle to measure its mean and noise', () => this.setTool('region'), { dataset: { tool: 'region' } }),
    };
    this.compareSelect = el('select', { id: 'preview-compare', class: 'small', title: 'Compare the live picture with another' },
      el('option', { value: 'off' }, 'no compare'), el('option', { value: 'split' }, 'split'), el('option', { value: 'toggle' }, 'A/B'));
    this.compareSelect.addEventListener('change', () => {
      this.compare = this.compareSelect.value;
      this.showReference = false;
      this.updateCompareControls();
      this.draw();
    });
    this.referenceSelect = el('select', { id: 'preview-reference', class: 'small', title: 'What the live picture is compared with' });
    this.referenceSelect.addEventListener('change', () => this.setReference(this.referenceSelect.value));
    this.abButton = button('A/B', 'Show the reference instead of the live picture (or press B)', () => {
      this.showReference = !this.showReference;
      this.abButton.classList.toggle('on', this.showReference);
      this.draw();
    }, { id: 'preview-ab' });
    this.probeText = el('div', { id: 'preview-probe', class: 'readout mono' }, 'hover the picture for pixel values');
    this.regionText = el('div', { id: 'preview-region', class: 'readout mono' }, '');
    this.message = el('div', { class: 'preview-message', hidden: true });
    this.snapshotName = el('input', { id: 'snapshot-name', class: 'text', type: 'text', placeholder: 'snapshot name', spellcheck: 'false' });
    this.snapshotList = el('ul', { id: 'snapshot-list', class: 'snapshot-list' });
    this.rawFormat = el('select', { id: 'raw-format', class: 'small', title: 'Raw capture file format' },
      el('option', { value: 'dng' }, 'DNG'), el('option', { value: 'png' }, 'PNG'));
    this.frameInput = el('input', { id: 'frame-upload', type: 'file', accept: 'image/*,.dng,.raw,.tif,.tiff,.png,.jpg,.jpeg', hidden: true });
    this.frameInput.addEventListener('change', () => {
      const [file] = this.frameInput.files;
      this.frameInput.value = '';
      if (file) this.upload(file);
    });
    this.progress = el('progress', { id: 'frame-progress', max: 1, value: 0, hidden: true });

    const zoom = (factor) => button(factor === 1 ? '1:1' : `${factor}×`, `Show one frame pixel on ${factor === 1 ? 'one screen pixel' : `${factor} × ${factor} screen pixels`}`, () => this.zoomTo(factor));
    this.root.replaceChildren(
      el('header', {},
        el('h2', {}, 'Picture'),
        this.stageSelect,
        this.info),
      el('div', { class: 'preview-tools' },
        button('Fit', 'Fit the whole frame', () => this.fit()), zoom(1), zoom(4), this.zoomText,
        el('span', { class: 'sep' }),
        this.toolButtons.pan, this.toolButtons.region,
        el('span', { class: 'sep' }),
        this.compareSelect, this.referenceSelect, this.abButton),
      el('div', { class: 'preview-frame' }, this.canvas, this.idle),
      this.probeText,
      this.regionText,
      this.message,
      el('div', { class: 'preview-row' },
        this.snapshotName,
        button('Save snapshot', 'Keep the current settings and picture under this name (in this browser)', () => this.saveSnapshot(), { id: 'snapshot-save' }),
        el('span', { class: 'sep' }),
        el('span', { class: 'joined' }, this.rawFormat,
          button('⤓ Raw', 'Download the sensor frame as captured (IPT/isRaw must be on)', () => this.downloadRaw(), { id: 'raw-download' })),
        el('label', { class: 'button small', title: 'Replace the scene with a picture or raw file' }, '⤒ Frame', this.frameInput),
        this.progress),
      this.snapshotList);
    this.setTool('pan');
    this.updateCompareControls();
    this.wireCanvas();
    new ResizeObserver(() => this.resize()).observe(this.canvas);
  }

  resize() {
    const ratio = window.devicePixelRatio || 1;
    const width = Math.max(1, Math.round(this.canvas.clientWidth * ratio));
    const height = Math.max(1, Math.round(this.canvas.clientHeight * ratio));
    if (width === this.canvas.width && height === this.canvas.height) return;
    this.canvas.width = width;
    this.canvas.height = height;
    this.draw();
    this.chooseWidth();
  }

  // ---- Frames ------------------------------------------------------------------------------

  setStage(stage) {
    this.stage = stage;
    window.localStorage.setItem(kStageKey, stage);
    this.stageSelect.value = stage;
    this.source.configure(stage, this.source.width);
    this.probeText.textContent = 'hover the picture for pixel values';
    if (this.region) this.measureRegion();
  }

  frame(bitmap, info) {
    // The stream says the full size; a frame sent at full size says it itself.
    const width = info.width || (this.source.width ? 0 : bitmap.width);
    const height = info.height || (this.source.width ? 0 : bitmap.height);
    const resized = width && (width !== this.full.width || height !== this.full.height);
    if (width) this.full = { width, height };
    if (resized) this.canvas.style.aspectRatio = `${width} / ${height}`;
    const old = this.live;
    this.live = { bitmap, info };
    if (old && old.bitmap !== this.before?.bitmap) old.bitmap.close();
    ++this.frames;
    this.idle.hidden = true;
    this.info.textContent = `frame ${info.frame ?? '?'} · ${this.full.width}×${this.full.height}${this.source.width ? ` (sent ${bitmap.width} wide)` : ''}`;
    this.canvas.dataset.frame = String(info.frame ?? '');
    this.canvas.dataset.stage = info.stage || this.stage;
    if (resized) this.chooseWidth();
    this.draw();
  }

  sourceState(state, text) {
    this.canvas.dataset.source = state;
    if (state === 'live' || state === 'connecting') return;
    if (state === 'stopped') {
      this.showIdle(`No picture: ${text.replace(/^\d+: /, '')}`,
        el('button', { type: 'button', onclick: () => this.hooks.startStreaming() }, '▶ Start streaming'),
        el('small', { class: 'muted' }, 'writes IPT/isStream'));
    } else {
      this.showIdle(`No picture: ${text}`, el('small', { class: 'muted' }, 'retrying…'));
    }
  }

  showIdle(text, ...extra) {
    this.idle.replaceChildren(el('p', {}, text), ...extra);
    this.idle.hidden = false;
    if (this.live && this.live.bitmap !== this.before?.bitmap) this.live.bitmap.close();
    this.live = null;
    this.draw();
  }

  // The streaming state changed here or elsewhere: ask again at once.
  streamingChanged() {
    this.source.restart();
  }

  // Called before every write: the picture as it is now becomes "before the last change".
  beforeWrite() {
    if (!this.live) return;
    if (this.before && this.before.bitmap !== this.live.bitmap) this.before.bitmap.close();
    this.before = { bitmap: this.live.bitmap, info: this.live.info, time: new Date() };
    this.updateReferenceOptions();
  }

  // Asks for frames as wide as the screen shows them (the full frame from 1:1 on).
  chooseWidth() {
    if (!this.full.width) return;
    const shown = Math.ceil(this.full.width * this.currentScale());
    this.source.configure(this.stage, requestWidth(this.full.width, shown));
  }

  currentScale() {
    if (this.view.fitted && this.full.width) {
      this.view.fit(this.full.width, this.full.height, this.canvas.width, this.canvas.height);
    }
    return this.view.scale;
  }

  // ---- Drawing -----------------------------------------------------------------------------

  referenceBitmap() {
    if (this.referenceName === 'before') return this.before ? this.before.bitmap : null;
    return this.references.get(this.referenceName) || null;
  }

  referenceLabel() {
    if (this.referenceName === 'before') {
      return this.before ? `before ${this.before.time.toLocaleTimeString()} (${this.before.info.stage || this.stage})` : 'no change yet';
    }
    return this.referenceName;
  }

  draw() {
    const { ctx, canvas } = this;
    ctx.setTransform(1, 0, 0, 1, 0, 0);
    ctx.fillStyle = '#06090d';
    ctx.fillRect(0, 0, canvas.width, canvas.height);
    if (!this.live || !this.full.width) {
      delete this.canvas.dataset.image;
      return;
    }
    const scale = this.currentScale();
    const { x, y } = this.view;
    const w = this.full.width * scale;
    const h = this.full.height * scale;
    ctx.imageSmoothingEnabled = scale < 1;
    ctx.imageSmoothingQuality = 'high';
    const reference = this.compare === 'off' ? null : this.referenceBitmap();
    const main = this.compare === 'toggle' && this.showReference && reference ? reference : this.live.bitmap;
    ctx.drawImage(main, 0, 0, main.width, main.height, x, y, w, h);
    const labels = [];
    if (this.compare === 'split' && reference) {
      const cut = Math.round(canvas.width * this.split);
      ctx.save();
      ctx.beginPath();
      ctx.rect(0, 0, cut, canvas.height);
      ctx.clip();
      ctx.fillRect(0, 0, cut, canvas.height);
      ctx.drawImage(reference, 0, 0, reference.width, reference.height, x, y, w, h);
      ctx.restore();
      ctx.fillStyle = '#f8fafc';
      ctx.fillRect(cut - 1, 0, 2, canvas.height);
      ctx.beginPath();
      ctx.arc(cut, canvas.height / 2, 9, 0, 2 * Math.PI);
      ctx.fill();
      labels.push([this.referenceLabel(), 8, 'left'], ['live', canvas.width - 8, 'right']);
    } else if (this.compare === 'toggle') {
      labels.push([main === reference ? `B: ${this.referenceLabel()}` : reference ? 'A: live' : 'A: live (nothing to compare)', 8, 'left']);
    }
    ctx.font = `${12 * (window.devicePixelRatio || 1)}px system-ui, sans-serif`;
    for (const [text, at, align] of labels) {
      ctx.textAlign = align;
      const width = ctx.measureText(text).width + 10;
      ctx.fillStyle = 'rgba(6, 9, 13, 0.7)';
      ctx.fillRect(align === 'left' ? at - 4 : at - width + 4, 6, width, 20);
      ctx.fillStyle = '#e2e8f0';
      ctx.fillText(text, at + (align === 'left' ? 1 : -1), 21);
    }
    ctx.textAlign = 'left';
    if (this.region) {
      const [rx, ry] = this.view.toCanvas(this.region.x, this.region.y);
      ctx.strokeStyle = '#facc15';
      ctx.lineWidth = 1.5;
      ctx.setLineDash([5, 3]);
      ctx.strokeRect(rx, ry, this.region.w * scale, this.region.h * scale);
      ctx.setLineDash([]);
    }
    // The probed pixel, outlined once pixels are large enough to point at.
    if (this.probePoint && scale >= 4) {
      const [px, py] = this.view.toCanvas(this.probePoint.x, this.probePoint.y);
      ctx.strokeStyle = '#f8fafc';
      ctx.lineWidth = 1;
      ctx.strokeRect(px - 0.5, py - 0.5, scale + 1, scale + 1);
    }
    this.canvas.dataset.image = [x, y, w, h].map((v) => Math.round(v)).join(',');
    this.canvas.dataset.full = `${this.full.width}x${this.full.height}`;
    this.canvas.dataset.drawn = String(this.frames);
    this.zoomText.textContent = this.view.fitted ? `fit ${Math.round(scale * 100)}%` : `${Math.round(scale * 100)}%`;
  }

  // ---- Zoom, pan, probe and region ---------------------------------------------------------

  fit() {
    this.view.fitted = true;
    this.draw();
    this.chooseWidth();
  }

  // 1:1 shows one frame pixel on one screen pixel; 4x on a block of 4 x 4.
  zoomTo(factor) {
    this.view.zoomAt(factor, this.canvas.width / 2, this.canvas.height / 2);
    this.draw();
    this.chooseWidth();
  }

  setTool(tool) {
    this.tool = tool;
    for (const [name, button] of Object.entries(this.toolButtons)) button.classList.toggle('on', name === tool);
    this.canvas.dataset.tool = tool;
  }

  canvasPoint(event) {
    const box = this.canvas.getBoundingClientRect();
    const ratio = this.canvas.width / box.width;
    return [(event.clientX - box.left) * ratio, (event.clientY - box.top) * ratio];
  }

  wireCanvas() {
    const canvas = this.canvas;
    canvas.addEventListener('wheel', (event) => {
      if (!this.live) return;
      event.preventDefault();
      const [cx, cy] = this.canvasPoint(event);
      this.view.zoomAt(this.currentScale() * Math.pow(1.0015, -event.deltaY), cx, cy);
      this.draw();
      this.chooseWidth();
    }, { passive: false });
    canvas.addEventListener('pointerdown', (event) => {
      if (!this.live || event.button !== 0) return;
      const point = this.canvasPoint(event);
      canvas.setPointerCapture(event.pointerId);
      if (this.compare === 'split' && Math.abs(point[0] - canvas.width * this.split) < 10 * (window.devicePixelRatio || 1)) {
        this.dragging = { kind: 'split' };
      } else if (this.tool === 'region' || event.shiftKey) {
        this.dragging = { kind: 'region', from: this.view.toFrame(...point) };
      } else {
        this.dragging = { kind: 'pan', last: point };
      }
    });
    canvas.addEventListener('pointermove', (event) => {
      const point = this.canvasPoint(event);
      const drag = this.dragging;
      if (drag && drag.kind === 'split') {
        this.split = Math.min(1, Math.max(0, point[0] / canvas.width));
        this.draw();
      } else if (drag && drag.kind === 'pan') {
        this.view.pan(point[0] - drag.last[0], point[1] - drag.last[1]);
        drag.last = point;
        this.draw();
      } else if (drag && drag.kind === 'region') {
        this.region = frameRect(drag.from, this.view.toFrame(...point), this.full.width, this.full.height);
        this.draw();
      }
      if (!drag || drag.kind !== 'pan') this.probeAt(point);
    });
    const release = () => {
      const drag = this.dragging;
      this.dragging = null;
      if (drag && drag.kind === 'region') this.measureRegion();
      if (drag && drag.kind === 'pan') this.chooseWidth();
    };
    canvas.addEventListener('pointerup', release);
    canvas.addEventListener('pointercancel', release);
    window.addEventListener('keydown', (event) => {
      if (this.compare !== 'toggle' || event.key.toLowerCase() !== 'b' || /INPUT|TEXTAREA|SELECT/.test(event.target.tagName)) return;
      this.abButton.click();
    });
  }

  probeAt(point) {
    if (!this.live || !this.full.width) return;
    const [fx, fy] = this.view.toFrame(...point);
    const x = Math.floor(fx);
    const y = Math.floor(fy);
    if (x < 0 || y < 0 || x >= this.full.width || y >= this.full.height) return;
    this.probeNext = { x, y };
    if (this.view.scale >= 4 && (this.probePoint?.x !== x || this.probePoint?.y !== y)) {
      this.probePoint = { x, y };
      this.draw();
    }
    this.probePoint = { x, y };
    this.runProbe();
  }

  // One probe in flight; the newest position waits for it.
  async runProbe() {
    if (this.probeBusy || !this.probeNext) return;
    const { x, y } = this.probeNext;
    this.probeNext = null;
    this.probeBusy = true;
    try {
      const answer = await this.api.call('GET', `/api/probe?stage=${encodeURIComponent(this.stage)}&x=${x}&y=${y}`);
      this.showProbe(answer);
    } catch (error) {
      this.probeText.textContent = `probe (${x}, ${y}): ${error.message}`;
    } finally {
      this.probeBusy = false;
      this.runProbe();
    }
  }

  showProbe(answer) {
    const raw = answer.raw ? `raw ${answer.raw.value} ${answer.raw.colour}` : '';
    const parts = [
      `(${answer.x}, ${answer.y})`,
      raw,
      `${answer.stage} ${formatValues(answer.value, 3)}`,
      answer.output ? `out ${formatValues(answer.output, 0)}` : '',
      `#${answer.frame}`,
    ];
    this.probeText.replaceChildren(...parts.filter(Boolean).map((text) => el('span', {}, text)));
    Object.assign(this.probeText.dataset, { x: answer.x, y: answer.y, frame: answer.frame });
  }

  async measureRegion() {
    const region = this.region;
    if (!region) {
      this.regionText.textContent = '';
      return;
    }
    const { x, y, w, h } = region;
    try {
      const answer = await this.api.call('GET', `/api/probe?stage=${encodeURIComponent(this.stage)}&x=${x}&y=${y}&w=${w}&h=${h}`);
      const r = answer.region || {};
      const parts = [
        el('span', {}, `▭ ${r.w ?? w}×${r.h ?? h} at (${r.x ?? x}, ${r.y ?? y})`),
        // A mosaic stage is measured per filter colour: name them.
        r.colours ? el('span', { class: 'colours' }, r.colours.join(' · ')) : null,
        el('span', {}, `mean ${formatValues(r.mean, 2)}`),
        el('span', {}, `σ ${formatValues(r.stddev, 2)}`),
        el('span', {}, `${answer.stage} #${answer.frame}`),
      ];
      this.regionText.replaceChildren(...parts.filter(Boolean));
      Object.assign(this.regionText.dataset, { x, y, w, h });
    } catch (error) {
      this.regionText.textContent = `region: ${error.message}`;
    }
  }

  // ---- Compare and snapshots ---------------------------------------------------------------

  updateCompareControls() {
    this.referenceSelect.hidden = this.compare === 'off';
    this.abButton.hidden = this.compare !== 'toggle';
    this.abButton.classList.toggle('on', this.showReference);
    this.updateReferenceOptions();
  }

  updateReferenceOptions() {
    const options = [el('option', { value: 'before' }, this.before ? `before last change (${this.before.time.toLocaleTimeString()})` : 'before last change')];
    for (const snapshot of this.snapshots.list()) options.push(el('option', { value: `snapshot:${snapshot.name}` }, `snapshot ${snapshot.name}`));
    this.referenceSelect.replaceChildren(...options);
    this.referenceSelect.value = this.referenceName === 'before' ? 'before' : `snapshot:${this.referenceName}`;
    if (this.referenceSelect.value === '') {
      this.referenceName = 'before';
      this.referenceSelect.value = 'before';
    }
  }

  async setReference(value) {
    if (value === 'before') {
      this.referenceName = 'before';
    } else {
      const name = value.replace(/^snapshot:/, '');
      const snapshot = this.snapshots.get(name);
      if (!snapshot) return;
      if (!this.references.has(name)) {
        const blob = await (await fetch(snapshot.picture)).blob();
        this.references.set(name, await createImageBitmap(blob));
      }
      this.referenceName = name;
    }
    this.draw();
  }

  // Compares against a snapshot in split view from its list entry.
  async compareWith(name) {
    if (this.compare === 'off') {
      this.compare = 'split';
      this.compareSelect.value = 'split';
    }
    this.updateCompareControls();
    this.referenceSelect.value = `snapshot:${name}`;
    await this.setReference(`snapshot:${name}`);
  }

  snapshotPicture() {
    const { bitmap } = this.live;
    const width = Math.min(kSnapshotWidth, bitmap.width);
    const height = Math.round((bitmap.height * width) / bitmap.width);
    const canvas = el('canvas', { width, height });
    const ctx = canvas.getContext('2d');
    ctx.imageSmoothingQuality = 'high';
    ctx.drawImage(bitmap, 0, 0, width, height);
    return canvas.toDataURL('image/jpeg', 0.85);
  }

  async saveSnapshot() {
    const name = this.snapshotName.value.trim() || new Date().toLocaleString();
    if (!this.live) {
      this.hooks.notify('A snapshot needs a picture: start streaming first', 'error');
      return;
    }
    try {
      const picture = this.snapshotPicture();
      const settings = await this.hooks.readSettings();
      if (!settings) return;
      this.snapshots.save({ name, time: new Date().toISOString(), stage: this.stage, frame: this.live.info.frame, settings: await packDataUri(settings), picture });
      this.references.delete(name);
      this.snapshotName.value = '';
      this.renderSnapshots();
      this.hooks.notify(`Snapshot "${name}" saved in this browser`, 'ok');
    } catch (error) {
      const full = error && error.name === 'QuotaExceededError';
      this.hooks.notify(full ? `Snapshot "${name}" does not fit in the browser's storage: delete older snapshots` : `Snapshot: ${error.message}`, 'error');
    }
  }

  async restoreSnapshot(name) {
    const snapshot = this.snapshots.get(name);
    if (!snapshot) return;
    await this.hooks.restoreSettings(await unpackDataUri(snapshot.settings), `snapshot "${name}"`);
  }

  renderSnapshots() {
    const list = this.snapshots.list();
    this.snapshotList.replaceChildren(...list.map((snapshot) => el('li', { dataset: { name: snapshot.name } },
      el('img', { src: snapshot.picture, alt: '', width: 48 }),
      el('span', { class: 'name' }, el('b', {}, snapshot.name), el('small', { class: 'muted' }, `${snapshot.stage} · ${new Date(snapshot.time).toLocaleString()}`)),
      el('button', { type: 'button', class: 'small ghost', title: 'Compare the live picture with this snapshot', onclick: () => this.compareWith(snapshot.name) }, 'Compare'),
      el('button', { type: 'button', class: 'small', title: 'Write this snapshot\'s settings to the camera (ST/setting)', onclick: () => this.restoreSnapshot(snapshot.name) }, 'Restore'),
      el('button', { type: 'button', class: 'small ghost', title: 'Delete this snapshot', onclick: () => {
        this.snapshots.remove(snapshot.name);
        this.references.delete(snapshot.name);
        if (this.referenceName === snapshot.name) this.referenceName = 'before';
        this.renderSnapshots();
        this.draw();
      } }, '×'))));
    this.updateReferenceOptions();
  }

  // ---- Raw download and frame upload -------------------------------------------------------

  showMessage(...content) {
    this.message.replaceChildren(...content,
      el('button', { type: 'button', class: 'ghost small close', title: 'Dismiss', onclick: () => { this.message.hidden = true; } }, '×'));
    this.message.hidden = false;
  }

  async downloadRaw() {
    const format = this.rawFormat.value;
    this.message.hidden = true;
    let response;
    try {
      for (;;) {
        response = await fetch(`${this.api.base}/api/raw?format=${format}`, { headers: this.api.headers(), cache: 'no-store' });
        if (response.status !== 401 || !(await this.api.renewToken('The raw download needs a valid token.'))) break;
      }
    } catch (error) {
      this.hooks.reportError(error, 'Raw download');
      return;
    }
    if (response.status === 409) {
      const text = await errorText(response);
      this.showMessage(el('span', {}, `No raw capture: ${text}`),
        el('button', { type: 'button', class: 'small', id: 'raw-enable', onclick: () => this.enableRaw() }, 'Switch raw capture on (IPT/isRaw)'));
      return;
    }
    if (!response.ok) {
      this.showMessage(el('span', {}, `Raw download: ${response.status} ${await errorText(response)}`));
      return;
    }
    const blob = await response.blob();
    const disposition = /filename="?([^";]+)"?/.exec(response.headers.get('Content-Disposition') || '');
    const frame = response.headers.get('X-Frame-Number');
    const name = disposition ? disposition[1] : `raw${frame ? `-${frame}` : ''}.${format}`;
    const link = el('a', { href: URL.createObjectURL(blob), download: name });
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
    this.hooks.notify(`Raw capture ${name} downloaded (${(blob.size / 1024).toFixed(0)} KiB)`, 'ok');
  }

  async enableRaw() {
    this.message.hidden = true;
    try {
      const messages = await this.hooks.writeKey('IPT', 'isRaw', true);
      if (messages.length) {
        this.showMessage(el('span', {}, `IPT/isRaw: ${messages.join('; ')}`));
        return;
      }
      await this.downloadRaw();
    } catch (error) {
      this.hooks.reportError(error, 'IPT/isRaw');
    }
  }

  // PUT /api/frame through XMLHttpRequest, whose upload reports progress.
  upload(file, retried = false) {
    this.progress.hidden = false;
    this.progress.value = 0;
    const request = new XMLHttpRequest();
    request.open('PUT', `${this.api.base}/api/frame`);
    for (const [name, value] of Object.entries(this.api.headers({ 'Content-Type': file.type || 'application/octet-stream' }))) {
      request.setRequestHeader(name, value);
    }
    request.upload.addEventListener('progress', (event) => {
      if (event.lengthComputable) this.progress.value = event.loaded / event.total;
    });
    request.addEventListener('load', async () => {
      this.progress.hidden = true;
      let data = null;
      try {
        data = JSON.parse(request.responseText);
      } catch {
        // not JSON
      }
      if (request.status === 401 && !retried && (await this.api.renewToken('The upload needs a valid token.'))) {
        this.upload(file, true);
        return;
      }
      if (request.status === 200 && data) {
        this.hooks.notify(`Frame ${file.name} loaded: ${data.width}×${data.height} ${data.kind || ''}`, 'ok');
        this.source.restart();
        return;
      }
      const text = data && data.error ? data.error : request.responseText || request.statusText;
      this.showMessage(el('span', {}, `Upload of ${file.name} refused (${request.status}): ${text}`));
    });
    request.addEventListener('error', () => {
      this.progress.hidden = true;
      this.showMessage(el('span', {}, `Upload of ${file.name} failed: the server did not answer`));
    });
    request.send(file);
  }
}
