// SPDX-License-Identifier: Apache-2.0
// The page around the WebAssembly decoder. Every byte is decoded by the dump
// layer compiled to WebAssembly (fiberdecode.js / fiberdecode.wasm); this
// script only moves text and bytes in, and lays out the JSON document that
// comes back. Nothing leaves the browser.
'use strict';

(function () {
  // ---- The decoder -------------------------------------------------------

  let wasm = null;
  const encoder = new TextEncoder();

  // One call into the dump layer: {status, json, text, message}, status being
  // the command's exit status for the file (0, 1, or 2 for an input error).
  function decodeRaw(bytes, options) {
    if (!wasm) throw new Error('the decoder is not loaded yet (await fiberdecode.ready)');
    const opts = options || {};
    const name = opts.name === undefined ? '<stdin>' : String(opts.name);
    const strings = [name, opts.format || 'auto', opts.kind || 'auto'];
    const pointers = strings.map((s) => {
      const size = wasm.lengthBytesUTF8(s) + 1;
      const p = wasm._malloc(size);
      wasm.stringToUTF8(s, p, size);
      return p;
    });
    const data = wasm._malloc(Math.max(bytes.length, 1));
    try {
      wasm.HEAPU8.set(bytes, data);
      const status = wasm._fiberdecode_web_decode(data, bytes.length, pointers[0], pointers[1], pointers[2]);
      return {
        status,
        json: status === 2 ? '' : wasm.UTF8ToString(wasm._fiberdecode_web_json()),
        text: status === 2 ? '' : wasm.UTF8ToString(wasm._fiberdecode_web_text()),
        message: wasm.UTF8ToString(wasm._fiberdecode_web_message()),
      };
    } finally {
      wasm._free(data);
      pointers.forEach((p) => wasm._free(p));
    }
  }

  function toBytes(input) {
    if (input instanceof Uint8Array) return input;
    if (input instanceof ArrayBuffer) return new Uint8Array(input);
    if (ArrayBuffer.isView(input)) return new Uint8Array(input.buffer, input.byteOffset, input.byteLength);
    throw new TypeError('decodeBytes takes a Uint8Array');
  }

  function documentOf(result) {
    if (result.status === 2) throw new Error(result.message);
    return JSON.parse(result.json);
  }

  const ready = createFiberdecodeModule().then((module) => {
    wasm = module;
  });

  // The script interface: the command's JSON document as an object, or an
  // Error whose message is the command's message for the input.
  window.fiberdecode = {
    ready,
    decodeText(text, options) {
      return documentOf(decodeRaw(encoder.encode(String(text)), options));
    },
    decodeBytes(bytes, options) {
      return documentOf(decodeRaw(toBytes(bytes), options));
    },
  };

  // ---- Small DOM helpers -------------------------------------------------

  function el(tag, attrs, ...children) {
    const node = document.createElement(tag);
    for (const [key, value] of Object.entries(attrs || {})) {
      if (value === undefined || value === null || value === false) continue;
      if (key === 'class') node.className = value;
      else if (key === 'style') Object.assign(node.style, value); // CSSOM: allowed by the page's policy
      else node.setAttribute(key, value === true ? '' : value);
    }
    for (const child of children.flat()) {
      if (child === null || child === undefined || child === false) continue;
      node.append(child instanceof Node ? child : String(child));
    }
    return node;
  }

  function section(title, ...content) {
    const id = 'section-' + title.toLowerCase().replace(/[^a-z0-9]+/g, '-');
    return el('section', { class: 'card', 'aria-labelledby': id }, el('h2', { id }, title), ...content);
  }

  // A definition list of [label, value] pairs; pairs with no value are left out.
  function fields(pairs) {
    const dl = el('dl', { class: 'fields' });
    for (const [label, value] of pairs) {
      if (value === null || value === undefined || value === '') continue;
      dl.append(el('dt', {}, label), el('dd', {}, value));
    }
    return dl;
  }

  function table(caption, head, rows, cls) {
    return el('div', { class: 'table-wrap', tabindex: '0', role: 'region', 'aria-label': caption },
      el('table', { class: cls || '' },
        el('caption', {}, caption),
        el('thead', {}, el('tr', {}, head.map((h) => el('th', { scope: 'col' }, h)))),
        el('tbody', {}, rows.map((cells) => el('tr', {}, cells.map((c, i) =>
          i === 0 ? el('th', { scope: 'row' }, c) : el('td', { 'data-label': head[i] }, c)))))));
  }

  // ---- Values ------------------------------------------------------------

  // Module text as stored: trailing blanks dropped.
  const text = (s) => (typeof s === 'string' ? s.replace(/ +$/, '') : '');
  const fixed = (v, digits) => {
    const s = v.toFixed(digits);
    return /^-0(\.0*)?$/.test(s) ? s.slice(1) : s;
  };
  const compact = (v) => String(Number(v.toFixed(2)));
  const yesNo = (b) => (b ? 'yes' : 'no');

  // The quantities the page shows, with their units and formats.
  const QUANTITIES = {
    temperature: { label: 'Temperature', unit: '°C', show: (v) => fixed(v, 2) + ' °C' },
    voltage: { label: 'Supply voltage', unit: 'V', show: (v) => fixed(v, 4) + ' V' },
    tx_bias: { label: 'Tx bias', unit: 'mA', show: (v) => fixed(v, 3) + ' mA' },
    tx_power: { label: 'Tx power', unit: 'dBm', show: showDbm },
    rx_power: { label: 'Rx power', unit: 'dBm', show: showDbm },
  };

  function showDbm(v) {
    if (v === null || v === -Infinity) return '−∞ dBm (no light)';
    return fixed(v, 2) + ' dBm';
  }

  // The diagnostics record's module_type.
  const DIAG = { qsfp: 1, sfp: 2, xfp: 3, cmis: 4 };

  // Readings in display units (°C, V, mA, dBm) from the document's
  // `readings` object (the module's own resolution, calibration and lanes)
  // or, where it is absent, from the diagnostics record.
  function readingsOf(doc) {
    const r = doc.readings;
    const g = doc.diag;
    if (r) {
      const dbm = (value) => (value === null ? -Infinity : value);
      const band = (t, scale) => (t ? {
        high_alarm: dbm(t.high_alarm) * scale, low_alarm: dbm(t.low_alarm) * scale,
        high_warning: dbm(t.high_warning) * scale, low_warning: dbm(t.low_warning) * scale,
      } : null);
      const t = r.thresholds;
      return {
        temperature: r.temperature_celsius,
        voltage: r.supply_voltage_volts,
        rxPowerType: r.rx_power_type,
        lanes: r.lanes.map((lane) => ({
          lane: lane.lane,
          tx_bias: lane.tx_bias_amperes === null ? null : lane.tx_bias_amperes * 1000,
          tx_power: dbm(lane.tx_power_dbm),
          rx_power: dbm(lane.rx_power_dbm),
          tx_mw: lane.tx_power_watts * 1000,
          rx_mw: lane.rx_power_watts * 1000,
        })),
        thresholds: t ? {
          temperature: band(t.temperature_celsius, 1),
          voltage: band(t.supply_voltage_volts, 1),
          tx_bias: band(t.tx_bias_amperes, 1000),
          tx_power: band(t.tx_power_dbm, 1),
          rx_power: band(t.rx_power_dbm, 1),
        } : null,
      };
    }
    if (!g || g.unsupported || !g.module_type) return null;
    // Lanes of the record: one for SFP and XFP, four for QSFP, the media
    // lane count of the first application for CMIS.
    const laneCount = { [DIAG.sfp]: 1, [DIAG.xfp]: 1, [DIAG.qsfp]: 4 }[g.module_type]
      || (g.media_lane_count >= 1 && g.media_lane_count <= 8 ? g.media_lane_count : 8);
    const rec = (prefix, conv) => ({
      high_alarm: conv(g[prefix + '_high_alarm']), low_alarm: conv(g[prefix + '_low_alarm']),
      high_warning: conv(g[prefix + '_high_warning']), low_warning: conv(g[prefix + '_low_warning']),
    });
    const volts = (v) => v / 10000;
    const milliamps = (v) => v * 0.002;
    const same = (v) => v;
    const lanes = [];
    for (let i = 0; i < laneCount; i++) {
      lanes.push({ lane: i + 1, tx_bias: milliamps(g.tx_bias[i]), tx_power: g.tx_power[i], rx_power: g.rx_power[i] });
    }
    return {
      temperature: g.temperature,
      voltage: volts(g.voltage),
      rxPowerType: g.rx_power_type ? 'average' : 'OMA',
      lanes,
      thresholds: g.thresholds_valid ? {
        temperature: rec('temp', same), voltage: rec('voltage', volts), tx_bias: rec('tx_bias', milliamps),
        tx_power: rec('tx_power', same), rx_power: rec('rx_power', same),
      } : null,
    };
  }

  // Where a value lies against its bands: "alarm", "warning" or "ok".
  function standing(value, band) {
    if (value === null || value === undefined || !band) return 'unknown';
    if (value > band.high_alarm || value < band.low_alarm) return 'alarm';
    if (value > band.high_warning || value < band.low_warning) return 'warning';
    return 'ok';
  }

  const STANDING_TEXT = {
    alarm: 'outside the alarm band', warning: 'outside the warning band', ok: 'within the bands', unknown: '',
  };

  // A value drawn on a bar of its low alarm, low warning, high warning and
  // high alarm thresholds.
  function bandBar(value, band) {
    const points = [band.low_alarm, band.low_warning, band.high_warning, band.high_alarm].filter(Number.isFinite);
    if (points.length < 2) return null;
    let lo = Math.min(...points);
    let hi = Math.max(...points);
    const margin = (hi - lo) * 0.15 || 1;
    lo -= margin;
    hi += margin;
    const at = (v) => Math.max(0, Math.min(100, ((v - lo) / (hi - lo)) * 100));
    const zone = (from, to, cls) => el('span', {
      class: 'zone ' + cls,
      style: { left: at(from) + '%', width: Math.max(0, at(to) - at(from)) + '%' },
    });
    const bar = el('span', { class: 'bar', 'aria-hidden': 'true' },
      zone(lo, band.low_alarm, 'alarm'), zone(band.low_alarm, band.low_warning, 'warning'),
      zone(band.low_warning, band.high_warning, 'ok'), zone(band.high_warning, band.high_alarm, 'warning'),
      zone(band.high_alarm, hi, 'alarm'));
    if (value !== null && value !== undefined) {
      const v = value === -Infinity ? lo : value;
      bar.append(el('span', { class: 'marker', style: { left: at(v) + '%' } }));
    }
    return bar;
  }

  // ---- Sections of the report --------------------------------------------

  function headerOf(doc, result) {
    const title = doc.description && doc.description.summary
      ? doc.description.summary
      : moduleName(doc.normal) || (doc.kind.toUpperCase() + ' module');
    const facts = [
      doc.kind.toUpperCase() + (doc.kind_forced ? ' (kind forced)' : ''),
      doc.format === 'hex' ? 'hex text' : doc.format === 'optoe' ? 'optoe file' : 'raw image',
      doc.size + ' bytes',
      'pages ' + doc.pages.join(', '),
    ];
    const head = el('header', { class: 'report-head' },
      el('h2', { id: 'report-title' }, title),
      el('p', { class: 'facts' }, el('span', { class: 'file' }, doc.file), ' · ', facts.join(' · ')));
    if (result.status === 1) head.append(el('p', { class: 'status bad' }, result.message));
    if (doc.notes.length) head.append(el('ul', { class: 'notes' }, doc.notes.map((n) => el('li', {}, n))));
    return head;
  }

  function moduleName(n) {
    if (!n || n.unsupported) return '';
    if (n.is_xfp && n.display_name) return text(n.display_name);
    return (n.name_prefix || '') + (n.type_name || '');
  }

  const label = (key) => {
    const s = key.replace(/_/g, ' ');
    return s.charAt(0).toUpperCase() + s.slice(1);
  };

  function plain(value) {
    if (value === null || value === undefined) return '–';
    if (Array.isArray(value)) return value.map(plain).join(', ');
    if (typeof value === 'boolean') return yesNo(value);
    // A code with its name from a standard's table: "MPO 1x12 (0Ch)".
    if (typeof value === 'object' && typeof value.code === 'number' && 'name' in value && Object.keys(value).length === 2) {
      return plain(value.name) + ' (' + value.code.toString(16).toUpperCase().padStart(2, '0') + 'h)';
    }
    if (typeof value === 'object') return Object.entries(value).map(([k, v]) => label(k) + ': ' + plain(v)).join('; ');
    return String(value);
  }

  // The document's `description`: its summary, then each key as the dump
  // layer names it; lists of objects (applications) as tables.
  function descriptionSection(d) {
    if (!d || typeof d !== 'object') return null;
    const pairs = [];
    const tables = [];
    for (const [key, value] of Object.entries(d)) {
      if (key === 'summary') continue;
      if (Array.isArray(value) && value.length && value.every((v) => v && typeof v === 'object' && !Array.isArray(v))) {
        const keys = [...new Set(value.flatMap((v) => Object.keys(v)))];
        tables.push(table(label(key), keys.map(label), value.map((v) => keys.map((k) => plain(v[k]))), 'compact'));
      } else {
        pairs.push([label(key), plain(value)]);
      }
    }
    return section('Description', d.summary ? el('p', { class: 'summary' }, d.summary) : null, fields(pairs), tables);
  }

  function identificationSection(n, result) {
    if (!n) return null;
    if (n.unsupported) {
      return section('Identification', fields([['Module', n.type_name], ['Status', result.message || 'not decoded']]));
    }
    const wavelength = n.wavelength_nm
      ? compact(n.wavelength_nm) + ' nm' + (n.wavelength_tolerance_nm ? ' ± ' + compact(n.wavelength_tolerance_nm) + ' nm' : '')
      : null;
    let lastLane = 0;
    n.lane_wavelength_nm.forEach((w, i) => { if (w) lastLane = i + 1; });
    const lengths = [];
    if (n.length_smf_km) lengths.push('SMF ' + n.length_smf_km + ' km');
    if (n.length_smf_m) lengths.push('SMF ' + n.length_smf_m + ' m');
    if (n.length_smf_km_from_100m) lengths.push('SMF ' + n.length_smf_km_from_100m + ' km');
    for (const [fibre, key] of [['OM5', 'length_om5_m'], ['OM4', 'length_om4_m'], ['OM3', 'length_om3_m'],
      ['OM2', 'length_om2_m'], ['OM1', 'length_om1_m'], ['copper', 'length_copper_m']]) {
      if (n[key]) lengths.push(fibre + ' ' + n[key] + ' m');
    }
    const properties = [[n.is_copper, 'copper'], [n.is_active_cable, 'active cable'], [n.is_rj45, 'RJ45'],
      [n.is_x8_module, 'eight lanes'], [n.zx_within_90km, 'ZX within 90 km']].filter(([b]) => b).map(([, s]) => s);
    const classes = ['none', 'RJ45', 'other', 'copper cable'];
    return section('Identification', fields([
      ['Module', moduleName(n) || '–'],
      ['Transceiver type', n.trans_type ? n.trans_type + ' (' + (n.rate_mbps ? n.rate_mbps + ' Mb/s, ' : '') +
        'connector class ' + n.connector_class + ': ' + (classes[n.connector_class] || 'none') + ')' : null],
      ['Connector', n.connector_name || '–'],
      ['Wavelength', wavelength],
      ['Lane wavelengths', lastLane ? n.lane_wavelength_nm.slice(0, lastLane).join(', ') + ' nm' : null],
      ['Link length', lengths.join(', ')],
      ['Properties', properties.join(', ')],
      ['Serial number', text(n.serial_number) || '–'],
      ['Vendor specific', text(n.vendor_specific)],
      ['Digital diagnostics', yesNo(n.ddm_supported)],
    ]));
  }

  function vendorSection(v, result) {
    if (!v) return null;
    if (v.unsupported) return section('Vendor', fields([['Status', result.message || 'not decoded']]));
    const hex2 = (b) => b.toString(16).padStart(2, '0');
    const date = text(v.date_code);
    const dated = /^\d{6}/.test(date) ? date + ' (20' + date.slice(0, 2) + '-' + date.slice(2, 4) + '-' + date.slice(4, 6) + ')' : date;
    return section('Vendor', fields([
      ['Name', text(v.vendor_name) || '–'],
      ['OUI', v.vendor_oui.map(hex2).join(':')],
      ['Part number', text(v.vendor_pn) || '–'],
      ['Revision', text(v.vendor_rev) || '–'],
      ['Date code', dated || '–'],
      ['Encoding', v.encoding || '–'],
      ['Firmware', text(v.firmware_version)],
      ['Hardware', text(v.hardware_version)],
    ]));
  }

  function flagList(items, cls) {
    return el('ul', { class: 'flags ' + cls }, items.map((a) =>
      el('li', {}, el('span', { class: 'flag-id' }, String(a.id)), ' ', a.text)));
  }

  function diagnosticsSection(doc, result) {
    const g = doc.diag;
    if (!g) return null;
    if (g.unsupported) {
      const why = doc.normal && !doc.normal.unsupported && !doc.normal.ddm_supported && doc.kind === 'sfp'
        ? 'not implemented by the module' : (result.message || 'not decoded');
      return section('Diagnostics', fields([['Status', why]]));
    }
    const r = readingsOf(doc);
    if (!r) return section('Diagnostics', fields([['Status', 'not decoded']]));
    const t = r.thresholds || {};
    const cell = (q, value, extra) => {
      const s = standing(value, t[q]);
      return el('span', { class: 'value ' + s, title: STANDING_TEXT[s] || null },
        value === null ? '–' : QUANTITIES[q].show(value), extra ? el('small', {}, extra) : null);
    };
    const mw = (v) => (v === undefined ? null : ' ' + fixed(v, 4) + ' mW');
    const content = [fields([
      ['Monitors', g.ddm_supported ? null : 'not implemented by the module (readings are zero)'],
      ['Temperature', cell('temperature', r.temperature)],
      ['Supply voltage', cell('voltage', r.voltage)],
      ['Rx power measured', r.rxPowerType],
      ['Media lanes', g.module_type === DIAG.cmis ? String(g.media_lane_count) : null],
      ['Max module power', g.module_type === DIAG.cmis ? fixed(g.max_power, 2) + ' W' : null],
    ])];
    content.push(table('Lanes', ['Lane', 'Tx bias', 'Tx power', 'Rx power'], r.lanes.map((l) => [
      String(l.lane), cell('tx_bias', l.tx_bias), cell('tx_power', l.tx_power, mw(l.tx_mw)),
      cell('rx_power', l.rx_power, mw(l.rx_mw)),
    ]), 'lanes'));
    content.push(thresholdsBlock(doc, r));
    content.push(el('h3', {}, 'Flags raised by the module'));
    content.push(g.flags.length ? flagList(g.flags, 'raised') : el('p', { class: 'none' }, 'none'));
    return section('Diagnostics', content);
  }

  // Each quantity's thresholds with the module's values against them.
  function thresholdsBlock(doc, r) {
    if (!r.thresholds) {
      const g = doc.diag;
      const why = g.module_type === DIAG.xfp ? 'not decoded for XFP modules'
        : g.module_type === DIAG.cmis && doc.pages.includes('02h') ? 'not decoded: the module advertises no monitors'
          : 'not in the image';
      return el('div', {}, el('h3', {}, 'Thresholds'), el('p', { class: 'none' }, why));
    }
    const rows = [];
    for (const q of Object.keys(QUANTITIES)) {
      const band = r.thresholds[q];
      if (!band) continue;
      const values = q === 'temperature' || q === 'voltage'
        ? [{ name: '', value: r[q] }]
        : r.lanes.map((l) => ({ name: r.lanes.length > 1 ? 'lane ' + l.lane + ' ' : '', value: l[q] }));
      const show = QUANTITIES[q].show;
      const shown = values.map(({ name, value }) => {
        const s = standing(value, band);
        return el('div', { class: 'against ' + s },
          el('span', { class: 'value ' + s }, name + (value === null ? '–' : show(value))),
          bandBar(value, band),
          el('span', { class: 'standing' }, STANDING_TEXT[s]));
      });
      rows.push([QUANTITIES[q].label, show(band.low_alarm), show(band.low_warning), show(band.high_warning),
        show(band.high_alarm), el('div', { class: 'values' }, shown)]);
    }
    return table('Thresholds', ['Quantity', 'Low alarm', 'Low warning', 'High warning', 'High alarm', 'Module'],
      rows, 'thresholds');
  }

  function alarmsSection(a, result, doc) {
    if (!a) return null;
    if (a.unsupported) {
      const why = doc.normal && !doc.normal.unsupported && !doc.normal.ddm_supported && doc.kind === 'sfp'
        ? 'not implemented by the module' : (result.message || 'not decoded');
      return section('Alarms', fields([['Status', why]]));
    }
    return section('Alarms', a.alarms.length
      ? flagList(a.alarms, 'active')
      : el('p', { class: 'none' }, 'none'));
  }

  function stateSection(c) {
    if (!c) return null;
    if (c.unsupported) return section('Module state', fields([['Status', 'not decoded']]));
    return section('Module state',
      fields([['Module state', c.module_state || '–'], ['Media lanes', String(c.media_lane_count)]]),
      table('Data paths', ['Lane', 'Data path', 'Changed'],
        c.datapath_state.map((s, i) => [String(i + 1), s || '–', yesNo(c.datapath_state_changed[i])]), 'compact'));
  }

  // ---- The page ----------------------------------------------------------

  const $ = (id) => document.getElementById(id);
  let current = null; // {name, result}

  function showError(message) {
    $('error').textContent = message;
    $('error').hidden = !message;
  }

  function render(name, result) {
    const report = $('report');
    report.replaceChildren();
    current = null;
    if (result.status === 2) {
      showError(result.message);
      report.hidden = true;
      return;
    }
    showError('');
    current = { name, result };
    const doc = JSON.parse(result.json);
    const download = el('button', { type: 'button', id: 'download' }, 'Download JSON');
    download.addEventListener('click', downloadJson);
    report.append(...[
      headerOf(doc, result),
      el('div', { class: 'actions' }, download),
      descriptionSection(doc.description),
      identificationSection(doc.normal, result),
      vendorSection(doc.vendor, result),
      diagnosticsSection(doc, result),
      alarmsSection(doc.alarm, result, doc),
      stateSection(doc.coremgmt),
      el('details', { class: 'text-report' },
        el('summary', {}, 'Text report (as the command prints it)'),
        el('pre', { id: 'text-report' }, result.text)),
    ].filter(Boolean));
    report.hidden = false;
  }

  function downloadJson() {
    if (!current) return;
    const blob = new Blob([current.result.json + '\n'], { type: 'application/json' });
    const base = current.name === '<stdin>' ? 'module' : current.name.replace(/^.*[\\/]/, '');
    const a = el('a', { href: URL.createObjectURL(blob), download: base + '.json' });
    document.body.append(a);
    a.click();
    a.remove();
    setTimeout(() => URL.revokeObjectURL(a.href), 1000);
  }

  const selected = () => ({ format: $('format').value, kind: $('kind').value });
  let loaded = null; // {name, bytes} of the file last chosen, until the text is edited

  function decodeCurrent() {
    if (!wasm) return;
    let name;
    let bytes;
    if (loaded) {
      ({ name, bytes } = loaded);
    } else {
      const input = $('input').value;
      if (!input.trim()) {
        showError('');
        $('report').hidden = true;
        $('report').replaceChildren();
        return;
      }
      name = '<stdin>';
      bytes = encoder.encode(input);
    }
    render(name, decodeRaw(bytes, { name, ...selected() }));
    document.body.dataset.decodes = Number(document.body.dataset.decodes || 0) + 1;
  }

  // A file's bytes go to the decoder as they are (binary or text); a text
  // file is also shown in the text area.
  async function loadFile(file) {
    const bytes = new Uint8Array(await file.arrayBuffer());
    await ready;
    loaded = { name: file.name, bytes };
    const binary = bytes.some((c) => c === 0x7f || (c < 0x20 && ![9, 10, 11, 12, 13].includes(c)));
    $('input').value = binary ? '' : new TextDecoder().decode(bytes);
    $('input').placeholder = binary ? file.name + ': binary image, ' + bytes.length + ' bytes' : $('input').placeholder;
    decodeCurrent();
  }

  function setUp() {
    const [formats, kinds] = wasm.UTF8ToString(wasm._fiberdecode_web_names()).split('\n').map((l) => l.split(' '));
    const fill = (select, names) => {
      select.replaceChildren(...names.map((n) => el('option', { value: n }, n)));
      select.value = 'auto';
    };
    fill($('format'), formats);
    fill($('kind'), ['auto', ...kinds]);

    $('input').addEventListener('input', () => { loaded = null; decodeCurrent(); });
    $('format').addEventListener('change', decodeCurrent);
    $('kind').addEventListener('change', decodeCurrent);
    $('source').addEventListener('submit', (e) => { e.preventDefault(); decodeCurrent(); });
    $('file').addEventListener('change', () => {
      const f = $('file').files[0];
      if (f) loadFile(f).catch((e) => showError(String(e.message || e)));
    });
    const drop = $('drop');
    drop.addEventListener('dragover', (e) => { e.preventDefault(); drop.classList.add('over'); });
    drop.addEventListener('dragleave', () => drop.classList.remove('over'));
    drop.addEventListener('drop', (e) => {
      e.preventDefault();
      drop.classList.remove('over');
      const f = e.dataTransfer.files[0];
      if (f) loadFile(f).catch((err) => showError(String(err.message || err)));
    });
    $('loading').hidden = true;
    document.body.dataset.ready = 'true';
    if ($('input').value.trim()) decodeCurrent();
  }

  ready.then(setUp, (e) => {
    $('loading').hidden = true;
    showError('The decoder could not be loaded: ' + (e && e.message ? e.message : e));
  });
}());
