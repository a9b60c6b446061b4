// The tuning client: category list, category views with an editor per key, the header
// actions (streaming, settings, calibration files), live statistics and the driver activity.
//
// Every write is sent on its own and followed by a separate read of the same key: within one
// request the shell pushes a block only when the request moves on, so a read in the same
// request would see the value before the hardware took it.

import { Api, ApiError, dataUriToBlob, fileToDataUri, takeTokenFromLocation } from './api.js';
import { ActivityPanel } from './activity.js';
import { createEditor, el } from './editors.js';
import { StatisticsPoller, createLiveView } from './live.js';
import { createLabPanel } from './lab.js';
import { createCalibratePanel } from './calibrate.js';
import { PreviewPane } from './preview.js';
import {
  editorKind,
  filesKeys,
  isBatchReadable,
  categorySection,
  kCategorySections,
  kCategoryTitles,
  kMeasuredCategories,
  layoutCategory,
  searchSchema,
  shapeText,
  statisticsKey,
} from './schema.js';

const kStreamingNote = /Streaming needed/;

const $ = (selector) => document.querySelector(selector);

const state = {
  schema: null,
  about: {}, // category -> {title, help} from the server
  streaming: null,
  view: null, // {category, rows: Map(key -> row), dispose()}
};

// ---- Notifications -------------------------------------------------------------------------

function notify(text, kind = 'info') {
  const close = el('button', { class: 'close', type: 'button', title: 'Dismiss' }, '×');
  const toast = el('div', { class: `toast ${kind}`, role: kind === 'error' ? 'alert' : 'status' }, el('span', {}, text), close);
  close.addEventListener('click', () => toast.remove());
  $('#toasts').append(toast);
  // Errors stay until dismissed; the rest fade out.
  if (kind !== 'error') setTimeout(() => toast.remove(), 5000);
  return toast;
}

function reportError(error, context = '') {
  const text = error instanceof Error ? error.message : String(error);
  notify(context ? `${context}: ${text}` : text, 'error');
}

// ---- Token ---------------------------------------------------------------------------------

function askToken(reason) {
  const dialog = $('#token-dialog');
  $('#token-reason').textContent = reason || '';
  $('#token-input').value = '';
  return new Promise((resolve) => {
    dialog.addEventListener('close', () => {
      const token = $('#token-input').value.trim();
      resolve(dialog.returnValue === 'ok' && token ? token : null);
    }, { once: true });
    dialog.showModal();
  });
}

const api = new Api({ storage: window.sessionStorage, askToken });

// ---- Shell answers -------------------------------------------------------------------------

function messagesOf(answer) {
  return answer && Array.isArray(answer.message) ? answer.message : [];
}

function problems(messages) {
  return messages.filter((text) => !kStreamingNote.test(text));
}

function readKeys(category, keys) {
  return api.request(keys.map((key) => ({ category, key })));
}

async function writeKey(category, key, value) {
  // The picture as it was before a change of the camera's settings stays for comparison.
  if (preview && category !== 'IPT') preview.beforeWrite();
  const [answer] = await api.request([{ category, key, value: { current: value } }]);
  return messagesOf(answer);
}

// ---- Category list -------------------------------------------------------------------------

function titleOf(category) {
  return state.about[category]?.title || kCategoryTitles[category] || '';
}

function renderCategoryList() {
  const list = $('#categories');
  const about = Object.fromEntries(Object.keys(state.schema).map((category) => [category, `${titleOf(category)} ${state.about[category]?.help || ''}`]));
  const results = searchSchema(state.schema, $('#search').value, about);
  const sections = new Map(kCategorySections.map((section) => [section, []]));
  for (const result of results) sections.get(categorySection(result.category)).push(result);
  list.replaceChildren();
  for (const [section, members] of sections) {
    if (members.length === 0) continue;
    list.append(el('li', { class: 'section' }, section));
    members.sort((a, b) => a.category.localeCompare(b.category, 'en', { numeric: true }));
    for (const { category, keys } of members) {
      const link = el('a', { href: `#/${encodeURIComponent(category)}`, dataset: { category } },
        el('b', {}, category), el('small', {}, titleOf(category)));
      const chips = keys.slice(0, 8).map((key) =>
        el('a', { class: 'chip', href: `#/${encodeURIComponent(category)}/${encodeURIComponent(key)}` }, key));
      if (keys.length > 8) chips.push(el('span', { class: 'chip more' }, `+${keys.length - 8}`));
      list.append(el('li', {}, link, chips.length ? el('div', { class: 'chips' }, chips) : null));
    }
  }
  if (results.length === 0) list.append(el('li', { class: 'muted empty' }, 'Nothing matches'));
}

function markCurrent() {
  for (const item of document.querySelectorAll('#categories li')) {
    const link = item.querySelector('a[data-category]');
    item.classList.toggle('current', Boolean(link && state.view && link.dataset.category === state.view.category));
  }
  $('#live-link').classList.toggle('current', Boolean(state.view && state.view.category === null && !state.view.lab && !state.view.calibrate));
  $('#lab-link').classList.toggle('current', Boolean(state.view && state.view.lab));
  $('#calibrate-link').classList.toggle('current', Boolean(state.view && state.view.calibrate));
}

// ---- Key rows ------------------------------------------------------------------------------

function showMessages(row, messages, error = null) {
  const box = row.messages;
  box.replaceChildren();
  const bad = problems(messages);
  row.element.classList.toggle('cached', messages.some((text) => kStreamingNote.test(text)));
  row.element.classList.toggle('failed', bad.length > 0 || Boolean(error));
  for (const text of bad) box.append(el('span', { class: 'message bad' }, text.replace(/^Shell: /, '')));
  if (error) box.append(el('span', { class: 'message bad' }, error));
}

function flash(row, name) {
  row.element.classList.remove('ok', 'busy');
  void row.element.offsetWidth;
  row.element.classList.add(name);
}

function keyBadges(key) {
  return el('span', { class: 'badges' },
    key.readsHardware ? el('i', { class: 'hw', title: 'a read fetches the value back from the hardware' }, 'HW') : null,
    key.pushesHardware ? el('i', { class: 'push', title: 'a write is pushed to the hardware' }, '⇢') : null,
    typeof key.inert === 'string' && key.inert ? el('i', { class: 'inert', title: `No effect on the picture: ${key.inert}` }, 'inert') : null);
}

// What a key does, one line under its name; a click shows all of it.
function keyHelp(key) {
  if (typeof key.help !== 'string' || !key.help) return null;
  const help = el('p', { class: 'key-help', title: key.help }, key.help);
  help.addEventListener('click', () => help.classList.toggle('open'));
  return help;
}

// One row per key: name and type, the editor, the key's help and the shell's messages.
function createKeyRow(category, key, view) {
  const kind = editorKind(key);
  const row = { key, kind, element: null, editor: null, messages: el('div', { class: 'messages' }) };
  const isSettings = category === 'ST' && key.key === 'setting';
  row.editor = createEditor(key, kind, {
    write: (value) => commitKey(view, row, value),
    upload: isSettings ? (files) => uploadSettings(files[0]) : (files) => uploadFiles(category, key.key, files),
    download: isSettings ? downloadSettings : null,
  });
  const wide = kind === 'array' || kind === 'table' || kind === 'curve' || kind === 'statistics' || (kind === 'text' && key.shape[0] > 64);
  row.element = el('div', { class: `key-row ${wide ? 'wide' : ''} kind-${kind}`, dataset: { key: key.key } },
    el('div', { class: 'key-name' },
      el('code', { title: `${category}/${key.key}` }, key.key),
      keyBadges(key),
      el('small', {}, shapeText(key)),
      key.rowsFrom ? el('small', { class: 'note' }, `rows: ${key.rowsFrom}`) : null),
    el('div', { class: 'key-editor' }, row.editor.element),
    keyHelp(key),
    row.messages);
  row.element.addEventListener('valuecheck', (event) => {
    row.messages.querySelector('.local')?.remove();
    if (event.detail) row.messages.append(el('span', { class: 'message bad local' }, `Not sent: ${event.detail}`));
  });
  return row;
}

async function commitKey(view, row, value) {
  const { category } = view;
  row.element.classList.add('busy');
  try {
    const written = await writeKey(category, row.key.key, value);
    let read = [];
    if (isBatchReadable(row.key)) {
      const [answer] = await readKeys(category, [row.key.key]);
      if (answer && answer.value) row.editor.set(answer.value.current);
      read = messagesOf(answer);
    }
    if (view.closed) return;
    showMessages(row, [...written, ...read]);
    row.element.classList.remove('busy');
    if (problems(written).length === 0) flash(row, 'ok');
    // A row count or index may have changed what other keys hold: read those again.
    if (view.dependents.has(row.key.key)) await view.reload(view.dependents.get(row.key.key));
  } catch (error) {
    row.element.classList.remove('busy');
    showMessages(row, [], error.message);
    if (error instanceof ApiError && error.status !== 0) return;
    reportError(error, `${category}/${row.key.key}`);
  }
}

// ---- Category view -------------------------------------------------------------------------

function disposeView() {
  if (state.view) {
    state.view.closed = true;
    for (const stop of state.view.subscriptions) stop();
  }
}

function openCategory(category, focusKey = null) {
  disposeView();
  const keys = state.schema[category];
  const items = layoutCategory(category, keys);
  const view = {
    category,
    rows: new Map(),
    groups: new Map(),
    dependents: new Map(),
    subscriptions: [],
    closed: false,
  };
  state.view = view;

  const banner = el('div', { class: 'banner warn', hidden: true },
    'The sensor is not streaming: values marked ', el('i', { class: 'cache-mark' }), ' come from the database, not the hardware.',
    el('button', { class: 'small', type: 'button', onclick: () => setStreaming(true) }, 'Start streaming'));
  const status = el('span', { class: 'meta' }, '');
  const reloadButton = el('button', { class: 'ghost small', type: 'button', onclick: () => view.reload() }, '↻ Reload');
  const body = el('div', { class: 'keys' });

  const readable = keys.filter(isBatchReadable).length;
  const hardware = keys.filter((key) => key.readsHardware).length;
  const head = el('header', { class: 'view-head' },
    el('h2', {}, category, el('small', {}, titleOf(category))),
    el('span', { class: 'meta' }, `${keys.length} keys · ${hardware} read back from hardware`),
    status, reloadButton);

  for (const item of items) {
    if (item.type === 'key') {
      if (item.key.access === 'statistics') {
        body.append(liveCard(view, category));
        continue;
      }
      const row = createKeyRow(category, item.key, view);
      view.rows.set(item.key.key, row);
      body.append(row.element);
      if (item.key.rowsFrom) addDependent(view, item.key.rowsFrom, item.key.key);
    } else {
      body.append(createGroup(view, item));
    }
  }

  view.reload = async (only = null) => {
    const wanted = only || [...view.rows.values()].filter((row) => isBatchReadable(row.key)).map((row) => row.key.key);
    if (wanted.length === 0) return;
    reloadButton.disabled = true;
    status.textContent = 'reading…';
    try {
      const answers = await readKeys(category, wanted);
      if (view.closed) return;
      let cached = 0;
      answers.forEach((answer, index) => {
        const row = view.rows.get(wanted[index]);
        if (!row || !answer || answer.key !== wanted[index]) return;
        if (answer.value) row.editor.set(answer.value.current);
        const messages = messagesOf(answer);
        if (messages.some((text) => kStreamingNote.test(text))) ++cached;
        showMessages(row, messages);
        if (view.groups.has(row.key.key)) view.groups.get(row.key.key).set(answer.value ? answer.value.current : null);
      });
      banner.hidden = cached === 0;
      status.textContent = `read ${answers.length} keys at ${new Date().toLocaleTimeString()}`;
    } catch (error) {
      status.textContent = 'read failed';
      reportError(error, `Reading ${category}`);
    } finally {
      reloadButton.disabled = false;
    }
  };

  const tools = categoryTools(category);
  const helpText = state.about[category]?.help;
  const help = helpText ? el('p', { class: 'category-help' }, helpText) : null;
  $('#view').replaceChildren(el('section', { class: 'category-view' }, head, help, banner, tools, body));
  markCurrent();
  view.reload().then(() => {
    if (!focusKey) return;
    const row = view.rows.get(focusKey);
    const target = row ? row.element : body.querySelector(`[data-key="${CSS.escape(focusKey)}"]`);
    if (target) {
      target.scrollIntoView({ block: 'center' });
      target.classList.add('found');
    }
  });
}

function addDependent(view, index, key) {
  if (!view.dependents.has(index)) view.dependents.set(index, []);
  view.dependents.get(index).push(key);
}

// Keys selected by an index key, under a selector that writes the index and re-reads them.
function createGroup(view, item) {
  const { category } = view;
  const indexRow = createKeyRow(category, item.index, view);
  view.rows.set(item.index.key, indexRow);
  const select = el('select', { class: 'selector', title: `writes ${item.index.key}` });
  for (let entry = 0; entry < item.entries; ++entry) select.append(el('option', { value: entry }, `${entry}`));
  const stray = el('option', { value: '', disabled: true, hidden: true }, '');
  select.append(stray);
  const members = el('div', { class: 'group-keys' });
  for (const key of item.members) {
    const row = createKeyRow(category, key, view);
    view.rows.set(key.key, row);
    members.append(row.element);
  }
  const memberKeys = item.members.filter(isBatchReadable).map((key) => key.key);
  view.dependents.set(item.index.key, memberKeys);

  select.addEventListener('change', async () => {
    const value = Number(select.value);
    indexRow.element.classList.add('busy');
    try {
      const written = await writeKey(category, item.index.key, value);
      if (view.closed) return;
      showMessages(indexRow, written);
      indexRow.element.classList.remove('busy');
      await view.reload([item.index.key, ...memberKeys]);
    } catch (error) {
      indexRow.element.classList.remove('busy');
      showMessages(indexRow, [], error.message);
      reportError(error, `${category}/${item.index.key}`);
    }
  });

  view.groups.set(item.index.key, {
    set(value) {
      const inRange = Number.isInteger(value) && value >= 0 && value < item.entries;
      // An index outside the table (e.g. from an uploaded settings file) is shown as it is.
      stray.textContent = `${value} (outside 0–${item.entries - 1})`;
      stray.value = inRange ? '' : String(value);
      select.value = String(value);
      select.classList.toggle('invalid', !inRange);
    },
  });

  indexRow.element.classList.add('index-row');
  indexRow.element.querySelector('.key-editor').replaceChildren(
    el('span', { class: 'selector-wrap' }, el('span', { class: 'muted' }, `entry of ${item.entries}`), select));
  return el('div', { class: 'group' },
    el('div', { class: 'group-head' }, indexRow.element),
    members);
}

function liveCard(view, category) {
  const card = createLiveView(category, titleOf(category));
  subscribeLive(view, category, card);
  return card.element;
}

function subscribeLive(view, category, card) {
  const idle = () => card.idle(state.streaming ? 'waiting for data' : 'sensor not streaming: start streaming to see live data');
  idle();
  view.idlers = view.idlers || [];
  view.idlers.push(idle);
  view.subscriptions.push(poller.subscribe(category, (stats, messages) => card.update(stats, messages)));
}

// Calibration upload on the category views that take calibration files.
function categoryTools(category) {
  if (category === 'ST') {
    return el('div', { class: 'tools' },
      el('button', { type: 'button', onclick: downloadSettings }, '⤓ Download settings.json'),
      el('span', { class: 'muted' }, 'or upload one with ⤒ Settings in the header.'));
  }
  return null;
}

// ---- Live page -----------------------------------------------------------------------------

function openLive() {
  disposeView();
  const view = { category: null, rows: new Map(), subscriptions: [], closed: false, reload: async () => {} };
  state.view = view;
  const cards = kMeasuredCategories.filter((category) => state.schema[category] && statisticsKey(state.schema, category));
  const grid = el('div', { class: 'live-grid' });
  for (const category of cards) {
    const card = createLiveView(category, titleOf(category));
    card.element.querySelector('h3').append(el('a', { class: 'small-link', href: `#/${category}` }, 'settings →'));
    subscribeLive(view, category, card);
    grid.append(card.element);
  }
  $('#view').replaceChildren(el('section', { class: 'live-view' },
    el('header', { class: 'view-head' }, el('h2', {}, 'Live statistics', el('small', {}, 'measured on the simulated sensor')),
      el('span', { class: 'meta' }, 'polled about four times a second while streaming and visible')),
    grid));
  markCurrent();
}

function openLab() {
  disposeView();
  const panel = createLabPanel(api, { onError: reportError });
  state.view = { category: null, lab: true, rows: new Map(), subscriptions: [() => panel.dispose()], closed: false, reload: async () => {} };
  $('#view').replaceChildren(el('section', { class: 'live-view' }, panel.element));
  markCurrent();
}

function openCalibrate() {
  disposeView();
  const panel = createCalibratePanel(api, {
    onError: reportError,
    beforeApply: () => preview && preview.beforeWrite(),
    afterApply: () => preview && preview.streamingChanged(),
  });
  state.view = { category: null, calibrate: true, rows: new Map(), subscriptions: [() => panel.dispose()], closed: false, reload: async () => {} };
  $('#view').replaceChildren(el('section', { class: 'live-view' }, panel.element));
  markCurrent();
}

// ---- Header actions ------------------------------------------------------------------------

function showStreaming(on) {
  state.streaming = on;
  const button = $('#stream-toggle');
  button.setAttribute('aria-pressed', on ? 'true' : 'false');
  button.dataset.state = on === null ? 'unknown' : on ? 'on' : 'off';
  button.querySelector('b').textContent = on === null ? '?' : on ? 'on' : 'off';
  if (state.view && state.view.idlers) for (const idle of state.view.idlers) idle();
  poller.schedule(0);
  if (preview) preview.streamingChanged();
}

async function refreshStreaming() {
  try {
    const [answer] = await readKeys('IPT', ['isStream']);
    showStreaming(answer && answer.value ? Boolean(answer.value.current) : null);
  } catch (error) {
    showStreaming(null);
    reportError(error, 'Reading the stream state');
  }
}

async function setStreaming(on) {
  const button = $('#stream-toggle');
  button.disabled = true;
  try {
    const messages = problems(await writeKey('IPT', 'isStream', on));
    if (messages.length) notify(`Streaming ${on ? 'on' : 'off'}: ${messages.join('; ')}`, 'error');
    await refreshStreaming();
    if (state.view && state.view.category) await state.view.reload();
  } catch (error) {
    reportError(error, 'Streaming');
  } finally {
    button.disabled = false;
  }
}

// The whole settings document (ST/setting) as a data URI, or null (said in a notification).
async function readSettings() {
  const [answer] = await readKeys('ST', ['setting']);
  const current = answer && answer.value ? answer.value.current : null;
  const uri = Array.isArray(current) ? current[0] : current;
  if (typeof uri !== 'string' || !uri.startsWith('data:')) {
    notify(`The settings could not be read: ${messagesOf(answer).join('; ') || 'no document in the answer'}`, 'error');
    return null;
  }
  return uri;
}

// Writes a settings document to the camera and shows the open view's keys again. source
// names where the document came from (a file name, a snapshot).
async function restoreSettings(uri, source, verb = 'uploaded') {
  const messages = await writeKey('ST', 'setting', [uri]);
  if (messages.length) notify(`Settings from ${source}: ${messages.join('; ')}`, 'error');
  else notify(`Settings ${verb} from ${source}: accepted`, 'ok');
  if (state.view && state.view.category) await state.view.reload();
  return messages.length === 0;
}

function documentOf(uri) {
  return JSON.parse(new TextDecoder().decode(Uint8Array.from(atob(uri.slice(uri.indexOf(',') + 1)), (c) => c.charCodeAt(0))));
}

// A settings document only replaces the database; the hardware takes a block's settings when
// its keys are written. So the blocks whose section differs from the database they replaced
// are written again, key by key where the document holds the key's value under its name.
async function pushBlocks(previous, next) {
  const commands = [];
  const blocks = [];
  for (const [category, keys] of Object.entries(state.schema)) {
    const section = next[category];
    if (categorySection(category) === kCategorySections[3] || !section || typeof section !== 'object') continue;
    if (JSON.stringify(section) === JSON.stringify(previous[category])) continue;
    const writes = keys.filter((key) => key.pushesHardware && isBatchReadable({ ...key, category }) && Object.hasOwn(section, key.key));
    if (writes.length === 0) continue;
    blocks.push(category);
    for (const key of writes) commands.push({ category, key: key.key, value: { current: section[key.key] } });
  }
  if (commands.length === 0) return;
  const answers = await api.request(commands);
  const bad = answers.flatMap((answer) => problems(messagesOf(answer)).map((text) => `${answer.category}/${answer.key}: ${text}`));
  if (bad.length) notify(`Pushing the restored blocks: ${bad.slice(0, 4).join('; ')}`, 'error');
  else notify(`Restored blocks pushed to the hardware: ${blocks.join(', ')}`, 'ok');
}

// Restores a snapshot's settings document and pushes the blocks it changes.
async function restoreSnapshot(uri, source) {
  const previous = await readSettings();
  if (!previous || !(await restoreSettings(uri, source, 'restored'))) return;
  if (state.streaming) await pushBlocks(documentOf(previous), documentOf(uri));
  if (state.view && state.view.category) await state.view.reload();
}

async function downloadSettings() {
  try {
    const uri = await readSettings();
    if (!uri) return;
    const blob = dataUriToBlob(uri);
    const link = el('a', { href: URL.createObjectURL(blob), download: 'settings.json' });
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
    notify(`Settings downloaded (${(blob.size / 1024).toFixed(1)} KiB)`, 'ok');
  } catch (error) {
    reportError(error, 'Settings download');
  }
}

async function uploadSettings(file) {
  try {
    await restoreSettings(await fileToDataUri(file, 'text/json'), file.name);
  } catch (error) {
    reportError(error, 'Settings upload');
  }
}

async function uploadFiles(category, key, files) {
  try {
    const uris = await Promise.all(files.map((file) => fileToDataUri(file, 'text/txt')));
    const messages = await writeKey(category, key, uris);
    const names = files.map((file) => file.name).join(', ');
    if (problems(messages).length) notify(`${category} calibration (${names}): ${messages.join('; ')}`, 'error');
    else notify(`${category} calibration loaded from ${names}`, 'ok');
    if (state.view && state.view.category === category) await state.view.reload();
  } catch (error) {
    reportError(error, `${category} calibration`);
  }
}

async function saveOnServer() {
  try {
    const answer = await api.save();
    notify(`Database saved to ${answer && answer.saved}`, 'ok');
  } catch (error) {
    reportError(error, 'Save');
  }
}

function wireHeader() {
  $('#stream-toggle').addEventListener('click', () => setStreaming(!state.streaming));
  $('#settings-download').addEventListener('click', downloadSettings);
  $('#settings-upload').addEventListener('change', (event) => {
    const [file] = event.target.files;
    event.target.value = '';
    if (file) uploadSettings(file);
  });
  const select = $('#calibration-category');
  const targets = filesKeys(state.schema);
  select.replaceChildren(...targets.map(({ category, key }) => el('option', { value: `${category}/${key}` }, category)));
  select.closest('.joined').hidden = targets.length === 0;
  $('#calibration-upload').addEventListener('change', (event) => {
    const files = [...event.target.files];
    event.target.value = '';
    const [category, key] = select.value.split('/');
    if (files.length) uploadFiles(category, key, files);
  });
  $('#save').addEventListener('click', saveOnServer);
  $('#token-button').addEventListener('click', async () => {
    if (await api.renewToken('Enter the token the server printed.')) start();
  });
}

// ---- Routing and start ---------------------------------------------------------------------

function route() {
  if (!state.schema) return;
  const [, first = '', second = ''] = location.hash.split('/');
  const category = decodeURIComponent(first);
  if (category === 'lab') openLab();
  else if (category === 'calibrate') openCalibrate();
  else if (category && state.schema[category]) openCategory(category, second ? decodeURIComponent(second) : null);
  else openLive();
}

const poller = new StatisticsPoller(api, {
  statisticsKeyOf: (category) => statisticsKey(state.schema, category),
  isStreaming: () => state.streaming === true,
  onError: (error) => reportError(error, 'Live statistics'),
});

let activity = null;
let preview = null;
let headerWired = false;

async function start() {
  try {
    state.schema = await api.schema();
    state.about = api.about || {};
  } catch (error) {
    $('#view').replaceChildren(el('p', { class: 'placeholder error' }, `The key schema could not be loaded: ${error.message}`));
    reportError(error, 'Schema');
    return;
  }
  if (!headerWired) {
    wireHeader();
    headerWired = true;
    $('#search').addEventListener('input', () => {
      renderCategoryList();
      markCurrent();
    });
    window.addEventListener('hashchange', route);
  }
  renderCategoryList();
  await refreshStreaming();
  route();
  if (!preview) {
    preview = new PreviewPane(api, $('#preview'), {
      notify,
      reportError,
      startStreaming: () => setStreaming(true),
      readSettings,
      restoreSettings: (uri, source) => restoreSnapshot(uri, source).catch((error) => reportError(error, 'Restore')),
      writeKey: async (category, key, value) => {
        const messages = problems(await writeKey(category, key, value));
        if (category === 'IPT' && state.view && state.view.category === 'IPT') await state.view.reload();
        return messages;
      },
    });
  }
  if (!activity) {
    activity = new ActivityPanel(api, {
      list: $('#activity'),
      status: $('#events-status'),
      hidePolls: $('#hide-polls'),
      hiddenNote: $('#hidden-polls'),
      onError: (error) => reportError(error, 'Driver journal'),
      onRequest: (request) => {
        // Another client may start or stop the sensor.
        if (request.commands.some((command) => command.category === 'IPT' && command.key === 'isStream' && command.write)) {
          refreshStreaming();
        }
      },
    });
    $('#activity-clear').addEventListener('click', () => activity.clear());
    activity.start();
  }
}

takeTokenFromLocation(window.location, window.history, window.sessionStorage);
start();
