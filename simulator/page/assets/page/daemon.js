// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The power daemon's process, the indicator lamp, and the record of the last reason.

import {byId, setAttribute, setText} from "./dom.js";
import {duration} from "./format.js";

/** What the states are called, and how they look. */
const states = {
  none: ["Not ours", "quiet"],
  starting: ["Starting", "warn"],
  up: ["Up", "good"],
  blocked: ["Blocked", "warn"],
  restarting: ["Restarting", "warn"],
  down: ["Down", "bad"],
};

/** The line of the indicator lamp. */
const lampLine = "24";

/** @param {import("./state.js").State} state */
export function showDaemon(state) {
  const showSince = () => {
    const daemon = state.values.daemon;
    const isTimed = daemon && daemon.sinceMs !== undefined && daemon.sinceMs !== null && daemon.state !== "none";
    setText(byId("daemon-since"), isTimed ? `for ${duration(state.now - daemon.sinceMs)}` : "");
  };
  state.watch(["daemon"], ({daemon}) => {
    const [text, tone] = states[daemon?.state] ?? [daemon?.state ?? "–", "quiet"];
    const action = daemon?.action ? ` in ${daemon.action}` : "";
    setText(byId("daemon-state"), text + action);
    setAttribute(byId("daemon-state"), "data-tone", tone);
    const isOurs = daemon?.state !== "none";
    byId("daemon-start").hidden = !isOurs || daemon?.state !== "down";
    byId("daemon-stop").hidden = !isOurs || daemon?.state === "down";
    showSince();
  });
  setInterval(showSince, 200);

  state.watch(["lines"], ({lines}) => {
    const isOn = lines?.[lampLine] === 1;
    byId("lamp").classList.toggle("is-on", isOn);
    setAttribute(byId("lamp"), "aria-label", isOn ? "Indicator on" : "Indicator off");
  });
  state.watch(["record"], ({record}) => setText(byId("record"), record ? record.trim() : "none"));
}
