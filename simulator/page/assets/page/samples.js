// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// What the plots show: the device's numbers, sampled twice a second, of the last 10 minutes.

import {colourOf, indexOf} from "./zones.js";

const intervalMs = 500;
export const windowSeconds = 600;
const mostMarks = 2000;

/** The columns of a sample after its time. */
const columns = [
  values => values.charge,
  values => values.volume,
  values => values.volumeCeiling,
  values => values.light,
  values => values.lightCeiling,
  values => values.cpuLoad,
  values => values.freqMHz,
];
export const column = {charge: 1, volume: 2, volumeCeiling: 3, light: 4, lightCeiling: 5, load: 6, freq: 7};

/**
 * @typedef {{seconds: number, text: string, isZone: boolean}} Mark  a command, or a change of zone
 */
export class Samples {
  /** Times in seconds, then the columns: as uPlot takes them. */
  data = [[], ...columns.map(() => [])];
  /** The zone's colour at each time, -1 for none. */
  zoneColours = [];
  /** @type {Mark[]} */
  marks = [];
  #state;
  #onSample;

  /**
   * @param {import("./state.js").State} state
   * @param {() => void} onSample
   */
  constructor(state, onSample) {
    this.#state = state;
    this.#onSample = onSample;
    setInterval(() => this.#sample(), intervalMs);
  }

  get now() {
    return this.#state.now / 1000;
  }

  reset() {
    this.data = [[], ...columns.map(() => [])];
    this.zoneColours = [];
    this.marks = [];
  }

  /** Takes the marks from rows of the timeline. */
  addRows(rows) {
    for (const [, msec, kind, text] of rows) {
      const isZone = kind === "signal" && text.startsWith("powermanager.PowerZoneChanged");
      if (kind === "command" || isZone) {
        this.marks.push({seconds: msec / 1000, text, isZone});
      }
    }
    if (this.marks.length > mostMarks) {
      this.marks.splice(0, this.marks.length - mostMarks);
    }
  }

  #sample() {
    const {values} = this.#state;
    if (values.charge === undefined) {
      return;
    }
    const {now} = this;
    const times = this.data[0];
    if (times.length > 0 && now <= times[times.length - 1]) {
      return;
    }
    times.push(now);
    columns.forEach((read, index) => this.data[index + 1].push(read(values) ?? null));
    this.zoneColours.push(colourOf(values.zones ?? [], indexOf(values.zones ?? [], values.zone)));
    const old = times.findIndex(time => time >= now - windowSeconds);
    if (old > 0) {
      this.data.forEach(each => each.splice(0, old));
      this.zoneColours.splice(0, old);
    }
    const firstMark = this.marks.findIndex(mark => mark.seconds >= now - windowSeconds);
    this.marks.splice(0, firstMark < 0 ? this.marks.length : firstMark);
    this.#onSample();
  }
}
