// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// Switches, mode, CPU frequency, sleep, and what is stored on the device.

import {byId, clamp, make, setAttribute, setText} from "./dom.js";
import {duration, number} from "./format.js";

/** The parts that are on or off; without a command, they only show. */
const switches = [
  {label: "Light", member: "lightOn", isOn: value => value, command: isOn => `light ${isOn ? "on" : "off"}`},
  {label: "RGB LEDs", member: "rgbDisabled", isOn: value => !value, command: isOn => `rgb ${isOn ? "on" : "off"}`},
  {label: "Camera", member: "cameraEnabled", isOn: value => value, command: isOn => `camera ${isOn ? "on" : "off"}`},
  {label: "Phone", member: "phoneForcedOff", isOn: value => !value, command: null},
];

function showSwitches(state, control) {
  for (const {label, member, isOn, command} of switches) {
    const value = make("span", {"class": "switch-value", text: "–"});
    const element = command
      ? make("button", {
        type: "button", "class": "switch", role: "switch", "aria-checked": "false",
        onclick: () => control(command(!isOn(state.values[member]))),
      }, make("span", {text: label}), make("i", {"class": "switch-track"}), value)
      : make("p", {"class": "switch"}, make("span", {text: label}), make("i", {}), value);
    byId("switches").append(element);
    state.watch([member], values => {
      const on = isOn(values[member]);
      if (command) {
        setAttribute(element, "aria-checked", on);
      }
      setText(value, on ? "on" : "off");
    });
  }
}

function showMode(state, control) {
  const inputs = [...byId("mode").querySelectorAll("input")];
  for (const input of inputs) {
    input.addEventListener("change", () => control(`mode ${input.value}`));
  }
  state.watch(["modeSwitch"], ({modeSwitch}) => {
    for (const input of inputs) {
      input.checked = input.value === modeSwitch;
    }
  });
}

function showFrequency(state, control, ladder) {
  const rungs = ladder.map(mhz => {
    const rung = make("button", {
      type: "button", "class": "rung", "aria-label": `${mhz} MHz`, "aria-pressed": "false",
      onclick: () => control(`freq ${mhz}`),
    }, make("i", {}), make("span", {text: mhz}));
    rung.firstChild.style.setProperty("--height", mhz / ladder[ladder.length - 1]);
    return rung;
  });
  byId("ladder").replaceChildren(...rungs);
  const show = ({freqMHz}) => {
    setText(byId("frequency-text"), freqMHz === undefined ? "–" : `${freqMHz} MHz`);
    rungs.forEach((rung, index) => {
      setAttribute(rung, "aria-pressed", ladder[index] === freqMHz);
      rung.classList.toggle("is-below", ladder[index] <= freqMHz);
    });
  };
  show(state.values);
  return show;
}

function showLoad(state) {
  state.watch(["cpuLoad"], ({cpuLoad}) => {
    const load = clamp(cpuLoad ?? 0, 0, 100);
    setText(byId("load-text"), cpuLoad === null || cpuLoad === undefined ? "–" : `${Math.round(load)} %`);
    setAttribute(byId("load"), "aria-valuenow", Math.round(load));
    byId("load").style.setProperty("--at", load / 100);
  });
}

function showSleep(state, control) {
  const showCountdown = () => {
    const opensMs = state.values.sleepWindow?.opensMs;
    setText(byId("sleep-countdown"), opensMs === null || opensMs === undefined ? "–" : duration(opensMs - state.now));
  };
  state.watch(["sleepWindow"], ({sleepWindow}) => {
    setText(byId("sleep-window"), sleepWindow ? `${sleepWindow.start} to ${sleepWindow.end}` : "none");
    showCountdown();
  });
  state.watch(["wakeUp"], ({wakeUp}) => setText(byId("wake-up"), wakeUp ? `${wakeUp} UTC` : "not set"));
  setInterval(showCountdown, 250);
  byId("night-form").addEventListener("submit", event => {
    event.preventDefault();
    control(`night in ${byId("night-in").value} for ${byId("night-for").value}`);
  });
}

/** Counts of what is stored; those with a command can be set. */
const counts = [
  {label: "Scheduler entries", member: "schedule", command: value => `schedule ${value}`},
  {label: "Event entries", member: "events", command: value => `events ${value}`},
  {label: "User data files", member: "userData", command: null},
];

function showCounts(state, control) {
  for (const {label, member, command} of counts) {
    if (command) {
      const input = make("input", {type: "number", min: 0, max: 1000000, value: 0, id: `count-${member}`});
      input.addEventListener("change", () => input.checkValidity() && control(command(Number(input.value))));
      byId("counts").append(make("label", {"class": "count", "for": input.id}, make("span", {text: label}), input));
      state.watch([member], values => {
        if (document.activeElement !== input) {
          input.value = values[member];
        }
      });
    } else {
      const output = make("output", {"class": "number", text: "–"});
      const name = make("input", {
        type: "text", "aria-label": "Name of a new file", placeholder: "recording 1.wav", autocomplete: "off", required: true,
      });
      const form = make("form", {"class": "inline-form count-form"}, name, make("button", {text: "Add file"}));
      form.addEventListener("submit", event => {
        event.preventDefault();
        control("userdata", name.value);
        name.value = "";
      });
      byId("counts").append(make("p", {"class": "count"}, make("span", {text: label}), output), form);
      state.watch([member], values => setText(output, number(values[member])));
    }
  }
}

/**
 * @param {import("./state.js").State} state
 * @param {(line: string, ...texts: string[]) => void} control
 * @returns {(ladder: number[]) => void}  to call with the ladder's rungs, once they are known
 */
export function showParts(state, control) {
  showSwitches(state, control);
  showMode(state, control);
  showLoad(state);
  showSleep(state, control);
  showCounts(state, control);
  let showRungs = () => {};
  state.watch(["freqMHz"], values => showRungs(values));
  return ladder => {
    showRungs = showFrequency(state, control, ladder);
  };
}
