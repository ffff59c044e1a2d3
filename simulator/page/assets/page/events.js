// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The timeline's rows as the page keeps them, and the filter over them.

/** Rows kept; older ones are dropped, a tenth at a time. */
const mostRows = 200000;

/** The kinds of events in groups, as the filter offers them. */
export const kindGroups = [
  {label: "Commands", kinds: ["command"]},
  {label: "Calls", kinds: ["call"]},
  {label: "Signals", kinds: ["signal"]},
  {label: "Requests", kinds: ["request", "answer"]},
  {label: "Log", kinds: ["log"]},
  {label: "Lines", kinds: ["line", "pattern"]},
  {label: "Process", kinds: ["process", "output", "pause"]},
  {label: "Notes", kinds: ["note"]},
];
const groupOfKind = new Map(kindGroups.flatMap(({kinds}, index) => kinds.map(kind => [kind, index])));

/** A row's members: [n, msec, kind, text, extra]. */
export const at = {n: 0, msec: 1, kind: 2, text: 3, extra: 4};
const noExtra = Object.freeze({});

/** Whether a row shows a call that was answered with an error or a negative status. */
export function isFailure(row) {
  return (row[at.kind] === "call" || row[at.kind] === "answer") && / -> (error\b|-\d)/.test(row[at.text]);
}

/** What a row says beside its text. */
export function extraOf(row) {
  return row[at.extra] ?? noExtra;
}

/** @typedef {{groups: Set<number>, level: number, service: string, text: string}} Filter  groups: those that are hidden */

export class Events {
  /** All rows, oldest first. */
  rows = [];
  /** Those that the filter lets through; the same array if it lets all through. */
  matches = this.rows;
  /** @type {Filter} */
  filter = {groups: new Set(), level: 9, service: "", text: ""};

  get isFiltered() {
    return this.filter.groups.size > 0 || this.filter.level < 9 || this.filter.service !== "" || this.filter.text !== "";
  }

  /**
   * Appends rows, in order.
   * @returns {number} how many matching rows were dropped at the front
   */
  add(rows) {
    // One by one: an argument list has a limit.
    for (const row of rows) {
      this.rows.push(row);
    }
    if (this.matches !== this.rows) {
      this.matches.push(...rows.filter(row => this.#isMatch(row)));
    }
    return this.rows.length > mostRows ? this.#drop(this.rows[Math.floor(mostRows / 10)][at.n]) : 0;
  }

  /** Forgets the rows below that place. */
  dropBelow(n) {
    return this.#drop(n);
  }

  setFilter(filter) {
    this.filter = filter;
    this.matches = this.isFiltered ? this.rows.filter(row => this.#isMatch(row)) : this.rows;
  }

  /** The row at that place of the timeline, or undefined. */
  find(n) {
    const row = this.rows[lowerBound(this.rows, n)];
    return row?.[at.n] === n ? row : undefined;
  }

  /** The place of the command that the event at that place came of, which may be the command itself; -1: of none. */
  causeOf(n) {
    const row = this.find(n);
    return row === undefined ? -1 : row[at.kind] === "command" ? n : extraOf(row).cause ?? -1;
  }

  /** Where in the matches the row at that place is, or -1. */
  indexOf(n) {
    const index = lowerBound(this.matches, n);
    return this.matches[index]?.[at.n] === n ? index : -1;
  }

  #drop(n) {
    const dropped = lowerBound(this.matches, n);
    const isSame = this.matches === this.rows;
    this.rows.splice(0, lowerBound(this.rows, n));
    if (!isSame) {
      this.matches.splice(0, dropped);
    }
    return dropped;
  }

  #isMatch(row) {
    const {groups, level, service, text} = this.filter;
    const kind = row[at.kind];
    const extra = extraOf(row);
    return !groups.has(groupOfKind.get(kind) ?? -1)
      && (kind !== "log" || (extra.level ?? 0) <= level)
      && (service === "" || extra.service === service)
      && (text === "" || row[at.text].toLowerCase().includes(text) || kind.includes(text));
  }
}

/** The first index whose row stands at that place or behind it. */
function lowerBound(rows, n) {
  let [low, high] = [0, rows.length];
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows[middle][at.n] < n) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}
