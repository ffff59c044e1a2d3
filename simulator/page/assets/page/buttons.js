// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The device's buttons: pressed for as long as one holds them, with the ring of the gestures' 5 s.
//
// A button that was pressed here is released, whatever happens: here if the pointer is lost or the window loses the focus,
// by the simulator if the connection ends.

import {byId, make, makeSvg, setAttribute, setText} from "./dom.js";

/** After so long a gesture counts. */
const gestureMs = 5000;

const ringRadius = 27;
const ringLength = 2 * Math.PI * ringRadius;

/** The buttons as the hardware events name them, with the lines that press and release them. */
const buttons = [
  {
    label: "reset_\u200bfactory", names: ["reset_factory"], hint: "5 s: soft factory reset",
    press: "press reset_factory", release: "release reset_factory",
  },
  {
    label: "seek-", names: ["seek-"], hint: "5 s with reset: hard",
    press: "press seek-", release: "release seek-",
  },
  {
    label: "reset + seek-", names: ["reset_factory", "seek-"], hint: "5 s: hard factory reset",
    press: "press reset_factory\npress seek-", release: "release reset_factory\nrelease seek-",
  },
  {
    label: "low power", names: ["low_power"], hint: "the power line",
    press: "low-power on", release: "low-power off",
  },
];

class HoldButton {
  #button;
  #element;
  #ring;
  #time;
  #isPressed = false;
  #change;

  /** @param {(line: string) => void} change  carries out a line behind each press and release */
  constructor(button, change) {
    this.#button = button;
    this.#change = change;
    this.#ring = makeSvg("circle", {
      "class": "ring-value", cx: 32, cy: 32, r: ringRadius, pathLength: 1, "stroke-dasharray": "0 1",
    });
    this.#time = make("span", {"class": "hold-time number", text: ""});
    this.#element = make("button", {type: "button", "class": "hold", "aria-pressed": "false"},
      makeSvg("svg", {viewBox: "0 0 64 64", "aria-hidden": "true"},
        makeSvg("circle", {"class": "ring-track", cx: 32, cy: 32, r: ringRadius}), this.#ring,
        makeSvg("circle", {"class": "ring-cap", cx: 32, cy: 32, r: 20})),
      this.#time,
      make("span", {"class": "hold-label", text: button.label}),
      make("small", {"class": "hold-hint", text: button.hint}));
    const element = this.#element;
    element.addEventListener("pointerdown", event => {
      if (event.button === 0) {
        element.setPointerCapture(event.pointerId);
        this.press();
      }
    });
    for (const type of ["pointerup", "pointercancel", "lostpointercapture", "blur"]) {
      element.addEventListener(type, () => this.release());
    }
    element.addEventListener("keydown", event => {
      if (event.key === " " || event.key === "Enter") {
        event.preventDefault();
        if (!event.repeat) {
          this.press();
        }
      }
    });
    element.addEventListener("keyup", event => (event.key === " " || event.key === "Enter") && this.release());
    element.addEventListener("contextmenu", event => event.preventDefault());
  }

  get element() {
    return this.#element;
  }

  press() {
    if (!this.#isPressed) {
      this.#isPressed = true;
      this.#change(this.#button.press);
    }
  }

  release() {
    if (this.#isPressed) {
      this.#isPressed = false;
      this.#change(this.#button.release);
    }
  }

  /** The connection has ended, and the simulator has released it. */
  forget() {
    this.#isPressed = false;
  }

  /** The line that is to be carried out if the page goes away now; empty: none. */
  get farewell() {
    return this.#isPressed ? this.#button.release : "";
  }

  /** @param {Object<string, number|null>} held  since when each button is held, on the timeline's clock */
  show(held, now) {
    const times = this.#button.names.map(name => held[name]);
    const isHeld = times.every(time => time !== null && time !== undefined);
    const heldMs = isHeld ? Math.max(0, now - Math.max(...times)) : 0;
    const part = Math.min(1, heldMs / gestureMs);
    this.#element.classList.toggle("is-held", isHeld);
    this.#element.classList.toggle("is-full", part === 1);
    setAttribute(this.#element, "aria-pressed", isHeld);
    setAttribute(this.#ring, "stroke-dasharray", isHeld ? `${part.toFixed(4)} 1` : "0 1");
    setText(this.#time, isHeld ? `${(heldMs / 1000).toFixed(1)} s` : "");
    return isHeld;
  }
}

/**
 * @param {import("./state.js").State} state
 * @param {(line: string) => void} control
 * @param {(lines: string) => void} setFarewell  says what is to be carried out if the page goes away
 * @returns {{onConnection: (isOpen: boolean) => void}}  to call when the connection has opened or ended
 */
export function showButtons(state, control, setFarewell) {
  const all = buttons.map(button => new HoldButton(button, line => {
    setFarewell(all.map(each => each.farewell).filter(Boolean).join("\n"));
    control(line);
  }));
  byId("buttons").append(...all.map(button => button.element));

  let isDrawing = false;
  const draw = () => {
    const held = state.values.buttons ?? {};
    const isAnyHeld = all.map(button => button.show(held, state.now)).some(Boolean);
    isDrawing = isAnyHeld;
    if (isAnyHeld) {
      requestAnimationFrame(draw);
    }
  };
  state.watch(["buttons"], () => isDrawing || draw());

  const releaseAll = () => all.forEach(button => button.release());
  addEventListener("blur", releaseAll);
  addEventListener("pagehide", releaseAll);
  document.addEventListener("visibilitychange", () => document.hidden && releaseAll());
  return {onConnection: isOpen => isOpen || all.forEach(button => button.forget())};
}
