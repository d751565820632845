// SPDX-License-Identifier: Apache-2.0
// The browser page against the command: Debian's Chromium, headless, driven by
// playwright-core over the built site (build-web/site) served from loopback.
// Every sample and every real module in tests/data is pasted as text and
// loaded as a file, and the page's JSON document (script interface and
// "Download JSON") and text report must equal what `fiberdecode --json` and
// `fiberdecode` print for the same bytes and name. Input errors must show the
// command's message. Screenshots and the page's weight and paste-to-report
// times go to build-web/browser-test/.
//
//   node --test tests/web/browser.test.mjs
//   env: FIBERDECODE (the command, default build/fiberdecode),
//        FIBER_WEB_SITE (default build-web/site), FIBER_WEB_OUT (default build-web/browser-test),
//        CHROMIUM (default /usr/bin/chromium)
import { after, before, describe, test } from 'node:test';
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';

const ROOT = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const SITE = path.resolve(process.env.FIBER_WEB_SITE || path.join(ROOT, 'build-web/site'));
const OUT = path.resolve(process.env.FIBER_WEB_OUT || path.join(ROOT, 'build-web/browser-test'));
const COMMAND = path.resolve(process.env.FIBERDECODE || path.join(ROOT, 'build/fiberdecode'));
const CHROMIUM = process.env.CHROMIUM || '/usr/bin/chromium';

// ---- The command --------------------------------------------------------

// Runs the command on one input: FILE read from CWD, or '-' with INPUT on
// standard input. Returns {status, stdout, message}: message is what follows
// "fiberdecode: NAME: " on standard error.
function command(args, { cwd = ROOT, input } = {}) {
  const run = spawnSync(COMMAND, args, { cwd, input, maxBuffer: 64 << 20 });
  assert.equal(run.error, undefined, `${COMMAND} did not run`);
  const stderr = run.stderr.toString('utf8').trim();
  const file = args[args.length - 1] === '-' ? '<stdin>' : args[args.length - 1];
  const prefix = `fiberdecode: ${file}: `;
  if (stderr) assert.ok(stderr.startsWith(prefix), `unexpected standard error: ${stderr}`);
  return { status: run.status, stdout: run.stdout.toString('utf8'), message: stderr.slice(prefix.length) };
}

const overrides = (o) => [...(o.format ? ['--format', o.format] : []), ...(o.kind ? ['--kind', o.kind] : [])];

// ---- Inputs -------------------------------------------------------------

// The text of `ethtool -m DEV hex on` for an image (tests/data entries that
// were published only as binary).
function ethtoolHex(bytes) {
  const lines = ['Offset\t\tValues', '------\t\t------'];
  for (let at = 0; at < bytes.length; at += 16) {
    const row = [...bytes.subarray(at, at + 16)].map((b) => b.toString(16).padStart(2, '0')).join(' ');
    lines.push(`0x${at.toString(16).padStart(4, '0')}:\t\t${row}`);
  }
  return lines.join('\n') + '\n';
}

const GENERATED = path.join(OUT, 'generated');

// Every sample (.bin and .hex) and every real module (dump.txt, dump.bin,
// and for a module published only as binary its ethtool hex text).
function inputs() {
  const list = [];
  for (const f of fs.readdirSync(path.join(ROOT, 'samples')).sort()) {
    if (f.endsWith('.bin') || f.endsWith('.hex')) list.push({ file: `samples/${f}`, text: f.endsWith('.hex') });
  }
  fs.mkdirSync(GENERATED, { recursive: true });
  for (const d of fs.readdirSync(path.join(ROOT, 'tests/data')).sort()) {
    const dir = path.join(ROOT, 'tests/data', d);
    if (!fs.statSync(dir).isDirectory()) continue;
    const has = (f) => fs.existsSync(path.join(dir, f));
    if (has('dump.txt')) list.push({ file: `tests/data/${d}/dump.txt`, text: true });
    if (has('dump.bin')) {
      list.push({ file: `tests/data/${d}/dump.bin`, text: false });
      if (!has('dump.txt')) {
        const generated = path.join(GENERATED, `${d}.hex`);
        fs.writeFileSync(generated, ethtoolHex(fs.readFileSync(path.join(dir, 'dump.bin'))));
        list.push({ file: path.relative(ROOT, generated), text: true });
      }
    }
  }
  return list;
}

// Overrides the selectors offer, each against the command with the same
// options: a wrong family (not decoded, exit status 1), a forced family and
// a forced format that agree with the module, a forced format that does not.
const OVERRIDES = [
  { file: 'samples/sfp-10g-sr.hex', text: true, kind: 'qsfp' },
  { file: 'samples/qsfp28-100g-sr4.bin', text: false, kind: 'cmis' },
  { file: 'samples/qsfpdd-400g-fr4.hex', text: true, kind: 'cmis', format: 'hex' },
  { file: 'samples/xfp-10g-lr.bin', text: false, format: 'raw', kind: 'xfp' },
  { file: 'samples/sfp-10g-sr.hex', text: true, format: 'raw' },
];

// Input errors (exit status 2): text that is not hex, a truncated dump, an
// unrecognised identifier, an image too short for its module's pages.
function errorInputs() {
  const sfp = fs.readFileSync(path.join(ROOT, 'samples/sfp-10g-sr.bin'));
  const unknownId = Buffer.from(sfp);
  unknownId[0] = 0x42;
  const qsfpHex = fs.readFileSync(path.join(ROOT, 'samples/qsfp28-100g-sr4.hex'), 'utf8');
  return [
    { label: 'garbage', text: 'Hello, this is not a module dump.\nPlease find the transceiver attached.\n' },
    { label: 'not a hex byte', text: 'Offset\t\tValues\n------\t\t------\n0x0000:\t\t03 04 07 zz 00 00\n' },
    { label: 'truncated', text: fs.readFileSync(path.join(ROOT, 'samples/sfp-10g-sr.hex'), 'utf8').split('\n').slice(0, 7).join('\n') + '\n' },
    { label: 'too short for QSFP', text: qsfpHex.split('\n').slice(0, 10).join('\n') + '\n' },
    { label: 'unrecognised identifier', bytes: unknownId },
  ];
}

// ---- The site, served from loopback -------------------------------------

const TYPES = {
  '.html': 'text/html; charset=utf-8', '.js': 'text/javascript', '.css': 'text/css',
  '.wasm': 'application/wasm', '.png': 'image/png',
};

function serve(root) {
  const server = http.createServer((req, res) => {
    const url = new URL(req.url, 'http://127.0.0.1');
    const rel = decodeURIComponent(url.pathname === '/' ? '/index.html' : url.pathname);
    const file = path.join(root, path.normalize(rel));
    if (!file.startsWith(root + path.sep) || !fs.existsSync(file) || !fs.statSync(file).isFile()) {
      res.writeHead(404).end();
      return;
    }
    const body = fs.readFileSync(file);
    res.writeHead(200, { 'Content-Type': TYPES[path.extname(file)] || 'application/octet-stream', 'Content-Length': body.length });
    res.end(body);
  });
  return new Promise((resolve) => server.listen(0, '127.0.0.1', () => resolve(server)));
}

// ---- The browser --------------------------------------------------------

let server;
let origin;
let context;
let page;
let profile;
const problems = []; // console errors, page errors, failed or foreign requests
const loaded = new Map(); // URL -> bytes of every response

async function openPage(width = 1280, height = 900) {
  const p = await context.newPage();
  await p.setViewportSize({ width, height });
  p.on('console', (msg) => { if (msg.type() === 'error' || msg.type() === 'warning') problems.push(`console ${msg.type()}: ${msg.text()}`); });
  p.on('pageerror', (e) => problems.push(`page error: ${e.message}`));
  p.on('requestfailed', (r) => problems.push(`request failed: ${r.url()}`));
  p.on('request', (r) => {
    const u = r.url();
    if (!u.startsWith(origin + '/') && !u.startsWith('blob:') && !u.startsWith('data:')) problems.push(`request to another host: ${u}`);
  });
  p.on('response', async (r) => {
    if (r.status() >= 400) problems.push(`HTTP ${r.status()}: ${r.url()}`);
    else if (r.url().startsWith(origin)) loaded.set(r.url(), (await r.body()).length);
  });
  await p.goto(origin + '/');
  await p.evaluate(() => window.fiberdecode.ready);
  await p.waitForSelector('body[data-ready="true"]');
  return p;
}

before(async () => {
  assert.ok(fs.existsSync(path.join(SITE, 'index.html')), `no site at ${SITE}: run scripts/web`);
  assert.ok(fs.existsSync(COMMAND), `no command at ${COMMAND}: run scripts/build`);
  fs.mkdirSync(path.join(OUT, 'screenshots'), { recursive: true });
  server = await serve(SITE);
  origin = `http://127.0.0.1:${server.address().port}`;
  profile = fs.mkdtempSync(path.join(os.tmpdir(), 'fiberdecode-chromium-'));
  context = await chromium.launchPersistentContext(profile, {
    executablePath: CHROMIUM,
    headless: true,
    acceptDownloads: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-background-networking',
      '--disable-component-update', '--disable-sync', '--no-first-run'],
  });
  page = await openPage();
});

after(async () => {
  if (context) await context.close();
  if (server) server.close();
  if (profile) fs.rmSync(profile, { recursive: true, force: true });
});

// The page's inputs: paste TEXT into #input (or load FILE through the file
// picker) with the selectors set; resolves once #report or #error shows.
async function pageDecode(p, { text, file, name, bytes, format = 'auto', kind = 'auto' }) {
  await p.evaluate(() => {
    document.getElementById('report').hidden = true;
    document.getElementById('error').hidden = true;
  });
  await p.selectOption('#format', format);
  await p.selectOption('#kind', kind);
  const before = await p.evaluate(() => Number(document.body.dataset.decodes || 0));
  if (text !== undefined) {
    await p.fill('#input', '');
    await p.fill('#input', text);
  } else {
    await p.setInputFiles('#file', bytes ? { name, mimeType: 'application/octet-stream', buffer: bytes } : file);
  }
  await p.waitForFunction((n) => Number(document.body.dataset.decodes || 0) > n, before);
  await p.waitForSelector('#report:not([hidden]), #error:not([hidden])');
}

async function downloadJson(p) {
  const [download] = await Promise.all([p.waitForEvent('download'), p.click('#download')]);
  return fs.readFileSync(await download.path(), 'utf8');
}

// In the page: the script interface on INPUT's bytes, as {doc} or {error}.
function apiDecode(p, { text, bytes, name, format, kind }) {
  return p.evaluate(({ text, bytes, name, format, kind }) => {
    try {
      const options = { name, format, kind };
      return { doc: text !== undefined ? window.fiberdecode.decodeText(text, options)
        : window.fiberdecode.decodeBytes(new Uint8Array(bytes), options) };
    } catch (e) {
      return { error: e.message, isError: e instanceof Error };
    }
  }, { text, bytes: bytes ? [...bytes] : undefined, name, format, kind });
}

// Checks the page against the command for one input, both ways in.
async function checkInput(input) {
  const options = { format: input.format, kind: input.kind };
  const content = fs.readFileSync(path.join(ROOT, input.file));
  const text = input.text ? content.toString('utf8') : undefined;

  // Script interface, named as the command names the file.
  const byPath = command(['--json', ...overrides(options), input.file]);
  const api = await apiDecode(page, { text, bytes: input.text ? undefined : content, name: input.file, ...options });
  if (byPath.status === 2) {
    assert.deepEqual(api, { error: byPath.message, isError: true });
  } else {
    assert.equal(api.error, undefined, `the page threw: ${api.error}`);
    assert.deepEqual(api.doc, JSON.parse(byPath.stdout));
    assert.equal(api.doc.decoded, byPath.status === 0);
  }

  // The page: pasted text is "<stdin>" as for `fiberdecode -`; a loaded
  // file is its base name, as the command run in the file's directory.
  const pageInput = input.text
    ? { text, run: (args) => command([...args, '-'], { input: content }) }
    : { file: path.join(ROOT, input.file),
        run: (args) => command([...args, path.basename(input.file)], { cwd: path.dirname(path.join(ROOT, input.file)) }) };
  await pageDecode(page, { ...pageInput, ...options });
  const json = pageInput.run(['--json', ...overrides(options)]);
  if (json.status === 2) {
    assert.equal(await page.textContent('#error'), json.message);
    assert.equal(await page.isHidden('#report'), true);
    return;
  }
  assert.equal(await downloadJson(page), json.stdout, 'Download JSON differs from the command\'s document');
  const report = pageInput.run(overrides(options));
  assert.equal(await page.textContent('#text-report'), report.stdout, 'text report differs from the command\'s');
  if (json.status === 1) assert.equal(await page.textContent('.status.bad'), json.message);
  else assert.equal(await page.locator('.status.bad').count(), 0);
}

describe('the page decodes as the command does', () => {
  test('the selectors offer the command\'s formats and kinds', async () => {
    const values = (id) => page.$$eval(`#${id} option`, (os) => os.map((o) => o.value));
    const formats = await values('format');
    const kinds = await values('kind');
    for (const f of ['auto', 'raw', 'optoe', 'hex']) assert.ok(formats.includes(f), `format ${f} missing`);
    assert.deepEqual(kinds, ['auto', 'sfp', 'xfp', 'qsfp', 'cmis']);
    // Each offered format is one the command's --format accepts: any error
    // is about the file, not a usage error.
    for (const f of formats) {
      const run = spawnSync(COMMAND, ['--json', '--format', f, 'samples/sfp-10g-sr.hex'], { cwd: ROOT });
      const stderr = run.stderr.toString();
      assert.ok(stderr === '' || stderr.startsWith('fiberdecode: samples/sfp-10g-sr.hex: '),
        `the command refuses --format ${f}: ${stderr}`);
    }
  });

  for (const input of inputs()) {
    test(`${input.file} (${input.text ? 'pasted' : 'loaded'})`, () => checkInput(input));
  }

  for (const input of OVERRIDES) {
    test(`${input.file} with ${JSON.stringify({ format: input.format, kind: input.kind })}`, () => checkInput(input));
  }
});

describe('input errors show the command\'s message', () => {
  for (const input of errorInputs()) {
    test(input.label, async () => {
      const run = command(['-'], { input: input.text ?? input.bytes });
      assert.equal(run.status, 2);
      assert.ok(run.message.length > 0);
      assert.deepEqual(await apiDecode(page, { ...input, name: '<stdin>' }), { error: run.message, isError: true });
      await pageDecode(page, input.text !== undefined ? { text: input.text } : { bytes: input.bytes, name: '<stdin>' });
      assert.equal(await page.textContent('#error'), run.message);
      assert.equal(await page.isHidden('#report'), true);
    });
  }

  test('unknown format and kind names throw', async () => {
    const sample = fs.readFileSync(path.join(ROOT, 'samples/sfp-10g-sr.hex'), 'utf8');
    for (const options of [{ format: 'binary' }, { kind: 'osfp' }]) {
      const r = await apiDecode(page, { text: sample, ...options });
      assert.equal(r.isError, true);
      assert.match(r.error, /^unknown (format|kind) "(binary|osfp)"/);
    }
  });

  test('a new paste after an error replaces it with the report', async () => {
    await pageDecode(page, { text: 'not a dump\n' });
    await pageDecode(page, { text: fs.readFileSync(path.join(ROOT, 'samples/sfp-10g-sr.hex'), 'utf8') });
    assert.equal(await page.isHidden('#error'), true);
    assert.equal(await page.isVisible('#report'), true);
  });
});

describe('reading the page', () => {
  test('an active alarm and a raised flag are highlighted with their texts', async () => {
    // The QSFP28 sample's lane 4 is dark: Rx LOS and the Rx power low alarm.
    const file = 'samples/qsfp28-100g-sr4.hex';
    await pageDecode(page, { text: fs.readFileSync(path.join(ROOT, file), 'utf8') });
    const doc = JSON.parse(command(['--json', file]).stdout);
    assert.ok(doc.alarm.alarms.length > 0 && doc.diag.flags.length > 0, 'the sample raises alarms and flags');
    assert.deepEqual(await page.$$eval('.flags.active li', (li) => li.map((l) => l.textContent)),
      doc.alarm.alarms.map((a) => `${a.id} ${a.text}`));
    assert.deepEqual(await page.$$eval('.flags.raised li', (li) => li.map((l) => l.textContent)),
      doc.diag.flags.map((a) => `${a.id} ${a.text}`));
    // One lane row per lane, and the dark lane's Rx power stands in the alarm band.
    assert.equal(await page.locator('table.lanes tbody tr').count(), 4);
    assert.ok(await page.locator('.thresholds .against.alarm').count() > 0);
  });

  test('a CMIS module shows its module and data-path states', async () => {
    const file = 'samples/qsfpdd-400g-fr4.hex';
    await pageDecode(page, { text: fs.readFileSync(path.join(ROOT, file), 'utf8') });
    const doc = JSON.parse(command(['--json', file]).stdout);
    const state = page.locator('section[aria-labelledby="section-module-state"]');
    assert.match(await state.textContent(), new RegExp(doc.coremgmt.module_state));
    const rows = await state.locator('tbody tr').allTextContents();
    assert.equal(rows.length, 8);
    rows.forEach((row, i) => assert.ok(row.includes(doc.coremgmt.datapath_state[i]), `lane ${i + 1}: ${row}`));
  });

  test('the controls are reached with the keyboard', async () => {
    await pageDecode(page, { text: fs.readFileSync(path.join(ROOT, 'samples/sfp-10g-sr.hex'), 'utf8') });
    await page.focus('#input');
    const reached = [];
    for (let i = 0; i < 12; i++) {
      await page.keyboard.press('Tab');
      reached.push(await page.evaluate(() => document.activeElement.id));
    }
    for (const id of ['file', 'format', 'kind', 'decode', 'download']) assert.ok(reached.includes(id), `Tab never reaches #${id}`);
    await page.focus('#download');
    const [download] = await Promise.all([page.waitForEvent('download'), page.keyboard.press('Enter')]);
    assert.ok(fs.readFileSync(await download.path(), 'utf8').startsWith('{'));
  });

  test('screenshots of an SFP and a CMIS report at desktop and phone widths; no horizontal scrolling', async () => {
    const shots = [['sfp', 'samples/sfp-10g-sr.hex'], ['cmis', 'samples/qsfpdd-400g-fr4.hex']];
    for (const [width, height, label] of [[1280, 900, 'desktop'], [390, 844, 'phone']]) {
      const p = await openPage(width, height);
      for (const [kind, file] of shots) {
        await pageDecode(p, { text: fs.readFileSync(path.join(ROOT, file), 'utf8') });
        const overflow = await p.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
        assert.ok(overflow <= 0, `${kind} at ${width} px scrolls sideways by ${overflow} px`);
        await p.screenshot({ path: path.join(OUT, 'screenshots', `${kind}-${label}.png`), fullPage: true });
      }
      await p.close();
    }
    // The README's picture (web/screenshot.png): the pasted QSFP28 sample
    // and the top of its report at a laptop width.
    const p = await openPage(1000, 1100);
    await pageDecode(p, { text: fs.readFileSync(path.join(ROOT, 'samples/qsfp28-100g-sr4.hex'), 'utf8') });
    await p.evaluate(() => { document.getElementById('input').scrollTop = 0; window.scrollTo(0, 0); });
    await p.screenshot({ path: path.join(OUT, 'screenshots', 'readme.png') });
    await p.close();
  });
});

describe('figures', () => {
  // Not a timed test: the figures are written for the README, and the
  // check is only that they were measured.
  test('page weight and paste-to-report times', async () => {
    const weight = [...loaded.entries()].filter(([u]) => u.startsWith(origin))
      .map(([u, n]) => [new URL(u).pathname, n]);
    const total = weight.reduce((s, [, n]) => s + n, 0);
    const times = [];
    for (const input of inputs().filter((i) => i.text)) {
      const text = fs.readFileSync(path.join(ROOT, input.file), 'utf8');
      const runs = await page.evaluate((text) => {
        const area = document.getElementById('input');
        const ms = [];
        for (let i = 0; i < 16; i++) { // the first is a warm-up
          area.value = '';
          area.dispatchEvent(new Event('input'));
          const start = performance.now();
          area.value = text;
          area.dispatchEvent(new Event('input'));
          void document.getElementById('report').getBoundingClientRect().height; // style and layout done
          ms.push(performance.now() - start);
        }
        return ms.slice(1).sort((a, b) => a - b);
      }, text);
      times.push({ file: input.file, min_ms: runs[0], median_ms: runs[7], max_ms: runs[14] });
    }
    const figures = { page_bytes: Object.fromEntries(weight), page_total_bytes: total, paste_to_report: times };
    fs.writeFileSync(path.join(OUT, 'figures.json'), JSON.stringify(figures, null, 2) + '\n');
    const slowest = times.reduce((a, b) => (b.max_ms > a.max_ms ? b : a));
    console.log(`page weight ${total} bytes (${weight.map(([u, n]) => `${u} ${n}`).join(', ')}); ` +
      `paste to report: slowest ${slowest.file} median ${slowest.median_ms.toFixed(1)} ms, max ${slowest.max_ms.toFixed(1)} ms`);
    assert.ok(weight.some(([u]) => u.endsWith('.wasm')), 'the WebAssembly module was not loaded');
    assert.ok(times.length >= 10);
  });

  test('no console error, failed request or request to another host', () => {
    assert.deepEqual(problems, []);
  });
});
