// The tuning client's browser-free parts under node: the event-stream parser, the range
// checks of typed values and the grouping of keys under their index key.
//   node tests/web/logic.test.mjs

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { EventParser } from '../../apps/web/api.js';
import { parseElement } from '../../apps/web/editors.js';
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
});
