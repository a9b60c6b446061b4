// The server's key schema turned into what the views need: which keys a category read can
// fetch, which editor fits each key, the ranges of the element types, and the groups of keys
// that an index key selects.

export const kCategoryTitles = {
  GE: 'Green equilibration',
  DG: 'Digital gain',
  '3AI_2': '3A interface',
  CP_1_2: 'Colour processing',
  CNR_2_2: 'Chroma noise reduction',
  WB_1_1: 'White balance',
  EC_2: 'Exposure control',
  FC: 'Focus motor',
  HTG: 'Histogram',
  HTG_2: 'Histogram v2',
  AES_2: 'Exposure statistics',
  AFM_3: 'Focus measurement',
  BLS: 'Black level subtraction',
  GC_2: 'Gamma correction',
  CPD_1_1: 'Compand',
  DMSC_3: 'Demosaic',
  EE_3: 'Edge enhancement',
  '2DNR_6': 'Spatial noise reduction',
  '3DNR_4': 'Temporal noise reduction',
  WDR_5_2_1: 'Wide dynamic range',
  CCM: 'Colour correction matrix',
  LSC_3: 'Lens shading correction',
  DPCC: 'Defect pixel correction',
  HDR_3_2DOL: 'Two-exposure HDR merge',
  RGBIR: 'RGB-IR separation',
  RGBIR_1_1: 'RGB-IR separation v1.1',
  A2DNR_6: 'Spatial NR per gain',
  A3DNR_4: 'Temporal NR per gain',
  ADMSC_3: 'Demosaic per gain',
  AEE_3: 'Edge enhancement per gain',
  AWDR_5_2_1: 'Tone mapping per gain',
  ADPCC: 'Defect pixels per gain',
  AF_4: 'Auto focus',
  ABLS: 'Black levels per gain',
  ACP_1_2: 'Colour processing per gain',
  ACNR_2_2: 'Chroma NR per gain',
  AGC_2: 'Gamma curves per gain',
  ALSC_3: 'Lens shading per gain',
  AE_4: 'Auto exposure',
  AWB_4: 'Auto white balance',
  DVC: 'Device',
  ISP: 'ISP switch',
  MISC: 'Miscellaneous',
  RGT: 'Raw register',
  RPT: 'Report levels',
  IPT: 'Image input',
  OPT: 'Output paths',
  SS: 'Sensor',
  ST: 'Settings database',
  TL: 'Tiling',
  TM: 'Frame transmission',
};

// The measuring units, whose statistics the live views draw.
export const kMeasuredCategories = ['HTG', 'HTG_2', 'AES_2', 'AFM_3'];

const kSystemCategories = new Set(['DVC', 'ISP', 'MISC', 'RGT', 'RPT', 'IPT', 'OPT', 'SS', 'ST', 'TL', 'TM']);

export const kCategorySections = ['ISP blocks', 'Measurement', 'Per gain point and 3A', 'Sensor and system'];

export function categorySection(category) {
  if (kMeasuredCategories.includes(category)) return kCategorySections[1];
  if (kSystemCategories.has(category)) return kCategorySections[3];
  // Auto algorithms and their per-gain tables are named A...
  if (category.startsWith('A')) return kCategorySections[2];
  return kCategorySections[0];
}

const kIntegerRanges = {
  u8: [0, 255],
  i8: [-128, 127],
  u16: [0, 65535],
  i16: [-32768, 32767],
  u32: [0, 4294967295],
  i32: [-2147483648, 2147483647],
  u64: [0, Number.MAX_SAFE_INTEGER],
  i64: [Number.MIN_SAFE_INTEGER, Number.MAX_SAFE_INTEGER],
};

const kF32Max = 3.4028234663852886e38;

// Keys that trigger an action when written and always read back false: shown as buttons and
// left out of the category read.
const kActionKeys = new Set(['ST/isReset']);

// Arrays with more elements than this start folded, as a summary the engineer can open.
export const kFoldAbove = 96;

export function elementRange(key) {
  if (key.access === 'flag' || key.access === 'bool') return { min: 0, max: 1, integer: true };
  const range = kIntegerRanges[key.element];
  if (range) {
    const max = typeof key.maximum === 'number' ? Math.min(key.maximum, range[1]) : range[1];
    return { min: range[0], max, integer: true };
  }
  if (key.element === 'f32') return { min: -kF32Max, max: kF32Max, integer: false };
  return { min: -Number.MAX_VALUE, max: Number.MAX_VALUE, integer: false };
}

export function elementCount(shape) {
  return shape.reduce((product, count) => product * count, 1);
}

// The editor a key gets.
export function editorKind(key) {
  if (kActionKeys.has(`${key.category}/${key.key}`)) return 'action';
  switch (key.access) {
    case 'statistics':
      return 'statistics';
    case 'files':
      return 'files';
    case 'string':
      return 'text';
    case 'bool':
    case 'flag':
      return key.shape.length === 0 ? 'checkbox' : 'array';
    case 'curve':
      return 'curve';
    default:
      if (key.shape.length === 0) return 'number';
      return key.shape.length === 1 ? 'array' : 'table';
  }
}

// A category read fetches every key whose value is data; statistics are polled by the live
// views, files are uploads, and action keys would only read false.
export function isBatchReadable(key) {
  const kind = editorKind(key);
  return kind !== 'statistics' && kind !== 'files' && kind !== 'action';
}

// Numeric arrays whose name says they hold a curve get a plot beside their numbers.
export function isPlottable(key) {
  if (key.access === 'curve') return true;
  if (key.access === 'string' || key.access === 'bool' || key.shape.length === 0) return false;
  return /curve/i.test(key.key) && key.shape[key.shape.length - 1] >= 8;
}

// Arranges a category's keys for display: plain keys in table order, and every index key
// followed by the group of keys it selects, where the index key stands.
export function layoutCategory(category, keys) {
  const described = keys.map((key) => ({ ...key, category }));
  const groups = new Map();
  for (const key of described) {
    if (!key.selectedBy) continue;
    if (!groups.has(key.selectedBy)) groups.set(key.selectedBy, []);
    groups.get(key.selectedBy).push(key);
  }
  const items = [];
  const placed = new Set();
  for (const key of described) {
    if (key.selectedBy) continue;
    if (groups.has(key.key)) {
      const members = groups.get(key.key);
      const entries = Math.max(...members.map((member) => member.entries || 0));
      items.push({ type: 'group', index: key, members, entries });
      placed.add(key.key);
    } else {
      items.push({ type: 'key', key });
    }
  }
  // A selected key whose index key is not listed still gets shown, without a selector.
  for (const [index, members] of groups) {
    if (!placed.has(index)) for (const key of members) items.push({ type: 'key', key });
  }
  return items;
}

// Search over category names, titles and help texts (about: category -> text), and key names
// and help. Returns [{category, keys}] where keys lists the matching key names (empty when the
// category itself matched).
export function searchSchema(schema, text, about = {}) {
  const needle = text.trim().toLowerCase();
  const results = [];
  for (const category of Object.keys(schema)) {
    if (!needle) {
      results.push({ category, keys: [] });
      continue;
    }
    const title = (kCategoryTitles[category] || '').toLowerCase();
    const nameMatch = category.toLowerCase().includes(needle) || title.includes(needle) ||
      (about[category] || '').toLowerCase().includes(needle);
    const keys = schema[category]
      .filter((key) => key.key.toLowerCase().includes(needle) || (typeof key.help === 'string' && key.help.toLowerCase().includes(needle)))
      .map((key) => key.key);
    if (nameMatch || keys.length > 0) results.push({ category, keys: nameMatch ? [] : keys });
  }
  return results;
}

export function filesKeys(schema) {
  const found = [];
  for (const [category, keys] of Object.entries(schema)) {
    for (const key of keys) {
      if (key.access === 'files' && category !== 'ST') found.push({ category, key: key.key });
    }
  }
  return found;
}

export function statisticsKey(schema, category) {
  const keys = schema[category] || [];
  const key = keys.find((candidate) => candidate.access === 'statistics');
  return key ? key.key : null;
}

export function shapeText(key) {
  if (key.access === 'string') return `text ≤ ${key.shape[0]}`;
  if (key.shape.length === 0) return key.element;
  const dims = key.shape.join(' × ');
  return key.access === 'curve' ? `${dims} points` : `${dims} ${key.element}`;
}
