// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The running plots: charge, volume and light with their ceilings; CPU load and frequency.

import uPlot from "/uPlot.esm.js";
import {byId, make, setText} from "./dom.js";
import {clock, number} from "./format.js";
import {column, Samples, windowSeconds} from "./samples.js";

const plotHeight = 190;

const probe = make("i", {hidden: true});
document.body.append(probe);

/** A colour of the style sheet, as it is now: dark or light. */
function colour(name) {
  probe.style.color = `var(${name})`;
  return getComputedStyle(probe).color;
}

/** @typedef {{label: string, column: number, colour: string, unit: string, isDashed?: boolean, scale?: string}} Line */

/** @type {Line[]} */
const levels = [
  {label: "Charge", column: column.charge, colour: "--line-charge", unit: " %"},
  {label: "Volume", column: column.volume, colour: "--line-volume", unit: ""},
  {label: "ceiling", column: column.volumeCeiling, colour: "--line-volume", unit: "", isDashed: true},
  {label: "Light", column: column.light, colour: "--line-light", unit: " %"},
  {label: "ceiling", column: column.lightCeiling, colour: "--line-light", unit: "", isDashed: true},
];

/** @type {Line[]} */
const cpu = [
  {label: "Load", column: column.load, colour: "--line-load", unit: " %"},
  {label: "Frequency", column: column.freq, colour: "--line-freq", unit: " MHz", scale: "mhz"},
];

/** Marks on a plot's time axis: thin lines for commands, thick ones in the zone's colour for changes of zone. */
function drawMarks(plot, samples) {
  const {ctx, bbox} = plot;
  const pixel = devicePixelRatio;
  const [zoneColour, commandColour] = [colour("--mark-zone"), colour("--mark-command")];
  ctx.save();
  ctx.beginPath();
  ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
  ctx.clip();
  let lastX = -1;
  for (const mark of samples.marks) {
    const x = Math.round(plot.valToPos(mark.seconds, "x", true));
    if (x < bbox.left || x > bbox.left + bbox.width || (!mark.isZone && x - lastX < 2 * pixel)) {
      continue;
    }
    lastX = x;
    ctx.fillStyle = mark.isZone ? zoneColour : commandColour;
    ctx.fillRect(x, bbox.top, (mark.isZone ? 2 : 1) * pixel, bbox.height);
  }
  ctx.restore();
}

/** A band along the time axis in the colours of the zones that were in force. */
function drawZones(plot, samples) {
  const {ctx, bbox} = plot;
  const height = 5 * devicePixelRatio;
  const times = samples.data[0];
  const [first, last] = [plot.valToIdx(plot.scales.x.min), plot.valToIdx(plot.scales.x.max)];
  const colours = [0, 1, 2, 3, 4].map(each => colour(`--zone-${each}`));
  ctx.save();
  ctx.beginPath();
  ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
  ctx.clip();
  for (let at = first; at < last; at += 1) {
    const zone = samples.zoneColours[at];
    if (zone >= 0) {
      const from = plot.valToPos(times[at], "x", true);
      const to = plot.valToPos(times[at + 1], "x", true);
      ctx.fillStyle = colours[zone];
      ctx.fillRect(from, bbox.top + bbox.height - height, to - from + 1, height);
    }
  }
  ctx.restore();
}

class Plot {
  #samples;
  #lines;
  #plot;
  #legend = [];
  #host;
  #onZoom;
  #isOurs = false;

  /**
   * @param {string} name           of its elements
   * @param {Line[]} lines
   * @param {Samples} samples
   * @param {object} scales        uPlot's, by name; "mhz" gets an axis at the right
   * @param {(range: {min: number, max: number}|null) => void} onZoom
   * @param {(seconds: number|null) => void} onPoint
   */
  constructor(name, lines, samples, scales, onZoom, onPoint) {
    this.#samples = samples;
    this.#lines = lines;
    this.#host = byId(`${name}-plot`);
    this.#onZoom = onZoom;
    this.#buildLegend(byId(`${name}-legend`));
    const axis = {
      stroke: () => colour("--muted"),
      grid: {stroke: () => colour("--grid"), width: 1},
      ticks: {stroke: () => colour("--grid"), width: 1, size: 4},
      font: "13px system-ui, sans-serif",
    };
    const hasTwoScales = "mhz" in scales;
    const hasZones = name === "levels";
    this.#plot = new uPlot({
      width: this.#width(), height: plotHeight, padding: [8, hasTwoScales ? 0 : 12, 0, 0],
      legend: {show: false},
      cursor: {sync: {key: "device"}, drag: {x: true, y: false}, points: {size: 7}},
      scales: {x: {time: false}, ...scales},
      axes: [
        {
          ...axis, size: 30, space: 70, incs: [1, 2, 5, 10, 20, 30, 60, 120, 300],
          values: (_, times) => times.map(time => (time < 0 ? "" : clock(time))),
        },
        {...axis, size: 44, space: 32},
        ...(hasTwoScales ? [{...axis, scale: "mhz", side: 1, size: 44, space: 32, grid: {show: false}}] : []),
      ],
      series: [{}, ...lines.map(line => ({
        label: line.label, scale: line.scale ?? "y", stroke: () => colour(line.colour), width: line.isDashed ? 1.25 : 2,
        dash: line.isDashed ? [4, 4] : undefined, points: {show: false}, spanGaps: false,
        paths: uPlot.paths.stepped({align: 1}),
      }))],
      hooks: {
        drawAxes: [plot => {
          drawMarks(plot, samples);
          if (hasZones) {
            drawZones(plot, samples);
          }
        }],
        setSelect: [plot => {
          if (plot.select.width > 0) {
            const min = plot.posToVal(plot.select.left, "x");
            onZoom({min, max: plot.posToVal(plot.select.left + plot.select.width, "x")});
          }
        }],
        setCursor: [plot => {
          const isOn = plot.cursor.idx !== null && plot.cursor.idx !== undefined && plot.cursor.left >= 0;
          this.#showValues(isOn ? plot.cursor.idx : null);
          onPoint(isOn ? plot.posToVal(plot.cursor.left, "x") : null, plot);
        }],
      },
    }, this.#columns(), this.#host);
    this.#plot.over.addEventListener("dblclick", () => onZoom(null));
    new ResizeObserver(() => this.#plot.setSize({width: this.#width(), height: plotHeight})).observe(this.#host);
    addEventListener("themechange", () => this.#plot.redraw(false));
  }

  #width() {
    return Math.max(200, this.#host.clientWidth);
  }

  #columns() {
    return [this.#samples.data[0], ...this.#lines.map(line => this.#samples.data[line.column])];
  }

  #buildLegend(host) {
    for (const line of this.#lines) {
      const value = make("span", {"class": "number legend-value", text: "–"});
      const swatch = make("i", {"class": line.isDashed ? "swatch dashed" : "swatch"});
      swatch.style.setProperty("--colour", `var(${line.colour})`);
      host.append(make("span", {"class": "legend-item"}, swatch, make("span", {text: line.label}), value));
      this.#legend.push(value);
    }
  }

  /** The values at an index, or the latest. */
  #showValues(index) {
    const at = index ?? this.#samples.data[0].length - 1;
    this.#lines.forEach((line, each) => {
      const value = this.#samples.data[line.column][at];
      setText(this.#legend[each], value === null || value === undefined ? "–" : `${number(value)}${line.unit}`);
    });
  }

  /** @param {{min: number, max: number}} range of time */
  draw(range) {
    this.#plot.batch(() => {
      this.#plot.setData(this.#columns(), false);
      this.#plot.setScale("x", range);
    });
    if (this.#plot.cursor.left < 0 || this.#plot.cursor.idx === null) {
      this.#showValues(null);
    }
  }
}

/** @param {import("./state.js").State} state */
export function showPlots(state) {
  let shownSeconds = 120;
  let zoom = null;
  let plots = [];
  const buttons = [...byId("plot-range").querySelectorAll("button")];

  const draw = () => {
    const {now} = samples;
    const range = zoom ?? {min: now - shownSeconds, max: now};
    plots.forEach(plot => plot.draw(range));
  };
  const samples = new Samples(state, draw);

  const showRange = () => buttons.forEach(button =>
    button.setAttribute("aria-pressed", String(zoom === null && Number(button.dataset.seconds) === shownSeconds)));
  const onZoom = range => {
    zoom = range;
    showRange();
    draw();
  };
  for (const button of buttons) {
    button.addEventListener("click", () => {
      shownSeconds = Math.min(windowSeconds, Number(button.dataset.seconds));
      onZoom(null);
    });
  }

  const note = byId("plot-note");
  const onPoint = (seconds, plot) => {
    const reach = seconds === null ? 0 : (plot.scales.x.max - plot.scales.x.min) / 100;
    const near = seconds === null ? [] : samples.marks.filter(mark => Math.abs(mark.seconds - seconds) <= reach);
    const texts = near.slice(-3).map(mark => `${clock(mark.seconds)}  ${mark.isZone ? "" : "> "}${mark.text}`);
    setText(note, texts.join("   ·   "));
  };

  plots = [
    new Plot("levels", levels, samples, {y: {range: [0, 104]}}, onZoom, onPoint),
    new Plot("cpu", cpu, samples, {y: {range: [0, 104]}, mhz: {range: [0, 500]}}, onZoom, onPoint),
  ];
  return samples;
}
