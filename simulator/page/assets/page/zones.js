// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// Power zones: which one owns which charge, their colours, and the strip.

import {make} from "./dom.js";

/** As many colours as the style sheet has, from the emptiest zone to the fullest. */
const colourCount = 5;

/**
 * @typedef {{name: string, lower: number, upper: number, volume: number, light: number}} Zone
 */

/** For each whole percent from 0 to 100, the index of the zone that owns it, or -1: the narrowest, then the first. */
export function owners(zones) {
  return Array.from({length: 101}, (_, charge) => {
    let owner = -1;
    zones.forEach((zone, index) => {
      const isInside = charge > zone.lower && charge <= zone.upper;
      const width = zone.upper - zone.lower;
      if (isInside && (owner < 0 || width < zones[owner].upper - zones[owner].lower)) {
        owner = index;
      }
    });
    return owner;
  });
}

/** The strip's parts: [{zone: index or -1, from, to}], charges both inclusive. */
export function bands(zones) {
  const parts = [];
  owners(zones).forEach((zone, charge) => {
    const last = parts[parts.length - 1];
    if (last && last.zone === zone) {
      last.to = charge;
    } else {
      parts.push({zone, from: charge, to: charge});
    }
  });
  return parts;
}

/** The colour of a zone, 0 for the emptiest; -1 for none. */
export function colourOf(zones, index) {
  if (index < 0 || index >= zones.length) {
    return -1;
  }
  const order = zones.map((_, each) => each).sort((a, b) => zones[a].upper - zones[b].upper || zones[a].lower - zones[b].lower);
  const rank = order.indexOf(index);
  return zones.length === 1 ? colourCount - 1 : Math.round((rank * (colourCount - 1)) / (zones.length - 1));
}

/** The index of the zone with that name, or -1. */
export function indexOf(zones, name) {
  return zones.findIndex(zone => zone.name === name);
}

/** "at most 80", or "as it is". */
export function ceilingText(ceiling) {
  return ceiling === null || ceiling === undefined || ceiling < 0 ? "as it is" : `at most ${ceiling}`;
}

/**
 * Draws the strip: every band as wide as its charges.
 * @param {HTMLElement} strip
 * @param {Zone[]} zones
 * @param {string|null} current name of the zone that is
 */
export function drawStrip(strip, zones, current) {
  strip.replaceChildren(...bands(zones).map(({zone, from, to}) => {
    const name = zone < 0 ? "no zone" : zones[zone].name;
    // A charge of n owns the percent that ends at n; nothing is drawn for a charge of 0.
    const width = to - Math.max(from, 1) + 1;
    const item = make("li", {
      "class": zone < 0 ? "band none" : `band zone-${colourOf(zones, zone)}`,
      title: from === to ? `${name}: ${to} %` : `${name}: ${from} % to ${to} %`,
      "aria-current": zone >= 0 && name === current ? "true" : null,
    }, make("span", {text: name}), make("span", {"class": "unseen", text: `, ${from} to ${to} percent`}));
    item.style.flexGrow = width;
    item.hidden = width === 0;
    return item;
  }));
}
