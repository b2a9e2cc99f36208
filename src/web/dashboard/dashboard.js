// The unit at a glance: polls /api/state once a second and redraws. When the
// daemon is away the page says so and keeps polling, so it comes back by
// itself after a restart. "?silent_after=N" sets after how many seconds
// without an MCU message the page warns (default 10).
"use strict";

const params = new URLSearchParams(location.search);
const SILENT_AFTER = Number(params.get("silent_after")) || 10;
const HISTORY_SECONDS = 300;
const history = [];  // [time ms, total watts]

const $ = (id) => document.getElementById(id);

function el(tag, cls, text) {
  const e = document.createElement(tag);
  if (cls) e.className = cls;
  if (text !== undefined) e.textContent = text;
  return e;
}

function fmt(v, unit, digits) {
  return v === undefined || v === null ? "–" : v.toFixed(digits) + " " + unit;
}

function kwh(joules) {
  return joules === undefined ? undefined : joules / 3.6e6;
}

function figures(dl, rows) {
  dl.replaceChildren();
  for (const [name, value] of rows) {
    dl.append(el("dt", "", name), el("dd", "", value));
  }
}

function tile(o) {
  const state = o.on === undefined ? "unknown" : o.on ? "on" : "off";
  const t = el("div", "tile " + state);
  t.dataset.outlet = o.outlet;
  const head = el("div", "head");
  head.append(el("span", "name", o.label ? o.label : "Outlet " + o.outlet),
              el("span", "state", state === "unknown" ? "?" : state.toUpperCase()));
  t.append(head, el("div", "status " + (o.status || ""), o.status || "status unknown"),
           el("div", "power", fmt(o.power_watts, "W", 1)));
  const small = el("div", "small");
  small.append(el("span", "", fmt(o.current_amperes, "A", 3)), el("span", "", fmt(kwh(o.energy_joules), "kWh", 3)));
  t.append(small);
  return t;
}

function drawChart(now) {
  const svg = $("chart");
  const W = 600, H = 160, pad = 4;
  while (history.length && history[0][0] < now - HISTORY_SECONDS * 1000) history.shift();
  // The window grows with the history, from 20 seconds up to five minutes.
  const span = Math.min(HISTORY_SECONDS * 1000, Math.max(20000, history.length ? now - history[0][0] : 0));
  const max = Math.max(10, ...history.map((p) => p[1])) * 1.15;
  const x = (t) => ((t - (now - span)) / span) * W;
  const y = (w) => H - pad - (w / max) * (H - 2 * pad);
  let grid = "";
  for (let i = 1; i < 4; i++) grid += `<line class="grid" x1="0" x2="${W}" y1="${(H * i) / 4}" y2="${(H * i) / 4}"/>`;
  let line = "", area = "";
  if (history.length) {
    const pts = history.map(([t, w]) => `${x(t).toFixed(1)},${y(w).toFixed(1)}`);
    line = `<polyline class="line" points="${pts.join(" ")}"/>`;
    area = `<polygon class="area" points="${x(history[0][0]).toFixed(1)},${H} ${pts.join(" ")} ${x(history[history.length - 1][0]).toFixed(1)},${H}"/>`;
  }
  svg.innerHTML = grid + area + line + `<text x="4" y="14">${max.toFixed(0)} W</text>`;
  $("chart-range").textContent = "last " + (span < 90000 ? Math.round(span / 1000) + " s" : Math.round(span / 60000) + " min");
}

function render(s) {
  const now = Date.now();
  document.title = (s.title || "PDU") + " – dashboard";
  $("title").textContent = s.title || "PDU";
  $("model").textContent = s.model ? "model " + s.model + " · " + s.outlets.length + " outlets" : "";
  $("updated").textContent = "updated " + new Date(now).toLocaleTimeString();
  $("unreachable").hidden = true;

  const since = s.daemon.seconds_since_mcu_message;
  const silent = since === null || since >= SILENT_AFTER;
  $("silence").hidden = !silent;
  $("silence").textContent = !silent ? "" : since === null ? "MCU silent: no message since the daemon started"
                                                          : "MCU silent for " + Math.floor(since) + " s";

  $("outlets").replaceChildren(...s.outlets.map(tile));

  const t = s.totals;
  figures($("totals"), [
    ["Power", fmt(t.power_watts, "W", 1)], ["Current", fmt(t.current_amperes, "A", 3)],
    ["Voltage", fmt(t.voltage_volts, "V", 1)], ["Frequency", fmt(t.frequency_hertz, "Hz", 1)],
    ["Power factor", fmt(t.power_factor, "", 2)], ["Energy", fmt(kwh(t.energy_joules), "kWh", 3)],
  ]);
  figures($("sensors"), s.sensors.map((p) => ["Port " + p.port, p.reading === undefined ? "–" : p.reading]));
  const d = s.daemon;
  figures($("daemon"), [
    ["MCU messages", String(d.mcu_messages_interpreted)],
    ["Dropped (queue / reader)", d.mcu_messages_dropped_by_queue + " / " + d.mcu_messages_dropped_by_reader],
    ["Settings commits (failed)", d.settings_commits + " (" + d.settings_commit_failures + ")"],
    ["Last MCU message", since === null ? "never" : since.toFixed(1) + " s ago"],
    ["Clients", Object.entries(d.clients).map(([k, v]) => k + " " + v).join(" · ")],
  ]);
  $("raw").textContent = Object.entries(s.raw).map(([k, v]) => k + "=" + v).join("\n");

  if (t.power_watts !== undefined) history.push([now, t.power_watts]);
  drawChart(now);
}

async function poll() {
  const abort = new AbortController();
  const timer = setTimeout(() => abort.abort(), 2500);
  try {
    const r = await fetch("api/state", { cache: "no-store", signal: abort.signal });
    if (!r.ok) throw new Error("HTTP " + r.status);
    render(await r.json());
  } catch (e) {
    $("unreachable").hidden = false;
    $("unreachable").textContent = "Daemon unreachable (" + e.message + "); retrying…";
  } finally {
    clearTimeout(timer);
    setTimeout(poll, 1000);
  }
}

poll();
