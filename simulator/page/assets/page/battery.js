// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The battery with the zones over its charge, and volume and light with their ceilings.

import {byId, setAttribute, setText} from "./dom.js";
import {number} from "./format.js";
import {Slider} from "./slider.js";
import {colourOf, drawStrip, indexOf} from "./zones.js";

/** A scale with a ceiling: what lies above it is hatched. */
function showScale(name, slider, value, ceiling, isOff) {
  const element = byId(name);
  const hasCeiling = ceiling !== null && ceiling !== undefined;
  const text = `${number(value)}${isOff ? ", off" : ""}`;
  element.classList.toggle("has-ceiling", hasCeiling);
  element.classList.toggle("is-off", isOff);
  element.style.setProperty("--ceiling", hasCeiling ? Math.min(1, Math.max(0, ceiling / 100)) : 1);
  setText(byId(`${name}-text`), text);
  setText(byId(`${name}-ceiling`), hasCeiling ? `ceiling ${ceiling}` : "no ceiling");
  slider.show(value, text);
}

/**
 * @param {import("./state.js").State} state
 * @param {(line: string) => void} control  carries out a line at once
 */
export function showBattery(state, control) {
  const charge = new Slider(byId("charge"), value => control(`charge ${value}`));
  const volume = new Slider(byId("volume"), value => control(`volume ${value}`));
  const light = new Slider(byId("light"), value => control(`light ${value}`));

  state.watch(["charge", "zone", "zones"], values => {
    const zones = values.zones ?? [];
    const percent = values.charge ?? 0;
    const zone = values.zone ?? "no zone";
    const colour = colourOf(zones, indexOf(zones, values.zone));
    setText(byId("charge-text"), `${percent} %`);
    setText(byId("zone-text"), zone);
    setAttribute(byId("device"), "data-zone", colour);
    charge.show(percent, `${percent} percent, ${values.zone ? `zone ${zone}` : zone}`);
  });
  state.watch(["zone", "zones"], values => drawStrip(byId("zone-strip"), values.zones ?? [], values.zone));
  state.watch(["volume", "volumeCeiling"], values =>
    showScale("volume", volume, values.volume ?? 0, values.volumeCeiling, false));
  state.watch(["light", "lightCeiling", "lightOn"], values =>
    showScale("light", light, values.light ?? 0, values.lightCeiling, values.lightOn === false));
}
