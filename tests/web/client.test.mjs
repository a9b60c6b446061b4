// End-to-end test of the browser tuning client: starts a real tshell-server, drives the page
// in Debian's headless Chromium and checks what the engineer sees against what the server
// holds.
//
//   node tests/web/client.test.mjs <path to tshell-server> [artefact directory]
//
// The server may also be given as TSHELL_SERVER, the artefact directory (screenshots,
// downloaded settings) as TSHELL_WEB_ARTEFACTS; by default it lies beside the server binary.
// TSHELL_WEB_SCREENSHOT_COPY names a second place for the category screenshot (the README's
// picture is refreshed that way). Needs `npm ci` in tests/web (scripts/install-web-deps).

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import zlib from 'node:zlib';

const browserPath = process.env.CHROMIUM || '/usr/bin/chromium';

// Missing tools make the test skip (exit 77 for ctest) on a developer's machine, but fail in CI.
function missing(what) {
  console.log(`web client test skipped: ${what}`);
  process.exit(process.env.CI ? 1 : 77);
}

let chromium;
try {
  ({ chromium } = await import('playwright-core'));
} catch {
  missing('playwright-core is not installed; run scripts/install-web-deps');
}
if (!fs.existsSync(browserPath)) missing(`no browser at ${browserPath} (Debian package chromium)`);

const here = path.dirname(fileURLToPath(import.meta.url));
const serverPath = process.argv[2] || process.env.TSHELL_SERVER;
const artefacts = path.resolve(process.argv[3] || process.env.TSHELL_WEB_ARTEFACTS ||
  path.join(path.dirname(serverPath || '.'), 'web-test-artefacts'));
const calibrationFile = path.resolve(here, '../../examples/calibration/ccm.txt');
const token = randomBytes(12).toString('hex');

let server;
let base;
let clientUrl;
let context;
let page;
let profile;
const pageErrors = [];

// Starts the server on a free port and reads the client's address from its first line.
function startServer(listen = '127.0.0.1:0') {
  return new Promise((resolve, reject) => {
    const child = spawn(serverPath, ['--listen', listen, '--token', token], { stdio: ['ignore', 'pipe', 'pipe'] });
    let output = '';
    let errors = '';
    const timer = setTimeout(() => reject(new Error(`tshell-server printed no address: ${output}${errors}`)), 10000);
    child.stderr.on('data', (chunk) => { errors += chunk; });
    child.stdout.on('data', (chunk) => {
      output += chunk;
      const match = /tuning client at (http:\/\/127\.0\.0\.1:\d+)\/#token=(\S+)/.exec(output);
      if (match) {
        clearTimeout(timer);
        resolve({ child, base: match[1], url: `${match[1]}/#token=${match[2]}` });
      }
    });
    child.on('exit', (code) => reject(new Error(`tshell-server exited with ${code}: ${errors}`)));
  });
}

async function shell(commands) {
  const response = await fetch(`${base}/api/request`, {
    method: 'POST',
    headers: { Authorization: `Bearer ${token}`, 'Content-Type': 'application/json' },
    body: JSON.stringify(commands),
  });
  assert.equal(response.status, 200);
  return response.json();
}

async function readValue(category, key) {
  const [answer] = await shell([{ category, key }]);
  return answer.value.current;
}

function keyRow(key) {
  return page.locator(`.category-view .key-row[data-key="${key}"]`);
}

async function openCategory(category) {
  await page.click(`#categories a[data-category="${category}"]`);
  await page.waitForSelector(`.category-view .view-head h2:has-text("${category}")`);
  await page.waitForFunction(() => /^read /.test(document.querySelector('.view-head .meta:last-of-type')?.textContent || ''));
}

// Collects the next count answers of /api/request, parsed, in order.
function nextAnswers(count) {
  return new Promise((resolve) => {
    const responses = [];
    const listener = (response) => {
      if (!response.url().endsWith('/api/request')) return;
      responses.push(response);
      if (responses.length < count) return;
      page.off('response', listener);
      resolve(Promise.all(responses.map((each) => each.json())));
    };
    page.on('response', listener);
  });
}

const nextAnswer = () => nextAnswers(1).then(([answer]) => answer);

// Colour statistics of the picture as drawn on the preview canvas, over the middle of the
// frame ('all'), or the left or right part (the two sides of a split comparison): mean R, G,
// B, the share of grey pixels (R = G = B within 2) and of coloured ones (a channel 12 apart).
function pictureStats(part = 'all') {
  return page.evaluate((part) => {
    const canvas = document.querySelector('#preview-canvas');
    const [x, y, w, h] = canvas.dataset.image.split(',').map(Number);
    const left = Math.max(0, x) + w * (part === 'right' ? 0.6 : 0.1);
    const width = w * (part === 'all' ? 0.8 : 0.3);
    const top = Math.max(0, y) + h * 0.1;
    const { data } = canvas.getContext('2d').getImageData(Math.round(left), Math.round(top), Math.round(width), Math.round(h * 0.8));
    let r = 0, g = 0, b = 0, grey = 0, coloured = 0;
    const n = data.length / 4;
    for (let i = 0; i < data.length; i += 4) {
      r += data[i];
      g += data[i + 1];
      b += data[i + 2];
      const spread = Math.max(Math.abs(data[i] - data[i + 1]), Math.abs(data[i + 1] - data[i + 2]), Math.abs(data[i] - data[i + 2]));
      if (spread <= 2) ++grey;
      if (spread >= 12) ++coloured;
    }
    return { r: r / n, g: g / n, b: b / n, grey: grey / n, coloured: coloured / n, n };
  }, part);
}

// Waits until count more frames have been drawn in the preview (of the given stage).
async function nextFrames(count, stage = null) {
  const drawn = Number(await page.locator('#preview-canvas').getAttribute('data-drawn') || 0);
  await page.waitForFunction(({ drawn, count, stage }) => {
    const canvas = document.querySelector('#preview-canvas');
    return Number(canvas.dataset.drawn || 0) >= drawn + count && (!stage || canvas.dataset.stage === stage);
  }, { drawn, count, stage });
}

// A small RGB PNG (left half red, right half blue), written here so that the upload does not
// depend on any picture the code produced.
function pngFile(width, height) {
  const crcTable = Array.from({ length: 256 }, (_, n) => {
    let c = n;
    for (let k = 0; k < 8; ++k) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
    return c >>> 0;
  });
  const crc = (bytes) => {
    let c = 0xffffffff;
    for (const byte of bytes) c = crcTable[(c ^ byte) & 0xff] ^ (c >>> 8);
    return (c ^ 0xffffffff) >>> 0;
  };
  const chunk = (type, data) => {
    const body = Buffer.concat([Buffer.from(type, 'latin1'), data]);
    const out = Buffer.alloc(body.length + 8);
    out.writeUInt32BE(data.length, 0);
    body.copy(out, 4);
    out.writeUInt32BE(crc(body), body.length + 4);
    return out;
  };
  const header = Buffer.alloc(13);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  header.set([8, 2, 0, 0, 0], 8); // 8 bits, RGB
  const rows = Buffer.alloc((width * 3 + 1) * height);
  for (let y = 0; y < height; ++y) {
    for (let x = 0; x < width; ++x) rows.set(x < width / 2 ? [200, 40, 30] : [30, 50, 190], y * (width * 3 + 1) + 1 + x * 3);
  }
  return Buffer.concat([Buffer.from([137, 80, 78, 71, 13, 10, 26, 10]), chunk('IHDR', header),
    chunk('IDAT', zlib.deflateSync(rows)), chunk('IEND', Buffer.alloc(0))]);
}

before(async () => {
  assert.ok(serverPath, 'give the tshell-server path as the first argument or TSHELL_SERVER');
  fs.mkdirSync(artefacts, { recursive: true });
  const started = await startServer();
  server = started.child;
  base = started.base;
  clientUrl = started.url;
  profile = fs.mkdtempSync(path.join(os.tmpdir(), 'tshell-web-'));
  context = await chromium.launchPersistentContext(profile, {
    executablePath: browserPath,
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
    viewport: { width: 1440, height: 900 },
    acceptDownloads: true,
  });
  page = context.pages()[0] || (await context.newPage());
  page.on('pageerror', (error) => pageErrors.push(error.message));
  await page.goto(started.url);
  await page.waitForSelector('#categories a[data-category="DG"]');
});

after(async () => {
  if (context) await context.close();
  if (server) server.kill('SIGTERM');
  if (profile) fs.rmSync(profile, { recursive: true, force: true });
});

test('the token moves from the address to the tab, and a tab without it is asked for it', async (t) => {
  assert.equal(await page.evaluate(() => location.hash.includes('token')), false);
  assert.equal(await page.evaluate(() => sessionStorage.getItem('tshell.token')), token);
  const [schemaCategories, listed] = await Promise.all([
    fetch(`${base}/api/schema`, { headers: { Authorization: `Bearer ${token}` } }).then((r) => r.json()),
    page.locator('#categories a[data-category]').count(),
  ]);
  assert.equal(listed, Object.keys(schemaCategories).length);

  // sessionStorage is per tab: a second tab opened without the fragment gets 401 and asks.
  // A second tab left open after a failure would keep polling and unsettle the later cases.
  const other = await context.newPage();
  t.after(() => other.close());
  await other.goto(`${base}/`);
  await other.waitForSelector('#token-dialog[open]');
  await other.fill('#token-input', 'wrong');
  await other.click('#token-ok');
  await other.waitForSelector('#token-dialog[open]'); // a wrong token is asked for again
  await other.fill('#token-input', token);
  await other.click('#token-ok');
  await other.waitForSelector('#categories a[data-category="DG"]');
});

test('search filters by category name and by key name', async () => {
  await page.fill('#search', 'ccmatrix');
  const categories = await page.locator('#categories a[data-category]').evaluateAll((links) => links.map((link) => link.dataset.category));
  assert.ok(categories.includes('CCM') && categories.includes('RGBIR'), categories.join());
  assert.ok(!categories.includes('DG'));
  assert.ok(await page.locator('#categories .chip', { hasText: 'ccMatrix' }).count() >= 2);
  await page.fill('#search', 'gain');
  const byName = await page.locator('#categories a[data-category]').evaluateAll((links) => links.map((link) => link.dataset.category));
  assert.ok(byName.includes('DG'), 'the title "Digital gain" matches');
  await page.fill('#search', '');
});

test('help: the block help heads its view, each key help and inert reason stand beside it, search finds help', async (t) => {
  // Texts of our own in the server's schema answer, so that what is shown can be checked.
  const blockHelp = 'Multiplies each colour channel by a factor of its own, before white balance.';
  const keyHelp = 'Factor of the green sites on the lines that hold red sites.';
  // A second tab left open after a failure would keep polling and unsettle the later cases.
  const other = await context.newPage();
  t.after(() => other.close());
  let schema;
  await other.route('**/api/schema', async (route) => {
    const response = await route.fetch();
    schema = await response.json();
    schema.DG.help = blockHelp;
    schema.DG.keys.find((key) => key.key === 'gr').help = keyHelp;
    await route.fulfill({ response, json: schema });
  });
  await other.goto(clientUrl);
  await other.click('#categories a[data-category="DG"]');
  assert.equal(await other.locator('.category-view .category-help').textContent(), blockHelp);
  const help = other.locator('.key-row[data-key="gr"] .key-help');
  assert.equal(await help.textContent(), keyHelp);
  assert.equal(await help.getAttribute('title'), keyHelp);
  const otherHelp = schema.DG.keys.find((key) => key.key === 'r').help;
  assert.equal(await other.locator('.key-row[data-key="r"] .key-help').textContent(), otherHelp);
  await help.click();
  assert.match(await help.getAttribute('class'), /open/);
  // Words found only in a help text find the key (as a chip) or the block.
  await other.fill('#search', 'lines that hold');
  const chips = await other.locator('#categories .chip').evaluateAll((each) => each.map((chip) => chip.getAttribute('href')));
  assert.ok(chips.includes('#/DG/gr') && !chips.includes('#/DG/r'), chips.join());
  await other.fill('#search', 'before white balance');
  const blocks = await other.locator('#categories a[data-category]').evaluateAll((links) => links.map((link) => link.dataset.category));
  assert.ok(blocks.includes('DG') && !blocks.includes('CCM'), blocks.join());

  // A key the camera model leaves without effect says why, beside its name.
  const [category, about] = Object.entries(schema).find(([, each]) => each.keys.some((key) => key.inert));
  const inert = about.keys.find((key) => key.inert);
  await other.fill('#search', '');
  await other.click(`#categories a[data-category="${category}"]`);
  assert.equal(await other.locator(`.key-row[data-key="${inert.key}"] .badges i.inert`).getAttribute('title'), `No effect on the picture: ${inert.inert}`);
});

test('a push without a stream shows the driver error beside the key', async () => {
  await openCategory('DG');
  assert.equal(await keyRow('r').locator('input').inputValue(), '1');
  await page.locator('.category-view .banner.warn').waitFor(); // values come from the database
  const answer = nextAnswer();
  await keyRow('r').locator('input').fill('1.25');
  await keyRow('r').locator('input').press('Enter');
  await answer;
  await keyRow('r').locator('.message.bad', { hasText: 'Driver is not initialized' }).waitFor();
  assert.match(await keyRow('r').getAttribute('class'), /failed/);

  // Out-of-range input is refused in the page and never reaches the shell.
  const before = await readValue('DG', 'state');
  await keyRow('state').locator('input').fill('-3');
  await keyRow('state').locator('input').press('Enter');
  await page.waitForSelector('.key-row[data-key="state"] input.invalid');
  await keyRow('state').locator('.message.local', { hasText: 'out of range 0 … 4294967295' }).waitFor();
  assert.equal(await readValue('DG', 'state'), before);
});

test('streaming on: the histogram is drawn from live statistics', async () => {
  // Without a stream the picture pane says why and offers to start it.
  await page.locator('.preview-idle', { hasText: 'No picture' }).waitFor();
  await page.click('.preview-idle button:has-text("Start streaming")');
  await page.waitForSelector('#stream-toggle[data-state="on"]');
  assert.equal(await readValue('IPT', 'isStream'), true);
  await page.click('#live-link');
  await page.waitForFunction(() => {
    const drawn = document.querySelector('canvas[data-live="HTG"]')?.dataset.drawn || '';
    return /^histogram:[1-9]/.test(drawn);
  });
  // Count the bar pixels (teal: little red, much green); axes and labels are grey.
  const barPixels = await page.evaluate(() => {
    const canvas = document.querySelector('canvas[data-live="HTG"]');
    const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
    let count = 0;
    for (let i = 0; i < data.length; i += 4) if (data[i] < 100 && data[i + 1] > 90 && data[i + 1] - data[i] > 50) ++count;
    return count;
  });
  assert.ok(barPixels > 1000, `only ${barPixels} bar pixels`);
  await page.waitForFunction(() => /^grid:5x5/.test(document.querySelector('canvas[data-live="AES_2"]')?.dataset.drawn || ''));
});

test('the lab panel switches auto exposure on, shows it settle and changes the scene', async () => {
  await page.click('#lab-link');
  await page.waitForSelector('.lab-readout dt');
  await page.locator('.lab-panel label', { hasText: 'Auto exposure' }).locator('input').check();
  await page.waitForFunction(() => /^settled: luma/.test(document.querySelector('.lab-readout dd')?.textContent || ''),
    null, { timeout: 20000 });
  assert.equal(await readValue('EC_2', 'state'), 1);
  const scene = async () => (await fetch(`${base}/api/scene`, { headers: { Authorization: `Bearer ${token}` } })).json();
  const put = (kind) => Promise.all([
    page.waitForResponse((response) => response.url().endsWith('/api/scene') && response.request().method() === 'PUT'),
    page.locator('.lab-panel select').selectOption(kind),
  ]);
  await put('flat');
  assert.deepEqual(await scene(), { lux: 400, illuminant: 5000, scene: 'flat' });
  await put('chart');
  await Promise.all([
    page.waitForResponse((response) => response.url().endsWith('/api/request')),
    page.locator('.lab-panel label', { hasText: 'Auto exposure' }).locator('input').uncheck(),
  ]);
  assert.equal(await readValue('EC_2', 'state'), 0);
  assert.equal((await scene()).scene, 'chart');
});

test('the calibrate panel shows a refused upload, runs lens shading from the camera and imports it', async () => {
  await page.click('#calibrate-link');
  await page.waitForSelector('.calibrate-panel');
  await page.click('.calibrate-panel .tab[data-kind="shading"]');
  await page.check('.calibrate-panel input[value="uploads"]');
  const notRaw = path.join(artefacts, 'not-raw.txt');
  fs.writeFileSync(notRaw, 'not a raw file');
  await page.setInputFiles('.calibrate-panel input[name="captures"]', notRaw);
  await page.locator('.calibrate-status[data-kind="error"]', { hasText: /not-raw\.txt refused \(415\): \S+/ }).waitFor();

  await page.check('.calibrate-panel input[value="twin"]');
  await page.fill('.calibrate-panel input[name="frames"]', '2');
  await page.click('.calibrate-panel button.run');
  await page.waitForSelector('.calibrate-panel canvas.gain-map >> nth=3', { timeout: 60000 });
  // The map shows the lens: corners gain more than the centre, so they are drawn brighter.
  const [corner, centre] = await page.evaluate(() => {
    const canvas = document.querySelector('.calibrate-panel canvas.gain-map');
    const at = (x, y) => [...canvas.getContext('2d').getImageData(x, y, 1, 1).data.slice(0, 3)].reduce((a, b) => a + b);
    return [at(1, 1), at(canvas.width / 2, canvas.height / 2)];
  });
  assert.ok(corner > centre + 100, `corner ${corner}, centre ${centre}`);
  const before = await readValue('LSC_3', 'matrix');
  const sizes = [await readValue('LSC_3', 'xSize'), await readValue('LSC_3', 'ySize')];
  assert.equal(before[0][0], 1024);
  await page.click('.calibrate-panel button.import');
  await page.locator('.calibrate-status[data-kind="ok"]', { hasText: 'imported' }).waitFor();
  const after = await readValue('LSC_3', 'matrix');
  assert.ok(after[0][0] > after[0][544] + 50, `corner ${after[0][0]}, centre ${after[0][544]}`);
  // The flat grid back, for the picture tests that follow.
  await shell([{ category: 'LSC_3', key: 'matrix', value: { current: before } },
    { category: 'LSC_3', key: 'xSize', value: { current: sizes[0] } },
    { category: 'LSC_3', key: 'ySize', value: { current: sizes[1] } }]);
});

test('DG/r is written, read back and shown, and the driver activity lists the push', async () => {
  await openCategory('DG');
  await page.waitForSelector('.category-view .banner.warn', { state: 'hidden' });
  const input = keyRow('r').locator('input');
  // The register holds a 32-bit float: what is shown must be what was read back, not the text typed.
  await input.fill('1.7500000001');
  await input.press('Enter');
  await page.waitForFunction(() => {
    const row = document.querySelector('.key-row[data-key="r"]');
    return row && !row.classList.contains('busy') && row.classList.contains('ok');
  });
  assert.equal(await input.inputValue(), '1.75');
  assert.equal(await keyRow('r').locator('.message.bad').count(), 0);
  assert.equal(await readValue('DG', 'r'), 1.75);
  await page.locator('#activity .calls li', { hasText: 'TDriverDigitalGain_process' }).first().waitFor();
  await page.locator('#activity .commands li', { hasText: 'DG/r' }).first().waitFor();
});

test('the picture follows a white-balance write, compares and restores a snapshot, shows each stage', async (t) => {
  await page.selectOption('#preview-stage', 'output');
  await nextFrames(2, 'output');
  await page.fill('#snapshot-name', 'neutral');
  await page.click('#snapshot-save');
  await page.locator('#snapshot-list li[data-name="neutral"]').waitFor();
  const neutral = await pictureStats();
  const neutralLeft = await pictureStats('left');
  assert.ok(neutral.n > 10000, `only ${neutral.n} pixels measured`);

  // Red gain up through the white-balance view: the picture turns redder within a few frames.
  await openCategory('WB_1_1');
  const red = keyRow('gain').locator('input').first();
  const shippedRed = Number(await red.inputValue());
  await red.fill(String(Math.round(shippedRed * 180) / 100));
  await red.press('Enter');
  await page.waitForFunction(() => document.querySelector('.key-row[data-key="gain"]')?.classList.contains('ok'));
  await nextFrames(3);
  const warm = await pictureStats();
  const warmLeft = await pictureStats('left');
  const ratio = (stats) => stats.r / stats.g;
  const near = (a, b) => Math.abs(ratio(a) - ratio(b)) < 0.05 * ratio(b);
  assert.ok(ratio(warm) > ratio(neutral) * 1.15, `R/G ${ratio(neutral).toFixed(3)} -> ${ratio(warm).toFixed(3)}`);
  assert.ok(Math.abs(warm.b / warm.g - neutral.b / neutral.g) < 0.1 * (neutral.b / neutral.g), 'B/G stays');

  // Split against the picture before the write: the left side shows it, the right side is live.
  await page.selectOption('#preview-compare', 'split');
  await page.selectOption('#preview-reference', 'before');
  await nextFrames(1);
  const [left, right] = [await pictureStats('left'), await pictureStats('right')];
  assert.ok(near(left, neutralLeft) && !near(left, warmLeft), `split left R/G ${ratio(left).toFixed(3)}: before ${ratio(neutralLeft).toFixed(3)}, live ${ratio(warmLeft).toFixed(3)}`);
  assert.ok(ratio(right) > ratio(left), 'the right side is live');
  // A/B: B shows the snapshot over the whole frame.
  await page.selectOption('#preview-compare', 'toggle');
  await page.selectOption('#preview-reference', 'snapshot:neutral');
  await page.click('#preview-ab');
  await nextFrames(1);
  const shown = await pictureStats();
  assert.ok(near(shown, neutral), `snapshot R/G ${ratio(shown).toFixed(3)} vs ${ratio(neutral).toFixed(3)}`);
  await page.click('#preview-ab');
  await page.selectOption('#preview-compare', 'off');

  // Restoring the snapshot writes its settings back: gain and picture as they were.
  await page.click('#snapshot-list li[data-name="neutral"] button:has-text("Restore")');
  // The document only replaces the database; the client writes the changed block again.
  await page.locator('.toast.ok', { hasText: 'Settings restored from snapshot "neutral"' }).waitFor();
  await page.locator('.toast.ok', { hasText: /pushed to the hardware: .*WB_1_1/ }).waitFor();
  assert.ok(Math.abs((await readValue('WB_1_1', 'gain'))[0] - shippedRed) < 1e-6);
  await nextFrames(3);
  const restored = await pictureStats();
  assert.ok(near(restored, neutral), `restored R/G ${ratio(restored).toFixed(3)} vs ${ratio(neutral).toFixed(3)}`);
  t.diagnostic(`R/G neutral ${ratio(neutral).toFixed(3)}, red gain ×1.8 ${ratio(warm).toFixed(3)}, split before/live ${ratio(left).toFixed(3)}/${ratio(right).toFixed(3)}, restored ${ratio(restored).toFixed(3)}`);

  // Stages: the sensor's mosaic is grey (one value per site), the output has colour.
  const stages = [['raw', (stats) => stats.grey > 0.98], ['DMSC_3', (stats) => stats.coloured > 0.05], ['output', (stats) => stats.coloured > 0.05]];
  for (const [stage, expected] of stages) {
    await page.selectOption('#preview-stage', stage);
    await nextFrames(2, stage);
    const stats = await pictureStats();
    assert.ok(expected(stats), `${stage}: grey ${stats.grey.toFixed(3)}, coloured ${stats.coloured.toFixed(3)}`);
    t.diagnostic(`${stage}: grey ${stats.grey.toFixed(3)}, coloured ${stats.coloured.toFixed(3)}`);
  }
});

test('the pixel probe and the region readout show what the server measures there', async () => {
  await page.selectOption('#preview-stage', 'raw');
  await nextFrames(1, 'raw');
  const canvas = page.locator('#preview-canvas');
  const box = await canvas.boundingBox();
  const [ix, iy, iw, ih] = (await canvas.getAttribute('data-image')).split(',').map(Number);
  const [fullWidth, fullHeight] = (await canvas.getAttribute('data-full')).split('x').map(Number);
  const scale = box.width / Number(await canvas.evaluate((node) => node.width));
  // A point a third into the frame, in page coordinates, and the frame pixel it shows.
  const px = ix + iw / 3;
  const py = iy + ih / 3;
  const expectedX = Math.floor(((px - ix) / iw) * fullWidth);
  const expectedY = Math.floor(((py - iy) / ih) * fullHeight);
  // The answers the page gets, taken on their way (the frame stream crowds the browser's own
  // response cache).
  const probes = [];
  await page.route('**/api/probe?*', async (route) => {
    const response = await route.fetch();
    const body = await response.text();
    probes.push({ region: route.request().url().includes('&w='), answer: JSON.parse(body) });
    await route.fulfill({ response, body }).catch(() => {}); // a probe still on its way at unroute
  });
  const shown = (answer) => page.waitForFunction(({ frame, x }) => {
    const readout = document.querySelector('#preview-probe');
    return readout.dataset.frame === String(frame) && readout.dataset.x === String(x);
  }, answer);
  await page.mouse.move(box.x + px * scale, box.y + py * scale);
  await page.waitForFunction(() => document.querySelector('#preview-probe').dataset.frame !== undefined);
  const answer = probes.filter((probe) => !probe.region).at(-1).answer;
  await shown(answer);
  assert.ok(Math.abs(answer.x - expectedX) <= 1 && Math.abs(answer.y - expectedY) <= 1, `probed (${answer.x}, ${answer.y}), expected (${expectedX}, ${expectedY})`);
  const readout = await page.locator('#preview-probe').textContent();
  for (const text of [`raw ${answer.raw.value} ${answer.raw.colour}`, `out ${answer.output.join(' · ')}`, `(${answer.x}, ${answer.y})`]) {
    assert.ok(readout.includes(text), `"${readout}" lacks "${text}"`);
  }

  // A rectangle dragged with the region tool is measured; the readout shows the server's figures.
  await page.click('.preview-tools button[data-tool="region"]');
  await page.mouse.move(box.x + (ix + iw * 0.4) * scale, box.y + (iy + ih * 0.4) * scale);
  await page.mouse.down();
  await page.mouse.move(box.x + (ix + iw * 0.5) * scale, box.y + (iy + ih * 0.55) * scale, { steps: 4 });
  await page.mouse.up();
  await page.waitForFunction(() => document.querySelector('#preview-region').dataset.w !== undefined);
  await page.waitForFunction(() => /mean/.test(document.querySelector('#preview-region').textContent));
  const region = probes.filter((probe) => probe.region).at(-1).answer.region;
  assert.ok(region.w > 10 && region.h > 10, JSON.stringify(region));
  const regionText = await page.locator('#preview-region').textContent();
  const figures = (values) => values.map((v) => (Number.isInteger(v) ? String(v) : v.toFixed(2))).join(' · ');
  assert.ok(regionText.includes(`${region.w}×${region.h}`) && regionText.includes(`mean ${figures(region.mean)}`) && regionText.includes(`σ ${figures(region.stddev)}`), regionText);
  await page.unroute('**/api/probe?*');
  await page.click('.preview-tools button[data-tool="pan"]');

  // Zoom to 4x: frame pixels become blocks of 4 x 4 identical screen pixels.
  await page.click('.preview-tools button:has-text("4×")');
  await nextFrames(2);
  const blocks = await page.evaluate(() => {
    const canvas = document.querySelector('#preview-canvas');
    const { data, width } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
    let same = 0, pairs = 0;
    for (let y = 40; y < canvas.height - 40; y += 7) {
      for (let x = 40; x < width - 40; x += 5) {
        const i = (y * width + x) * 4;
        ++pairs;
        if (data[i] === data[i + 4] || data[i] === data[i - 4]) ++same;
      }
    }
    return same / pairs;
  });
  assert.ok(blocks > 0.95, `only ${(blocks * 100).toFixed(1)}% of pixels repeat a neighbour at 4x`);
  await page.click('.preview-tools button:has-text("Fit")');
});

test('raw capture downloads once raw capture is on; a frame uploads, a bad one is refused', async () => {
  assert.equal(await readValue('IPT', 'isRaw'), false);
  await page.selectOption('#raw-format', 'dng');
  await page.click('#raw-download');
  await page.locator('.preview-message', { hasText: 'No raw capture' }).waitFor();
  const formats = [['dng', (bytes) => ['49492a00', '4d4d002a'].includes(bytes.subarray(0, 4).toString('hex'))],
    ['png', (bytes) => bytes.subarray(0, 8).toString('hex') === '89504e470d0a1a0a']];
  for (const [format, magic] of formats) {
    await page.selectOption('#raw-format', format);
    const download = page.waitForEvent('download');
    if (format === 'dng') await page.click('#raw-enable');
    else await page.click('#raw-download');
    const file = path.join(artefacts, `raw.${format}`);
    await (await download).saveAs(file);
    const bytes = fs.readFileSync(file);
    assert.ok(magic(bytes), `${format} starts with ${bytes.subarray(0, 8).toString('hex')}`);
    assert.ok(bytes.length > 100000, `${format}: only ${bytes.length} bytes`);
  }
  assert.equal(await readValue('IPT', 'isRaw'), true);

  const png = path.join(artefacts, 'upload.png');
  fs.writeFileSync(png, pngFile(64, 48));
  const notPicture = path.join(artefacts, 'upload.png.txt');
  fs.writeFileSync(notPicture, 'not a picture');
  // What the server answered shows in the page: the size it read, or why it refused.
  const uploads = [[png, page.locator('.toast.ok', { hasText: `${path.basename(png)} loaded: 64×48` })],
    [notPicture, page.locator('.preview-message', { hasText: /upload\.png\.txt refused \((400|415)\): \S+/ })]];
  for (const [file, shown] of uploads) {
    await page.setInputFiles('#frame-upload', file);
    await shown.waitFor();
  }
});

test('an index key selects the row its keys address', async () => {
  await openCategory('AGC_2');
  const select = page.locator('.group select.selector');
  // The selector writes the index, then reads the index and its keys again.
  const answers = nextAnswers(2);
  await select.selectOption('3');
  const [written, reread] = await answers;
  assert.deepEqual(written, [{ category: 'AGC_2', key: 'tableIndex' }]);
  assert.deepEqual(reread.map((answer) => answer.key), ['tableIndex', ':curve', ':gains']);
  assert.equal(reread[0].value.current, 3);
  assert.equal(await readValue('AGC_2', 'tableIndex'), 3);
});

test('settings download and re-upload, calibration upload', async () => {
  const download = page.waitForEvent('download');
  await page.click('#settings-download');
  const file = path.join(artefacts, 'settings.json');
  await (await download).saveAs(file);
  const settings = JSON.parse(fs.readFileSync(file, 'utf8'));
  assert.equal(settings.DG.r, 1.75);

  const uploaded = nextAnswer();
  await page.setInputFiles('#settings-upload', file);
  const [answer] = await uploaded;
  assert.equal(answer.category, 'ST');
  assert.equal(answer.message, undefined, JSON.stringify(answer.message));
  await page.locator('.toast.ok', { hasText: 'Settings uploaded' }).waitFor();

  // A changed document changes the database.
  settings.DG.gb = 1.5;
  const changed = path.join(artefacts, 'settings-changed.json');
  fs.writeFileSync(changed, JSON.stringify(settings));
  await page.setInputFiles('#settings-upload', changed);
  await page.locator('.toast.ok', { hasText: 'settings-changed.json' }).waitFor();
  assert.equal((await shell([{ category: 'ST', key: 'setting' }]))[0].message, undefined);
  const exported = (await readValue('ST', 'setting'))[0];
  assert.equal(JSON.parse(Buffer.from(exported.split(',')[1], 'base64').toString()).DG.gb, 1.5);

  // A document that is not a settings document is refused visibly.
  const broken = path.join(artefacts, 'broken.json');
  fs.writeFileSync(broken, '{"NOPE": {}}');
  await page.setInputFiles('#settings-upload', broken);
  await page.locator('.toast.error', { hasText: 'Wrong configuration' }).waitFor();

  // The server has no settings file to save to: its JSON error reaches the engineer.
  await page.click('#save');
  await page.locator('.toast.error', { hasText: '409' }).waitFor();

  await page.selectOption('#calibration-category', 'CCM/import');
  await page.setInputFiles('#calibration-upload', calibrationFile);
  await page.locator('.toast.ok', { hasText: 'CCM calibration loaded' }).waitFor();
  const matrix = await readValue('CCM', 'ccMatrix');
  assert.ok(Math.abs(matrix[0] - 1.62) < 1e-6 && Math.abs(matrix[8] - 1.57) < 1e-6, matrix.join());
});

test('the gamma view looks right (screenshot)', async () => {
  await openCategory('GC_2');
  await page.waitForFunction(() => /^lines:/.test(document.querySelector('.key-row[data-key="curve"] canvas')?.dataset.drawn || ''));
  await page.evaluate(() => document.querySelectorAll('.toast .close').forEach((close) => close.click()));
  await page.mouse.move(0, 0);
  const shot = path.join(artefacts, 'tuning-client.png');
  await page.screenshot({ path: shot });
  if (process.env.TSHELL_WEB_SCREENSHOT_COPY) fs.copyFileSync(shot, process.env.TSHELL_WEB_SCREENSHOT_COPY);
  assert.deepEqual(pageErrors, []);
});

test('the driver activity reconnects when the server comes back', async () => {
  await page.waitForSelector('#events-status[data-state="open"]');
  const stopped = new Promise((resolve) => server.once('exit', resolve));
  server.kill('SIGTERM');
  await stopped;
  await page.waitForSelector('#events-status[data-state="closed"]');
  server = (await startServer(new URL(base).host)).child;
  await page.waitForSelector('#events-status[data-state="open"]', { timeout: 20000 });
  // The new server's requests show up in the panel again.
  await shell([{ category: 'DG', key: 'gr', value: { current: 1.25 } }]);
  await page.locator('#activity .commands li', { hasText: 'DG/gr' }).first().waitFor();
  // The new server does not stream yet: the picture says so, and comes back once it does.
  await page.locator('.preview-idle', { hasText: 'No picture' }).waitFor({ timeout: 20000 });
  await shell([{ category: 'IPT', key: 'isStream', value: { current: true } }]);
  await nextFrames(2);
});
