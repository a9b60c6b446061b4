// Editors for key values, one per shape of value: number, checkbox, text, a row of numbers,
// a grid, a curve of points, file uploads and action buttons. An editor shows a value with
// set(value) and hands a complete new value to onWrite(value) when the engineer changes it.

import { elementCount, elementRange, isPlottable, kFoldAbove } from './schema.js';
import { drawCurve, drawLines, drawSparkline } from './plots.js';

export function el(tag, attributes = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (name === 'class') node.className = value;
    else if (name === 'text') node.textContent = value;
    else if (name.startsWith('on')) node.addEventListener(name.slice(2), value);
    else if (name === 'dataset') Object.assign(node.dataset, value);
    else node.setAttribute(name, value === true ? '' : value);
  }
  for (const child of children.flat()) {
    if (child === null || child === undefined || child === false) continue;
    node.append(child instanceof Node ? child : document.createTextNode(String(child)));
  }
  return node;
}

// Floats travel as doubles; an f32 only holds about 7 significant digits, so show those.
export function formatNumber(value, key) {
  if (typeof value !== 'number') return value === undefined || value === null ? '' : String(value);
  if (key.element === 'f32') return String(Number(value.toPrecision(7)));
  return String(value);
}

// Checks one element typed by the engineer; answers {value} or {error}.
export function parseElement(text, key) {
  const trimmed = String(text).trim();
  if (trimmed === '') return { error: 'a number is needed' };
  const value = Number(trimmed);
  if (!Number.isFinite(value)) return { error: `"${trimmed}" is not a number` };
  const range = elementRange(key);
  if (range.integer && !Number.isInteger(value)) return { error: 'a whole number is needed' };
  if (value < range.min || value > range.max) {
    return { error: `out of range ${formatNumber(range.min, key)} … ${formatNumber(range.max, key)}` };
  }
  return { value };
}

function numberInput(key, onCommit, attributes = {}) {
  const range = elementRange(key);
  const input = el('input', {
    type: 'number',
    class: 'num',
    step: range.integer ? '1' : 'any',
    min: range.integer ? range.min : undefined,
    max: range.integer ? range.max : undefined,
    spellcheck: 'false',
    ...attributes,
  });
  input.addEventListener('change', () => {
    const parsed = parseElement(input.value, key);
    input.classList.toggle('invalid', Boolean(parsed.error));
    input.title = parsed.error || '';
    // The key's row shows the reason; nothing is sent until the value is valid.
    const detail = parsed.error ? `"${input.value}": ${parsed.error}` : null;
    input.dispatchEvent(new CustomEvent('valuecheck', { bubbles: true, detail }));
    if (!parsed.error) onCommit();
  });
  return input;
}

// Flattens nested arrays row by row; rows of a table become [rows][columns].
function flatten(value) {
  return Array.isArray(value) ? value.flat(Infinity) : [];
}

function reshape(flat, shape) {
  if (shape.length <= 1) return flat;
  const inner = elementCount(shape.slice(1));
  const rows = [];
  for (let offset = 0; offset < flat.length; offset += inner) {
    rows.push(reshape(flat.slice(offset, offset + inner), shape.slice(1)));
  }
  return rows;
}

class ScalarEditor {
  constructor(key, onWrite) {
    this.key = key;
    if (key.access === 'bool' || key.access === 'flag') {
      this.input = el('input', { type: 'checkbox', class: 'check' });
      this.input.addEventListener('change', () => {
        const checked = this.input.checked;
        onWrite(key.access === 'bool' ? checked : checked ? 1 : 0);
      });
      this.element = el('label', { class: 'switch' }, this.input, el('span', { class: 'slider' }));
    } else if (key.access === 'string') {
      const capacity = key.shape[0] || 256;
      const tag = capacity > 64 ? 'textarea' : 'input';
      this.input = el(tag, { class: 'text', maxlength: capacity, spellcheck: 'false', rows: tag === 'textarea' ? 3 : undefined });
      this.input.addEventListener('change', () => onWrite(this.input.value));
      this.element = this.input;
    } else {
      this.input = numberInput(key, () => onWrite(Number(this.input.value)));
      const range = elementRange(key);
      this.element = el('span', { class: 'scalar' }, this.input,
        key.scale ? el('span', { class: 'unit', title: `stored value × ${key.scale}` }, `×${key.scale}`) : null,
        typeof key.maximum === 'number' ? el('span', { class: 'unit' }, `≤ ${range.max}`) : null);
    }
  }

  set(value) {
    if (this.input.type === 'checkbox') this.input.checked = Boolean(value);
    else this.input.value = formatNumber(value, this.key);
    this.input.classList.remove('invalid');
    this.input.title = '';
  }
}

// Arrays and tables: one input per element, laid out as a row (1-D) or a grid whose columns
// are the inner dimensions flattened. Large ones start folded behind a summary.
class ArrayEditor {
  constructor(key, onWrite) {
    this.key = key;
    this.onWrite = onWrite;
    this.value = [];
    this.inputs = [];
    this.isBool = key.access === 'bool' || key.access === 'flag';
    this.isFlag = key.access === 'flag';
    this.plot = isPlottable(key) ? el('canvas', { class: 'plot', height: 150 }) : null;
    this.summary = el('div', { class: 'summary' });
    this.spark = el('canvas', { class: 'spark', height: 28 });
    this.cells = el('div', { class: 'cells' });
    // A plotted curve is read from its plot; its numbers open on demand.
    const count = elementCount(key.shape);
    const folded = count > kFoldAbove || (this.plot !== null && count > 32);
    this.toggle = folded
      ? el('button', { class: 'ghost small', type: 'button', onclick: () => this.unfold(!this.open) }, 'Edit values')
      : null;
    this.open = !folded;
    this.element = el('div', { class: 'array-editor' },
      this.plot,
      folded ? el('div', { class: 'fold' }, this.plot ? null : this.spark, this.summary, this.toggle) : null,
      this.cells);
    this.cells.hidden = folded;
  }

  unfold(open) {
    this.open = open;
    this.cells.hidden = !open;
    this.toggle.textContent = open ? 'Fold' : 'Edit values';
    if (open) this.build();
  }

  shapeOf(value) {
    // Tables whose row count follows another key read back only the rows in use.
    if (this.key.shape.length > 1 && Array.isArray(value)) return [value.length, ...this.key.shape.slice(1)];
    return this.key.shape;
  }

  build() {
    const shape = this.shapeOf(this.value);
    const flat = flatten(this.value);
    this.cells.replaceChildren();
    this.inputs = [];
    const columns = shape.length > 1 ? elementCount(shape.slice(1)) : flat.length;
    const grid = el('div', { class: shape.length > 1 ? 'grid' : 'row' });
    grid.style.setProperty('--columns', columns);
    if (shape.length > 1) {
      grid.append(el('span', { class: 'head corner' }, ''));
      for (let c = 0; c < columns; ++c) grid.append(el('span', { class: 'head' }, columnLabel(c, shape)));
    }
    flat.forEach((element, index) => {
      if (shape.length > 1 && index % columns === 0) grid.append(el('span', { class: 'head rowhead' }, `${index / columns}`));
      const input = this.isBool
        ? el('input', { type: 'checkbox', class: 'check', title: `[${index}]`, onchange: () => this.commit() })
        : numberInput(this.key, () => this.commit(), { title: `[${index}]` });
      if (this.isBool) input.checked = Boolean(element);
      else input.value = formatNumber(element, this.key);
      this.inputs.push(input);
      grid.append(input);
    });
    this.cells.append(grid);
  }

  collect() {
    const flat = this.inputs.map((input) => {
      if (!this.isBool) return Number(input.value);
      return this.isFlag ? Number(input.checked) : input.checked;
    });
    return reshape(flat, this.shapeOf(this.value));
  }

  commit() {
    if (this.inputs.some((input) => input.classList.contains('invalid'))) return;
    const value = this.collect();
    this.draw(value);
    this.onWrite(value);
  }

  draw(value) {
    const flat = flatten(value).map(Number);
    if (this.plot) {
      // A table of curves (one per gain point) is drawn as one line per row.
      const rows = this.key.shape.length > 1 ? value : [value];
      const series = rows.map((row, index) => ({
        values: flatten(row).map(Number),
        label: rows.length > 1 && rows.length <= 6 ? `${index}` : '',
      }));
      drawLines(this.plot, series, { label: this.key.key, markers: rows.length === 1 });
    }
    if (!this.open || this.toggle) {
      if (!this.plot && this.toggle) drawSparkline(this.spark, flat);
      const low = Math.min(...flat);
      const high = Math.max(...flat);
      const mean = Number((flat.reduce((sum, element) => sum + element, 0) / Math.max(1, flat.length)).toPrecision(6));
      const show = (number) => formatNumber(number, this.key);
      this.summary.textContent = `${flat.length} values · min ${show(low)} · max ${show(high)} · mean ${show(mean)}`;
    }
  }

  set(value) {
    this.value = Array.isArray(value) ? value : [];
    if (this.open) this.build();
    this.draw(this.value);
  }
}

function columnLabel(column, shape) {
  if (shape.length <= 2) return `${column}`;
  // n-D: label each column with its inner indexes.
  const parts = [];
  let rest = column;
  for (let d = shape.length - 1; d >= 1; --d) {
    parts.unshift(rest % shape[d]);
    rest = Math.floor(rest / shape[d]);
  }
  return parts.join('.');
}

// A curve: n points [x, y] with a plot; x and y edited in two rows.
class CurveEditor {
  constructor(key, onWrite) {
    this.key = key;
    this.onWrite = onWrite;
    this.plot = el('canvas', { class: 'plot', height: 160 });
    this.cells = el('div', { class: 'cells' });
    this.element = el('div', { class: 'array-editor' }, this.plot, this.cells);
    this.points = [];
  }

  set(value) {
    this.points = Array.isArray(value) ? value : [];
    this.cells.replaceChildren();
    const grid = el('div', { class: 'grid' });
    grid.style.setProperty('--columns', this.points.length);
    this.inputs = [[], []];
    ['x', 'y'].forEach((axis, a) => {
      grid.append(el('span', { class: 'head rowhead' }, axis));
      this.points.forEach((point, index) => {
        const input = numberInput(this.key, () => this.commit(), { title: `point ${index} ${axis}` });
        input.value = formatNumber(point[a], this.key);
        this.inputs[a].push(input);
        grid.append(input);
      });
    });
    this.cells.append(grid);
    drawCurve(this.plot, this.points, { label: this.key.key });
  }

  commit() {
    if (this.inputs.flat().some((input) => input.classList.contains('invalid'))) return;
    const points = this.inputs[0].map((input, index) => [Number(input.value), Number(this.inputs[1][index].value)]);
    drawCurve(this.plot, points, { label: this.key.key });
    this.onWrite(points);
  }
}

// Files: the engineer picks text files; they are sent as data URIs by handlers.upload.
class FilesEditor {
  constructor(key, handlers) {
    this.input = el('input', { type: 'file', multiple: true, class: 'file' });
    const upload = el('button', { type: 'button', class: 'small' }, 'Upload');
    upload.addEventListener('click', () => {
      if (this.input.files.length > 0) handlers.upload([...this.input.files]);
    });
    this.input.addEventListener('change', () => {
      upload.disabled = this.input.files.length === 0;
    });
    upload.disabled = true;
    this.element = el('div', { class: 'files' }, this.input, upload,
      handlers.download ? el('button', { type: 'button', class: 'small ghost', onclick: () => handlers.download() }, 'Download') : null);
  }

  set() {}
}

class ActionEditor {
  constructor(key, onWrite) {
    this.element = el('button', { type: 'button', class: 'small danger' }, 'Run');
    this.element.addEventListener('click', () => {
      if (window.confirm(`Run ${key.category}/${key.key}? This cannot be undone.`)) onWrite(true);
    });
  }

  set() {}
}

// handlers: {write(value), upload(files), download()}
export function createEditor(key, kind, handlers) {
  switch (kind) {
    case 'number':
    case 'checkbox':
    case 'text':
      return new ScalarEditor(key, handlers.write);
    case 'array':
    case 'table':
      return new ArrayEditor(key, handlers.write);
    case 'curve':
      return new CurveEditor(key, handlers.write);
    case 'files':
      return new FilesEditor(key, handlers);
    case 'action':
      return new ActionEditor(key, handlers.write);
    default:
      return { element: el('span', { class: 'muted' }, '—'), set() {} };
  }
}
