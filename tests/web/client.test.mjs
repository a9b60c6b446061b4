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

before(async () => {
  assert.ok(serverPath, 'give the tshell-server path as the first argument or TSHELL_SERVER');
  fs.mkdirSync(artefacts, { recursive: true });
  const started = await startServer();
  server = started.child;
  base = started.base;
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

test('the token moves from the address to the tab, and a tab without it is asked for it', async () => {
  assert.equal(await page.evaluate(() => location.hash.includes('token')), false);
  assert.equal(await page.evaluate(() => sessionStorage.getItem('tshell.token')), token);
  const [schemaCategories, listed] = await Promise.all([
    fetch(`${base}/api/schema`, { headers: { Authorization: `Bearer ${token}` } }).then((r) => r.json()),
    page.locator('#categories a[data-category]').count(),
  ]);
  assert.equal(listed, Object.keys(schemaCategories).length);

  // sessionStorage is per tab: a second tab opened without the fragment gets 401 and asks.
  const other = await context.newPage();
  await other.goto(`${base}/`);
  await other.waitForSelector('#token-dialog[open]');
  await other.fill('#token-input', 'wrong');
  await other.click('#token-ok');
  await other.waitForSelector('#token-dialog[open]'); // a wrong token is asked for again
  await other.fill('#token-input', token);
  await other.click('#token-ok');
  await other.waitForSelector('#categories a[data-category="DG"]');
  await other.close();
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
  await page.click('#stream-toggle');
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
});
