// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// Small helpers for the document.

/** The element with that id, which has to be there. */
export function byId(id) {
  const element = document.getElementById(id);
  if (!element) {
    throw new Error(`index.html has no element "${id}"`);
  }
  return element;
}

/**
 * Makes an element. Texts are always text, never markup.
 * @param {string} tag
 * @param {Object<string, any>} attributes  "text" is the content; a function is a listener: {onclick: ...}; false and
 *                                          null leave the attribute out
 */
export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name === "text") {
      element.textContent = value;
    } else if (typeof value === "function") {
      element.addEventListener(name.slice(2), value);
    } else if (value === true) {
      element.setAttribute(name, "");
    } else if (value !== false && value !== null && value !== undefined) {
      element.setAttribute(name, String(value));
    }
  }
  element.append(...children);
  return element;
}

const svgSpace = "http://www.w3.org/2000/svg";

/** The same for an SVG element. */
export function makeSvg(tag, attributes = {}, ...children) {
  const element = document.createElementNS(svgSpace, tag);
  for (const [name, value] of Object.entries(attributes)) {
    element.setAttribute(name, String(value));
  }
  element.append(...children);
  return element;
}

/** Sets a text, but only if it is another one: a live region would be read out again. */
export function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

/** Sets an attribute if it is another one. */
export function setAttribute(element, name, value) {
  const text = String(value);
  if (element.getAttribute(name) !== text) {
    element.setAttribute(name, text);
  }
}

export function clamp(value, least, most) {
  return Math.min(most, Math.max(least, value));
}
