// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// A tile per service: whether it is there, what was asked of it last, and what goes wrong in it.

import {byId, make, setAttribute, setText} from "./dom.js";

/** How a service's state reads and looks. */
const states = {
  up: ["up", "good"],
  down: ["down", "bad"],
  real: ["real", "accent"],
  absent: ["absent", "quiet"],
};

/** Faults of a reply's or a signal's values; all others are of a method's call alone. */
const faultsOfValues = new Set(["few", "many", "types", "arrays"]);

/** What a fault's value is at first, by its word: "status STATUS", "late SECONDS". A value in brackets may be missing. */
const firstValues = {status: "-1", late: "0.5"};

class Tile {
  #service;
  #control;
  #chip;
  #last;
  #faultList;
  #power;
  #state = "";
  element;

  constructor(service, faults, control) {
    this.#service = service;
    this.#control = control;
    const {name} = service;
    this.#chip = make("span", {"class": "chip", text: "–"});
    this.#last = make("code", {"class": "last", text: "not called yet"});
    this.#faultList = make("ul", {"class": "fault-list", "aria-label": `Faults of ${name}`});
    this.#power = make("button", {type: "button", text: "Stop", onclick: () => this.#togglePower()});
    this.element = make("li", {"class": "tile", "data-service": name},
      make("div", {"class": "tile-head"}, make("h3", {text: name}), this.#chip),
      this.#last, this.#faultList,
      make("details", {},
        make("summary", {"aria-label": `Break ${name}`, text: "Break"}),
        make("div", {"class": "actions"}, this.#power,
          make("button", {type: "button", text: "Restart", onclick: () => control(`restart ${name}`)})),
        this.#faultForm(faults)));
  }

  #faultForm(faults) {
    const {name, members} = this.#service;
    const member = make("select", {"aria-label": `Method or signal of ${name}`});
    for (const kind of ["method", "signal"]) {
      const group = make("optgroup", {label: kind === "method" ? "Methods" : "Signals"});
      group.append(...members.filter(each => each.kind === kind).map(each => make("option", {value: each.name, text: each.name})));
      if (group.children.length > 0) {
        member.append(group);
      }
    }
    const fault = make("select", {"aria-label": "Fault"});
    const value = make("input", {type: "text", "aria-label": "Value of the fault", size: 8, autocomplete: "off"});
    const fill = () => {
      const kind = members.find(each => each.name === member.value)?.kind;
      const fitting = faults.filter(each => kind === "method" || faultsOfValues.has(each.split(" ")[0]));
      const before = fault.value;
      fault.replaceChildren(...fitting.map(each => make("option", {value: each, text: each.split(" ")[0]})));
      fault.value = fitting.includes(before) ? before : fitting[0] ?? "";
      showValue();
    };
    const showValue = () => {
      const [word, parameter] = fault.value.split(" ");
      value.hidden = !parameter;
      value.required = Boolean(parameter) && !parameter.startsWith("[");
      value.placeholder = parameter?.replace(/[[\]]/g, "").toLowerCase() ?? "";
      value.value = firstValues[word] ?? "";
    };
    member.addEventListener("change", fill);
    fault.addEventListener("change", showValue);
    fill();
    const form = make("form", {"class": "fault-form"}, member, fault, value, make("button", {text: "Apply"}));
    form.addEventListener("submit", event => {
      event.preventDefault();
      const [word] = fault.value.split(" ");
      const texts = value.hidden || value.value.trim() === "" ? [] : [value.value.trim()];
      this.#control(`fail ${name}.${member.value} ${word}`, ...texts);
    });
    return form;
  }

  #togglePower() {
    this.#control(`${this.#state === "up" ? "stop" : "start"} ${this.#service.name}`);
  }

  show({state, last, faults}) {
    const {name} = this.#service;
    const [text, tone] = states[state] ?? [state, "quiet"];
    this.#state = state;
    setText(this.#chip, text);
    setAttribute(this.#chip, "data-tone", tone);
    setAttribute(this.element, "data-state", state);
    setText(this.#last, last || "not called yet");
    setText(this.#power, state === "up" ? "Stop" : "Start");
    const entries = Object.entries(faults ?? {}).filter(([, fault]) => fault);
    const key = JSON.stringify(entries);
    if (this.#faultList.dataset.key !== key) {
      this.#faultList.dataset.key = key;
      this.#faultList.replaceChildren(...entries.map(([member, fault]) => make("li", {},
        make("span", {text: `${member}: ${fault}`}),
        make("button", {
          type: "button", text: "Repair", "aria-label": `Repair ${name}.${member}`,
          onclick: () => this.#control(`repair ${name}.${member}`),
        }))));
    }
    return entries.length;
  }
}

/**
 * @param {import("./state.js").State} state
 * @param {(line: string, ...texts: string[]) => void} control
 * @returns {(hello: object) => void}  to call with the services, once they are known
 */
export function showServices(state, control) {
  let tiles = new Map();
  const show = ({services}) => {
    let [upCount, faultCount] = [0, 0];
    for (const [name, tile] of tiles) {
      const service = services?.[name];
      if (service) {
        faultCount += tile.show(service);
        upCount += service.state === "up" || service.state === "real" ? 1 : 0;
      }
    }
    const faults = faultCount === 0 ? "no faults" : faultCount === 1 ? "1 fault" : `${faultCount} faults`;
    setText(byId("services-summary"), `${upCount} of ${tiles.size} up, ${faults}`);
  };
  state.watch(["services"], show);
  return hello => {
    tiles = new Map(hello.services.map(service => [service.name, new Tile(service, hello.faults, control)]));
    byId("tiles").replaceChildren(...[...tiles.values()].map(tile => tile.element));
    show(state.values);
  };
}
