// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The scenarios: play, stop, and write one from what was just done.

import {byId, make, setText} from "./dom.js";
import {seconds} from "./format.js";

/**
 * @param {import("./state.js").State} state
 * @param {import("./stream.js").Stream} stream
 * @param {import("./timeline.js").TimelineView} timeline
 * @param {{next: () => number, answer: (frame: object) => void}} page
 * @returns {(names: string[]) => void}  shows the list
 */
export function showScenarios(state, stream, timeline, page) {
  let names = [];
  let mark = null;

  const showList = list => {
    if (JSON.stringify(list) === JSON.stringify(names)) {
      return;
    }
    names = list;
    byId("scenario-list").replaceChildren(...names.map(name => {
      const title = name.replace(/\.scenario$/, "");
      return make("li", {"data-scenario": name}, make("span", {text: title}), make("button", {
        type: "button", text: "Play", "aria-label": `Play ${title}`,
        onclick: async () => page.answer(await stream.ask({play: name})),
      }));
    }));
  };

  state.watch(["scenarios"], ({scenarios}) => showList(scenarios ?? names));
  state.watch(["source"], ({source}) => {
    const isIdle = !source || source.isIdle;
    const what = isIdle ? "" : [source.scenario?.replace(/\.scenario$/, ""), source.line].filter(Boolean).join(": ");
    setText(byId("scenario-state"), what);
    byId("scenario-stop").disabled = isIdle;
    for (const item of byId("scenario-list").children) {
      item.classList.toggle("is-playing", !isIdle && item.dataset.scenario === source.scenario);
    }
  });
  byId("scenario-stop").addEventListener("click", async () => page.answer(await stream.ask({stop: true})));

  const note = byId("save-note");
  byId("save-mark").addEventListener("click", () => {
    mark = {n: page.next(), msec: state.now};
    byId("save-from").value = "mark";
    setText(note, `Mark set at ${seconds(mark.msec)} s: what comes from now on is saved.`);
  });
  byId("save-form").addEventListener("submit", async event => {
    event.preventDefault();
    const choice = byId("save-from").value;
    const from = {start: timeline.firstN, mark: mark?.n ?? -1, row: timeline.activeN}[choice];
    if (from < 0) {
      setText(note, choice === "mark" ? "Set the mark first." : choice === "row" ? "Select a row of the timeline first." : "Nothing has happened yet.");
      return;
    }
    const name = byId("save-name").value;
    const answer = await stream.ask({saveScenario: {name, from, to: page.next()}});
    setText(note, answer.text || (answer.ok ? `Saved as ${name}.` : "It was not saved."));
    if (answer.ok) {
      byId("save-form").reset();
      showList([...new Set([...names, `${name}.scenario`])].sort());
    }
  });
  return showList;
}
