// Small canvas plots: histograms, heat grids, line charts and point curves. Each drawing
// sizes the canvas to its box at the screen's pixel ratio and marks it with data-drawn.

export const kSeriesColors = ['#38bdf8', '#f472b6', '#a3e635', '#fbbf24', '#c084fc', '#34d399'];

function theme(canvas) {
  const style = getComputedStyle(canvas);
  const read = (name, fallback) => style.getPropertyValue(name).trim() || fallback;
  return {
    background: read('--plot-bg', '#0d1117'),
    grid: read('--plot-grid', '#243040'),
    text: read('--plot-text', '#8b98a9'),
    accent: read('--accent', '#2dd4bf'),
    font: `11px ${read('--mono', 'monospace')}`,
  };
}

function prepare(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = Math.max(40, canvas.clientWidth || Number(canvas.getAttribute('width')) || 300);
  const height = Math.max(30, canvas.clientHeight || Number(canvas.getAttribute('height')) || 150);
  if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
  }
  const context = canvas.getContext('2d');
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  const colors = theme(canvas);
  context.fillStyle = colors.background;
  context.fillRect(0, 0, width, height);
  context.font = colors.font;
  return { context, width, height, colors };
}

function markDrawn(canvas, what) {
  canvas.dataset.drawn = what;
}

// Rounds a span to a 1-2-5 step so that grid lines land on readable numbers.
function niceStep(span, count) {
  const raw = span / Math.max(1, count);
  const power = 10 ** Math.floor(Math.log10(raw || 1));
  const unit = raw / power;
  return (unit <= 1 ? 1 : unit <= 2 ? 2 : unit <= 5 ? 5 : 10) * power;
}

function formatTick(value) {
  const magnitude = Math.abs(value);
  if (magnitude >= 1e6 || (magnitude > 0 && magnitude < 1e-3)) return value.toExponential(1);
  if (magnitude >= 1000) return `${Math.round(value)}`;
  return `${Number(value.toPrecision(3))}`;
}

function valueAxis(context, box, low, high, colors) {
  const step = niceStep(high - low, 4);
  context.strokeStyle = colors.grid;
  context.fillStyle = colors.text;
  context.lineWidth = 1;
  context.textAlign = 'right';
  context.textBaseline = 'middle';
  for (let tick = Math.ceil(low / step) * step; tick <= high + step * 1e-9; tick += step) {
    const y = Math.round(box.y + box.h - ((tick - low) / (high - low)) * box.h) + 0.5;
    context.beginPath();
    context.moveTo(box.x, y);
    context.lineTo(box.x + box.w, y);
    context.stroke();
    context.fillText(formatTick(tick), box.x - 4, y);
  }
}

function range(values) {
  let low = Infinity;
  let high = -Infinity;
  for (const value of values) {
    if (!Number.isFinite(value)) continue;
    low = Math.min(low, value);
    high = Math.max(high, value);
  }
  if (low === Infinity) return [0, 1];
  if (low === high) return [low - (Math.abs(low) || 1) * 0.5, high + (Math.abs(high) || 1) * 0.5];
  return [low, high];
}

// bins: counts, darkest first. label: text in the top-left corner.
export function drawHistogram(canvas, bins, { label = '' } = {}) {
  const { context, width, height, colors } = prepare(canvas);
  const box = { x: 44, y: 16, w: width - 52, h: height - 34 };
  const top = Math.max(1, ...bins);
  valueAxis(context, box, 0, top, colors);
  const slot = box.w / Math.max(1, bins.length);
  const gradient = context.createLinearGradient(box.x, 0, box.x + box.w, 0);
  gradient.addColorStop(0, '#0f766e');
  gradient.addColorStop(1, '#5eead4');
  context.fillStyle = gradient;
  bins.forEach((count, index) => {
    const barHeight = (count / top) * box.h;
    context.fillRect(box.x + index * slot + 1, box.y + box.h - barHeight, Math.max(1, slot - 2), barHeight);
  });
  context.fillStyle = colors.text;
  context.textAlign = 'center';
  context.textBaseline = 'top';
  const labelEvery = Math.ceil(bins.length / 8);
  for (let index = 0; index < bins.length; index += labelEvery) {
    context.fillText(`${index}`, box.x + (index + 0.5) * slot, box.y + box.h + 4);
  }
  if (label) {
    context.textAlign = 'left';
    context.fillText(label, box.x + 4, 2);
  }
  markDrawn(canvas, `histogram:${bins.reduce((sum, count) => sum + count, 0)}`);
}

// rows: a grid of numbers drawn as cells shaded by value, with the value printed.
export function drawGrid(canvas, rows, { max } = {}) {
  const { context, width, height, colors } = prepare(canvas);
  const rowCount = rows.length;
  const columnCount = Math.max(1, ...rows.map((row) => row.length));
  const top = max ?? Math.max(1, ...rows.flat());
  const cellW = width / columnCount;
  const cellH = height / Math.max(1, rowCount);
  context.textAlign = 'center';
  context.textBaseline = 'middle';
  rows.forEach((row, r) => {
    row.forEach((value, c) => {
      const level = Math.max(0, Math.min(1, value / top));
      const shade = Math.round(20 + level * 215);
      context.fillStyle = `rgb(${shade}, ${shade}, ${Math.min(255, shade + 12)})`;
      context.fillRect(c * cellW + 1, r * cellH + 1, cellW - 2, cellH - 2);
      context.fillStyle = level > 0.55 ? '#0b1016' : '#e2e8f0';
      context.fillText(formatTick(value), (c + 0.5) * cellW, (r + 0.5) * cellH);
    });
  });
  void colors;
  markDrawn(canvas, `grid:${rowCount}x${columnCount}`);
}

// series: [{values, label, color?}] over a shared x index; xs optional x values.
export function drawLines(canvas, series, { xs = null, label = '', markers = false } = {}) {
  const { context, width, height, colors } = prepare(canvas);
  const box = { x: 48, y: 16, w: width - 58, h: height - 34 };
  const all = series.flatMap((entry) => entry.values);
  let [low, high] = range(all);
  if (low > 0 && low < high * 0.25) low = 0;
  valueAxis(context, box, low, high, colors);
  const length = Math.max(1, ...series.map((entry) => entry.values.length));
  const [xLow, xHigh] = xs ? range(xs) : [0, Math.max(1, length - 1)];
  const px = (index) => box.x + (((xs ? xs[index] : index) - xLow) / (xHigh - xLow || 1)) * box.w;
  const py = (value) => box.y + box.h - ((value - low) / (high - low)) * box.h;
  series.forEach((entry, number) => {
    const color = entry.color || kSeriesColors[number % kSeriesColors.length];
    context.strokeStyle = color;
    context.fillStyle = color;
    context.lineWidth = 1.6;
    context.beginPath();
    entry.values.forEach((value, index) => {
      if (index === 0) context.moveTo(px(index), py(value));
      else context.lineTo(px(index), py(value));
    });
    context.stroke();
    if (markers && entry.values.length <= 80) {
      entry.values.forEach((value, index) => {
        context.beginPath();
        context.arc(px(index), py(value), 2.2, 0, Math.PI * 2);
        context.fill();
      });
    }
  });
  context.textBaseline = 'top';
  context.textAlign = 'left';
  let x = box.x + 4;
  if (label) {
    context.fillStyle = colors.text;
    context.fillText(label, x, 2);
    x += context.measureText(label).width + 12;
  }
  series.forEach((entry, number) => {
    if (!entry.label) return;
    const color = entry.color || kSeriesColors[number % kSeriesColors.length];
    context.fillStyle = color;
    context.fillRect(x, 5, 8, 3);
    context.fillStyle = colors.text;
    context.fillText(entry.label, x + 11, 2);
    x += context.measureText(entry.label).width + 22;
  });
  markDrawn(canvas, `lines:${series.length}x${length}`);
}

// points: [[x, y], ...]
export function drawCurve(canvas, points, options = {}) {
  const xs = points.map((point) => point[0]);
  drawLines(canvas, [{ values: points.map((point) => point[1]) }], { ...options, xs, markers: true });
}

export function drawSparkline(canvas, values) {
  const { context, width, height, colors } = prepare(canvas);
  const [low, high] = range(values);
  context.strokeStyle = colors.accent;
  context.lineWidth = 1.2;
  context.beginPath();
  values.forEach((value, index) => {
    const x = (index / Math.max(1, values.length - 1)) * (width - 4) + 2;
    const y = height - 3 - ((value - low) / (high - low)) * (height - 6);
    if (index === 0) context.moveTo(x, y);
    else context.lineTo(x, y);
  });
  context.stroke();
  markDrawn(canvas, `sparkline:${values.length}`);
}
