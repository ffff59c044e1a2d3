// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// A scale from 0 to 100 that one drags: mouse, finger, or keys. The look is the style sheet's: it has the value as the custom
// property --at, and says with --inset how far from the edges 0 and 100 are.

import {clamp, setAttribute} from "./dom.js";

/** Not more often than this while one drags. */
const leastIntervalMs = 100;

export class Slider {
  #element;
  #onChange;
  #value = 0;
  #isHeld = false;
  #sentAt = 0;
  #timer = 0;
  #settledUntil = 0;

  /**
   * @param {HTMLElement} element with role "slider"
   * @param {(value: number) => void} onChange  the reader wants that value
   */
  constructor(element, onChange) {
    this.#element = element;
    this.#onChange = onChange;
    element.addEventListener("pointerdown", event => this.#onDown(event));
    element.addEventListener("pointermove", event => this.#isHeld && this.#want(this.#valueAt(event)));
    for (const type of ["pointerup", "pointercancel", "lostpointercapture"]) {
      element.addEventListener(type, () => this.#letGo());
    }
    element.addEventListener("keydown", event => this.#onKey(event));
  }

  /** Shows what the device has, unless one is dragging. */
  show(value, text) {
    if (!this.#isHeld && performance.now() > this.#settledUntil) {
      this.#value = clamp(Math.round(value), 0, 100);
      this.#draw();
    }
    setAttribute(this.#element, "aria-valuetext", text);
  }

  #draw() {
    this.#element.style.setProperty("--at", this.#value / 100);
    setAttribute(this.#element, "aria-valuenow", this.#value);
  }

  #valueAt(event) {
    const box = this.#element.getBoundingClientRect();
    const inset = parseFloat(getComputedStyle(this.#element).getPropertyValue("--inset"));
    return Math.round(clamp((event.clientX - box.left - inset) / (box.width - 2 * inset), 0, 1) * 100);
  }

  #onDown(event) {
    if (event.button !== 0) {
      return;
    }
    event.preventDefault();
    this.#element.focus({preventScroll: true});
    this.#element.setPointerCapture(event.pointerId);
    this.#isHeld = true;
    this.#want(this.#valueAt(event));
  }

  #letGo() {
    if (this.#isHeld) {
      this.#isHeld = false;
      this.#flush();
    }
  }

  #onKey(event) {
    const steps = {
      ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1, PageDown: -10, PageUp: 10, Home: -100, End: 100,
    };
    if (event.key in steps && !event.ctrlKey && !event.altKey && !event.metaKey) {
      event.preventDefault();
      this.#want(clamp(this.#value + steps[event.key], 0, 100));
    }
  }

  #want(value) {
    if (value === this.#value) {
      return;
    }
    this.#value = value;
    this.#draw();
    if (this.#timer === 0) {
      const waitMs = Math.max(0, this.#sentAt + leastIntervalMs - performance.now());
      this.#timer = setTimeout(() => this.#flush(), waitMs);
    }
  }

  #flush() {
    if (this.#timer === 0) {
      return;
    }
    clearTimeout(this.#timer);
    this.#timer = 0;
    this.#sentAt = performance.now();
    // What the device says meanwhile is older than this.
    this.#settledUntil = this.#sentAt + 400;
    this.#onChange(this.#value);
  }
}
