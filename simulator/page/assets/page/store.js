// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The configuration store: search, edit, remove, add.

import {byId, make, setAttribute, setText} from "./dom.js";

/**
 * @param {import("./state.js").State} state
 * @param {(words: string, ...texts: string[]) => void} control
 */
export function showStore(state, control) {
  const rows = byId("store-rows");
  const search = byId("store-search");

  const rowOf = (key, value) => {
    const slash = key.indexOf("/");
    const [group, name] = [key.slice(0, slash), key.slice(slash + 1)];
    const input = make("input", {type: "text", "aria-label": `Value of ${key}`, spellcheck: "false", autocomplete: "off"});
    input.value = value;
    input.addEventListener("change", () => control("config", group, name, input.value));
    const forget = make("button", {
      type: "button", "class": "plain", text: "Remove", "aria-label": `Remove ${key}`,
      onclick: () => control("forget", group, name),
    });
    return make("tr", {"data-key": key}, make("td", {text: group}), make("td", {text: name}), make("td", {}, input),
      make("td", {}, forget));
  };

  const filter = () => {
    const wanted = search.value.toLowerCase();
    let shown = 0;
    for (const row of rows.children) {
      const value = row.querySelector("input").value;
      row.hidden = !`${row.dataset.key} ${value}`.toLowerCase().includes(wanted);
      shown += row.hidden ? 0 : 1;
    }
    const total = rows.children.length;
    byId("store-empty").hidden = shown > 0;
    setText(byId("store-empty"), total === 0 ? "The store is empty." : "No key or value contains that.");
  };

  const show = ({config}) => {
    const keys = Object.keys(config ?? {}).sort();
    const before = new Map([...rows.children].map(row => [row.dataset.key, row]));
    const after = keys.map(key => {
      const row = before.get(key) ?? rowOf(key, config[key]);
      const input = row.querySelector("input");
      if (document.activeElement !== input) {
        input.value = config[key];
      }
      return row;
    });
    // Rows that stay are not touched: one of them may have the focus.
    const kept = new Set(after);
    [...rows.children].filter(row => !kept.has(row)).forEach(row => row.remove());
    after.forEach((row, index) => rows.children[index] === row || rows.insertBefore(row, rows.children[index] ?? null));
    filter();
  };

  state.watch(["config"], show);
  state.watch(["configFrozen"], ({configFrozen}) => {
    setText(byId("store-frozen"), configFrozen ? "frozen" : "not frozen");
    setAttribute(byId("store-frozen"), "data-tone", configFrozen ? "warn" : "quiet");
  });
  search.addEventListener("input", filter);
  byId("store-form").addEventListener("submit", event => {
    event.preventDefault();
    control("config", byId("store-group").value, byId("store-key").value, byId("store-value").value);
    byId("store-form").reset();
  });
}
