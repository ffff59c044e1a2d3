// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The zone file beside what it would do, checked as one types, installed with one click.

import {byId, make, setAttribute, setText} from "./dom.js";
import {bands, ceilingText, colourOf, drawStrip} from "./zones.js";

const checkAfterMs = 200;

export class ZoneEditor {
  #stream;
  #text = byId("zones-text");
  #timer = 0;
  #asked = 0;
  /** The device's zone file as it was put into the editor; null: not yet. */
  #loaded = null;
  #findings = [];
  #state;

  /**
   * @param {import("./state.js").State} state
   * @param {import("./stream.js").Stream} stream
   */
  constructor(state, stream) {
    this.#state = state;
    this.#stream = stream;
    // What one has written stays; an editor that was not touched follows the device.
    state.watch(["zoneFile"], () => (this.#loaded === null || this.#text.value === this.#loaded) && this.#load());
    this.#text.addEventListener("input", () => this.#checkSoon());
    this.#text.addEventListener("scroll", () => this.#followScroll(), {passive: true});
    byId("zones-reload").addEventListener("click", () => this.#load());
    byId("zones-install").addEventListener("click", () => this.#install());
  }

  /** Puts the device's zone file into the editor. */
  #load() {
    const file = this.#state.values.zoneFile;
    for (const control of [this.#text, byId("zones-install")]) {
      control.disabled = file === null;
    }
    if (file === null) {
      this.#text.value = "";
      this.#loaded = "";
      clearTimeout(this.#timer);
      ++this.#asked; // what was being checked is gone
      this.#show([], []);
      this.#say("The device's zone file is too long for this page; edit it where it is.", "bad");
      return;
    }
    this.#text.value = file ?? "";
    this.#loaded = this.#text.value; // with the line ends that the editor gives it
    this.#text.setSelectionRange(0, 0);
    this.#text.scrollTop = 0;
    this.#showGutter();
    this.#check();
  }

  #say(text, tone) {
    setText(byId("zones-summary"), text);
    setAttribute(byId("zones-summary"), "data-tone", tone);
  }

  #checkSoon() {
    this.#showGutter();
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#check(), checkAfterMs);
  }

  async #check() {
    const asked = ++this.#asked;
    const frame = await this.#stream.ask({check: this.#text.value});
    if (asked !== this.#asked) {
      return; // more was typed meanwhile
    }
    if (!Array.isArray(frame.list)) {
      this.#say(frame.text, "bad");
      return;
    }
    this.#show(frame.list, frame.zones ?? []);
    const errors = this.#count("error");
    const parts = [[errors, "error"], [this.#count("warning"), "warning"], [this.#count("note") + this.#count("hint"), "note"]]
      .filter(([number]) => number > 0).map(([number, word]) => `${number} ${word}${number === 1 ? "" : "s"}`);
    this.#say(parts.length > 0 ? parts.join(", ") : "nothing to complain about", errors > 0 ? "bad" : "quiet");
    setText(byId("zones-install"), errors > 0 ? "Install anyway" : "Install");
  }

  #count(severity) {
    return this.#findings.filter(finding => finding.severity === severity).length;
  }

  async #install() {
    const answer = await this.#stream.ask({installZones: this.#text.value});
    this.#say(answer.ok ? "installed" : answer.text, answer.ok ? "good" : "bad");
  }

  #show(findings, zones) {
    this.#findings = findings;
    this.#showFindings();
    this.#showZones(zones);
    this.#showGutter();
  }

  #showFindings() {
    byId("zones-findings").replaceChildren(...this.#findings.map(({line, severity, text}) => make("li", {"data-severity": severity},
      make("button", {type: "button", "class": "finding", onclick: () => this.#goTo(line)},
        make("b", {text: `${severity}, line ${line}`}), make("span", {text})))));
    if (this.#findings.length === 0) {
      byId("zones-findings").append(make("li", {"class": "muted", text: "none"}));
    }
  }

  #showZones(zones) {
    drawStrip(byId("zones-preview"), zones, null);
    const covers = new Map();
    for (const {zone, from, to} of bands(zones)) {
      covers.set(zone, [...(covers.get(zone) ?? []), from === to ? `${to} %` : `${from} to ${to} %`]);
    }
    byId("zones-table").replaceChildren(...zones.map((zone, index) => make("tr", {},
      make("th", {scope: "row"}, make("i", {"class": `dot zone-${colourOf(zones, index)}`}), zone.name),
      make("td", {"class": "number", text: covers.get(index)?.join(", ") ?? "none"}),
      make("td", {"class": "number", text: ceilingText(zone.volume)}),
      make("td", {"class": "number", text: ceilingText(zone.light)}))));
  }

  #showGutter() {
    const lines = this.#text.value.split("\n").length;
    const worst = new Map();
    for (const {line, severity} of this.#findings) {
      if (worst.get(line) !== "error") {
        worst.set(line, severity);
      }
    }
    byId("zones-gutter").replaceChildren(...Array.from({length: Math.min(lines, 5000)}, (_, index) =>
      make("span", {text: index + 1, "data-severity": worst.get(index + 1) ?? null})));
    this.#followScroll();
  }

  #followScroll() {
    byId("zones-gutter").scrollTop = this.#text.scrollTop;
  }

  #goTo(line) {
    const before = this.#text.value.split("\n").slice(0, line - 1);
    const start = before.reduce((length, each) => length + each.length + 1, 0);
    const end = this.#text.value.indexOf("\n", start);
    this.#text.focus();
    this.#text.setSelectionRange(start, end < 0 ? this.#text.value.length : end);
  }
}
