// The browser-free side of the picture: the stages a frame can be taken at, the reader of the
// server's multipart JPEG stream, the size of frame to ask for, the mapping between the
// screen and the full frame, and the store of named snapshots.

// Where the camera's frame can be looked at, in hardware order: the sensor's output, the output
// of each image block (named by its category) and the 8-bit result.
export const kStages = [
  'raw', 'BLS', 'DPCC', 'LSC_3', 'GE', 'DG', 'WB_1_1', 'CPD_1_1', 'HDR_3_2DOL', 'RGBIR',
  '2DNR_6', 'DMSC_3', 'CCM', 'GC_2', 'WDR_5_2_1', 'CP_1_2', 'CNR_2_2', 'EE_3', '3DNR_4', 'output',
];

// Stages up to the demosaic carry one value per site (a mosaic); from it on three per pixel.
export function isMosaicStage(stage) {
  const index = kStages.indexOf(stage);
  return index >= 0 && index < kStages.indexOf('DMSC_3');
}

function indexOfBytes(haystack, needle, from = 0) {
  const first = needle[0];
  for (let i = haystack.indexOf(first, from); i >= 0 && i + needle.length <= haystack.length; i = haystack.indexOf(first, i + 1)) {
    let j = 1;
    while (j < needle.length && haystack[i + j] === needle[j]) ++j;
    if (j === needle.length) return i;
  }
  return -1;
}

const kCRLF = new Uint8Array([13, 10]);
const kHeaderEnd = new Uint8Array([13, 10, 13, 10]);

// The boundary of a multipart/x-mixed-replace (or any multipart) content type, or null.
export function multipartBoundary(contentType) {
  const match = /^\s*multipart\/[^;]+;(?:.*;)?\s*boundary=(?:"([^"]+)"|([^;\s]+))/i.exec(contentType || '');
  return match ? match[1] || match[2] : null;
}

// Splits a multipart body into parts. Feed it the bytes in any chunks; it calls
// onPart(headers, body) for every complete part, headers as a Map with lower-case names. A
// part's Content-Length, when given, is trusted (no search through the picture); otherwise
// the part ends at the next delimiter.
export class MultipartParser {
  constructor(boundary, onPart) {
    this.delimiter = new TextEncoder().encode(`--${boundary}`);
    this.bodyEnd = new Uint8Array([13, 10, ...this.delimiter]);
    this.onPart = onPart;
    this.buffer = new Uint8Array(0);
    this.state = 'delimiter';
    this.headers = null;
    this.scanFrom = 0;
    this.ended = false;
  }

  push(chunk) {
    if (this.ended || chunk.length === 0) return;
    const joined = new Uint8Array(this.buffer.length + chunk.length);
    joined.set(this.buffer);
    joined.set(chunk, this.buffer.length);
    this.buffer = joined;
    while (!this.ended && this.step()) {
      // keep going while whole pieces are in the buffer
    }
  }

  consume(count) {
    this.buffer = this.buffer.subarray(count);
    this.scanFrom = 0;
  }

  step() {
    if (this.state === 'delimiter') {
      const at = indexOfBytes(this.buffer, this.delimiter, this.scanFrom);
      if (at < 0) {
        this.scanFrom = Math.max(0, this.buffer.length - this.delimiter.length + 1);
        return false;
      }
      const after = at + this.delimiter.length;
      if (this.buffer.length < after + 2) return false;
      if (this.buffer[after] === 45 && this.buffer[after + 1] === 45) {
        this.ended = true;
        return false;
      }
      const lineEnd = indexOfBytes(this.buffer, kCRLF, after);
      if (lineEnd < 0) return false;
      this.consume(lineEnd + 2);
      this.state = 'headers';
      return true;
    }
    if (this.state === 'headers') {
      // A part without headers starts with the blank line at once.
      let end;
      let skip;
      if (this.buffer.length >= 2 && this.buffer[0] === 13 && this.buffer[1] === 10) {
        end = 0;
        skip = 2;
      } else {
        end = indexOfBytes(this.buffer, kHeaderEnd, this.scanFrom);
        if (end < 0) {
          this.scanFrom = Math.max(0, this.buffer.length - 3);
          return false;
        }
        skip = 4;
      }
      const text = new TextDecoder().decode(this.buffer.subarray(0, end));
      this.headers = new Map();
      for (const line of text.split('\r\n')) {
        const colon = line.indexOf(':');
        if (colon > 0) this.headers.set(line.slice(0, colon).trim().toLowerCase(), line.slice(colon + 1).trim());
      }
      this.consume(end + skip);
      this.state = 'body';
      return true;
    }
    const length = Number(this.headers.get('content-length'));
    let size;
    if (this.headers.has('content-length') && Number.isInteger(length) && length >= 0) {
      if (this.buffer.length < length) return false;
      size = length;
    } else {
      size = indexOfBytes(this.buffer, this.bodyEnd, this.scanFrom);
      if (size < 0) {
        this.scanFrom = Math.max(0, this.buffer.length - this.bodyEnd.length + 1);
        return false;
      }
    }
    const body = this.buffer.slice(0, size);
    const headers = this.headers;
    this.consume(size);
    this.state = 'delimiter';
    this.onPart(headers, body);
    return true;
  }
}

// The width to ask the server for: enough for the pixels on screen, from a few steps so that
// zooming does not restart the stream at every notch; the full width (0: no scaling) once
// the picture is shown at 1:1 or closer.
const kWidthSteps = [320, 480, 640, 960, 1280, 1920];

export function requestWidth(fullWidth, screenPixels) {
  if (!fullWidth || screenPixels >= fullWidth) return 0;
  for (const step of kWidthSteps) {
    if (step >= screenPixels) return step >= fullWidth ? 0 : step;
  }
  return 0;
}

// The transform from full-frame coordinates to canvas pixels: scale and the canvas position
// of the frame's origin. fit() centres the frame in the canvas.
export class ViewTransform {
  constructor() {
    this.scale = 1;
    this.x = 0;
    this.y = 0;
    this.fitted = true;
  }

  fit(frameWidth, frameHeight, canvasWidth, canvasHeight) {
    this.scale = Math.min(canvasWidth / frameWidth, canvasHeight / frameHeight);
    this.x = (canvasWidth - frameWidth * this.scale) / 2;
    this.y = (canvasHeight - frameHeight * this.scale) / 2;
    this.fitted = true;
  }

  // Zooms to scale keeping the frame point under (cx, cy) where it is.
  zoomAt(scale, cx, cy) {
    const [fx, fy] = this.toFrame(cx, cy);
    this.scale = Math.min(64, Math.max(0.02, scale));
    this.x = cx - fx * this.scale;
    this.y = cy - fy * this.scale;
    this.fitted = false;
  }

  pan(dx, dy) {
    this.x += dx;
    this.y += dy;
    this.fitted = false;
  }

  toFrame(cx, cy) {
    return [(cx - this.x) / this.scale, (cy - this.y) / this.scale];
  }

  toCanvas(fx, fy) {
    return [this.x + fx * this.scale, this.y + fy * this.scale];
  }
}

// A rectangle between two frame points, clipped to the frame, in whole pixels; null when
// nothing of it lies inside.
export function frameRect(a, b, width, height) {
  const x0 = Math.max(0, Math.floor(Math.min(a[0], b[0])));
  const y0 = Math.max(0, Math.floor(Math.min(a[1], b[1])));
  const x1 = Math.min(width, Math.ceil(Math.max(a[0], b[0])));
  const y1 = Math.min(height, Math.ceil(Math.max(a[1], b[1])));
  if (x1 <= x0 || y1 <= y0) return null;
  return { x: x0, y: y0, w: x1 - x0, h: y1 - y0 };
}

function toBase64(bytes) {
  let binary = '';
  for (let i = 0; i < bytes.length; i += 0x8000) binary += String.fromCharCode.apply(null, bytes.subarray(i, i + 0x8000));
  return btoa(binary);
}

function fromBase64(text) {
  return Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
}

async function pipeBytes(bytes, stream) {
  return new Uint8Array(await new Response(new Blob([bytes]).stream().pipeThrough(stream)).arrayBuffer());
}

// A data URI packed for the browser's storage: its bytes gzipped (a settings document of
// 700 KB packs into about 30 KB), as "gzip:<type>,<base64>".
export async function packDataUri(uri) {
  const comma = uri.indexOf(',');
  const type = uri.slice(5, comma).replace(/;base64$/, '');
  const packed = await pipeBytes(fromBase64(uri.slice(comma + 1)), new CompressionStream('gzip'));
  return `gzip:${type},${toBase64(packed)}`;
}

export async function unpackDataUri(packed) {
  if (!packed.startsWith('gzip:')) return packed;
  const comma = packed.indexOf(',');
  const bytes = await pipeBytes(fromBase64(packed.slice(comma + 1)), new DecompressionStream('gzip'));
  return `data:${packed.slice(5, comma)};base64,${toBase64(bytes)}`;
}

// Named snapshots (settings document and picture) kept in the browser's storage, newest first.
const kSnapshotKey = 'tshell.snapshots';

export class SnapshotStore {
  constructor(storage) {
    this.storage = storage;
  }

  list() {
    try {
      const list = JSON.parse(this.storage.getItem(kSnapshotKey) || '[]');
      return Array.isArray(list) ? list : [];
    } catch {
      return [];
    }
  }

  get(name) {
    return this.list().find((snapshot) => snapshot.name === name) || null;
  }

  // Replaces a snapshot of the same name. Throws when the storage is full (the caller says so).
  save(snapshot) {
    const list = this.list().filter((each) => each.name !== snapshot.name);
    list.unshift(snapshot);
    this.storage.setItem(kSnapshotKey, JSON.stringify(list));
  }

  remove(name) {
    this.storage.setItem(kSnapshotKey, JSON.stringify(this.list().filter((each) => each.name !== name)));
  }
}

// One line of numbers for the probe readout.
export function formatValues(values, digits = 1) {
  if (!Array.isArray(values)) return values === undefined || values === null ? '–' : String(values);
  return values.map((value) => (typeof value === 'number' ? (Number.isInteger(value) ? String(value) : value.toFixed(digits)) : String(value))).join(' · ');
}
