// The tuning client's browser-free parts under node: the event-stream and multipart parsers,
// the range checks of typed values, the grouping of keys under their index key, the search and
// the packing of snapshots.
//   node tests/web/logic.test.mjs

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { EventParser } from '../../apps/web/api.js';
import { parseElement } from '../../apps/web/editors.js';
import { MultipartParser, multipartBoundary, packDataUri, requestWidth, unpackDataUri } from '../../apps/web/frames.js';
import { isBatchReadable, layoutCategory, searchSchema } from '../../apps/web/schema.js';

test('server-sent events survive any split of the stream into chunks', () => {
  const stream = ': connected\r\n\r\nevent: request\r\ndata: {"seq":1}\r\n\r\n' +
    'event: driver\ndata: {"next":3,\ndata: "calls":[]}\n\n: keep-alive\n\ndata: plain\r\r';
  const expected = [['request', '{"seq":1}'], ['driver', '{"next":3,\n"calls":[]}'], ['message', 'plain']];
  for (let first = 0; first <= stream.length; ++first) {
    for (const second of [first, Math.min(stream.length, first + 1), Math.min(stream.length, first + 7)]) {
      const events = [];
      const comments = [];
      const parser = new EventParser((name, data) => events.push([name, data]), (text) => comments.push(text));
      parser.push(stream.slice(0, first));
      parser.push(stream.slice(first, second));
      parser.push(stream.slice(second));
      assert.deepEqual(events, expected, `split at ${first}/${second}`);
      assert.deepEqual(comments, ['connected', 'keep-alive']);
    }
  }
});

test('multipart frames survive any split of the stream, with and without Content-Length', () => {
  assert.equal(multipartBoundary('multipart/x-mixed-replace; boundary=frame'), 'frame');
  assert.equal(multipartBoundary('multipart/x-mixed-replace;boundary="a b"'), 'a b');
  assert.equal(multipartBoundary('image/jpeg'), null);
  const encoder = new TextEncoder();
  // Bodies hold CR LF and "--" runs that look like the start of a delimiter.
  const bodies = [new Uint8Array([0xff, 0xd8, 13, 10, 45, 45, 102, 0xff, 0xd9]), new Uint8Array([1, 2, 13, 10, 45, 45]), new Uint8Array([])];
  for (const withLength of [true, false]) {
    const pieces = [encoder.encode('preamble\r\n')];
    bodies.forEach((body, index) => {
      const length = withLength ? `Content-Length: ${body.length}\r\n` : '';
      pieces.push(encoder.encode(`--frame\r\nContent-Type: image/jpeg\r\n${length}X-Frame-Number: ${index + 7}\r\n\r\n`), body, encoder.encode('\r\n'));
    });
    pieces.push(encoder.encode('--frame--\r\n'));
    const stream = new Uint8Array(pieces.reduce((sum, piece) => sum + piece.length, 0));
    pieces.reduce((at, piece) => (stream.set(piece, at), at + piece.length), 0);
    for (let first = 0; first <= stream.length; ++first) {
      for (const second of [first, Math.min(stream.length, first + 3)]) {
        const parts = [];
        const parser = new MultipartParser('frame', (headers, body) => parts.push([headers.get('x-frame-number'), [...body]]));
        parser.push(stream.subarray(0, first));
        parser.push(stream.subarray(first, second));
        parser.push(stream.subarray(second));
        assert.deepEqual(parts, bodies.map((body, index) => [String(index + 7), [...body]]), `length ${withLength}, split at ${first}/${second}`);
      }
    }
  }
  // Frame widths come in steps; at 1:1 or closer the full frame (0: not scaled).
  const widths = [[1920, 300, 320], [1920, 321, 480], [1920, 1500, 0], [1920, 1920, 0], [1920, 4000, 0], [640, 500, 0], [0, 100, 0]];
  for (const [full, shown, wanted] of widths) assert.equal(requestWidth(full, shown), wanted, `${full} shown ${shown}`);
});

test('a settings document packed for the browser storage comes back byte for byte, smaller', async () => {
  const text = JSON.stringify({ DG: { r: 1.75, gb: 1.5 }, GC_2: { curve: Array.from({ length: 1024 }, (_, i) => Math.round(Math.sqrt(i) * 128)) }, note: 'é ü ✓' });
  const uri = `data:text/json;base64,${Buffer.from(text).toString('base64')}`;
  const packed = await packDataUri(uri);
  assert.ok(packed.startsWith('gzip:text/json,') && packed.length < uri.length / 2, `${packed.length} of ${uri.length}`);
  assert.equal(await unpackDataUri(packed), uri);
});

test('typed values are checked against the element type and the maximum', () => {
  const cases = [
    [{ access: 'integer', element: 'u8' }, '255', 255],
    [{ access: 'integer', element: 'u8' }, '256', null],
    [{ access: 'integer', element: 'u8' }, '-1', null],
    [{ access: 'integer', element: 'i16' }, '-32768', -32768],
    [{ access: 'integer', element: 'u16' }, '1.5', null],
    [{ access: 'integer', element: 'u64', maximum: 9 }, '9', 9],
    [{ access: 'integer', element: 'u64', maximum: 9 }, '10', null],
    [{ access: 'float', element: 'f32' }, '-0.25', -0.25],
    [{ access: 'float', element: 'f32' }, '1e39', null],
    [{ access: 'double', element: 'f64' }, '1e39', 1e39],
    [{ access: 'float', element: 'f32' }, 'abc', null],
    [{ access: 'float', element: 'f32' }, ' ', null],
  ];
  for (const [key, text, value] of cases) {
    const parsed = parseElement(text, key);
    if (value === null) assert.ok(parsed.error, `${key.element} "${text}" must be refused`);
    else assert.deepEqual(parsed, { value }, `${key.element} "${text}"`);
  }
});

test('keys selected by an index are grouped where the index stands', () => {
  const key = (name, extra = {}) => ({ key: name, access: 'integer', element: 'u16', shape: [], ...extra });
  const keys = [
    key('isSharpen'),
    key('sharpenCurveIndex'),
    key('sharpenCurve:t1', { selectedBy: 'sharpenCurveIndex', entries: 3 }),
    key('sharpenCurve:t2', { selectedBy: 'sharpenCurveIndex', entries: 3 }),
    key('threshold'),
    key(':orphan', { selectedBy: 'missingIndex', entries: 2 }),
    key('statistics', { access: 'statistics' }),
  ];
  const items = layoutCategory('DMSC_3', keys);
  assert.deepEqual(items.map((item) => (item.type === 'group' ? `${item.index.key}[${item.members.map((m) => m.key).join()}]/${item.entries}` : item.key.key)),
    ['isSharpen', 'sharpenCurveIndex[sharpenCurve:t1,sharpenCurve:t2]/3', 'threshold', 'statistics', ':orphan']);
  assert.deepEqual(keys.filter((each) => isBatchReadable({ ...each, category: 'DMSC_3' })).length, 6);
  assert.equal(isBatchReadable({ ...key('isReset', { access: 'bool' }), category: 'ST' }), false);

  const schema = { DG: [key('r')], CCM: [key('ccMatrix')], RGBIR: [key('ccMatrix')] };
  assert.deepEqual(searchSchema(schema, 'CCMAT'), [{ category: 'CCM', keys: ['ccMatrix'] }, { category: 'RGBIR', keys: ['ccMatrix'] }]);
  assert.deepEqual(searchSchema(schema, 'digital'), [{ category: 'DG', keys: [] }]);

  // Help texts are searched too: a key's own, and the category's.
  const helped = { DG: [key('r', { help: 'Gain of the red sites' }), key('gb')], CCM: [key('ccMatrix')] };
  const about = { DG: 'Multiplies every colour channel' };
  assert.deepEqual(searchSchema(helped, 'red sites', about), [{ category: 'DG', keys: ['r'] }]);
  assert.deepEqual(searchSchema(helped, 'every colour', about), [{ category: 'DG', keys: [] }]);
});
