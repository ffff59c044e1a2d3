// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// One event, whole and typed, as a table.

import {make} from "./dom.js";

/** Members that are shown as a list of values with name and type. */
const valueLists = new Set(["arguments", "reply"]);

function valueTable(label, values) {
  if (values.length === 0) {
    return make("p", {"class": "muted", text: `${label}: none`});
  }
  return make("table", {"class": "values"},
    make("caption", {text: `${label} (${values.length})`}),
    make("tbody", {}, ...values.map((each, index) => make("tr", {},
      make("th", {scope: "row", text: each.name || `#${index + 1}`}),
      make("td", {}, make("code", {"class": "type", text: each.type || "?"})),
      make("td", {}, make("code", {text: typeof each.value === "string" ? JSON.stringify(each.value) : String(each.value)}))))));
}

function plain(value) {
  return typeof value === "object" && value !== null ? JSON.stringify(value) : String(value);
}

/** @param {object} whole  as docs/events.md describes it */
export function wholeEvent(whole) {
  const facts = make("dl", {"class": "facts"});
  const tables = [];
  for (const [name, value] of Object.entries(whole)) {
    if (valueLists.has(name) && Array.isArray(value)) {
      tables.push(valueTable(name, value));
    } else {
      facts.append(make("dt", {text: name}), make("dd", {}, make("code", {text: plain(value)})));
    }
  }
  return make("div", {"class": "whole"}, facts, ...tables);
}
