// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// Ties the page together: frames of the simulator in, lines of its language out.

import {showBattery} from "./battery.js";
import {showButtons} from "./buttons.js";
import {CommandLine} from "./command-line.js";
import {showDaemon} from "./daemon.js";
import {byId, setAttribute, setText} from "./dom.js";
import {quote} from "./format.js";
import {showParts} from "./parts.js";
import {showPlots} from "./plots.js";
import {showScenarios} from "./scenarios.js";
import {showServices} from "./services.js";
import {State} from "./state.js";
import {showStore} from "./store.js";
import {Stream} from "./stream.js";
import {TimelineView} from "./timeline.js";
import {ZoneEditor} from "./zone-editor.js";

const state = new State();
/** The place of the next row that the page has not got. */
let next = 0;
/** When the session that we know began; another one starts the page anew. */
let sessionClock = null;
/** Rows behind this place are of no use before the one that stands there; -1: all are welcome. */
let awaited = -1;

const stream = new Stream(`ws://${location.host}/stream`, onFrame, onConnection);

/**
 * Carries out a line at once, whatever else is being played, and shows what was wrong with it.
 * @param {string} line
 * @param {...string} texts  values that may need quotation marks
 */
async function control(line, ...texts) {
  const answer = await stream.ask({run: [line, ...texts.map(quote)].join(" "), now: true});
  showTrouble(answer);
}

const buttons = showButtons(state, control, lines => stream.ask({farewell: lines}));
const commandLine = new CommandLine(stream);
const timeline = new TimelineView(n => stream.send({event: n}));
const samples = showPlots(state);
const showRungs = showParts(state, control);
const showTiles = showServices(state, control);
const showScenarioList = showScenarios(state, stream, timeline, {next: () => next, answer: showTrouble});
showBattery(state, control);
showDaemon(state);
showStore(state, control);
void new ZoneEditor(state, stream);

for (const button of document.querySelectorAll("[data-run]")) {
  button.addEventListener("click", () => control(button.dataset.run));
}
byId("timeline-clear").addEventListener("click", async () => {
  const answer = await stream.ask({clear: true});
  showTrouble(answer);
  if (answer.ok) {
    timeline.dropBelow(next);
  }
});

state.watch(["zone"], ({zone}) => announce(`Power zone ${zone ?? "none"}`));
state.watch(["daemon"], ({daemon}) => announce(`Power daemon ${daemon.state}${daemon.action ? ` in ${daemon.action}` : ""}`));

/** For screen readers: few things, and none twice. */
function announce(text) {
  setText(byId("announcer"), text);
}

/** What went wrong stands at the top of the page until something goes well; what one stopped did not go wrong. */
function showTrouble(answer) {
  const banner = byId("banner");
  if (!answer.ok && answer.text !== "stopped") {
    setText(banner, answer.text);
    banner.hidden = false;
  } else if (stream.isOpen) {
    banner.hidden = true;
  }
}

function onConnection(isOpen) {
  const chip = byId("connection");
  setText(chip, isOpen ? "Connected" : "Reconnecting");
  setAttribute(chip, "data-tone", isOpen ? "good" : "bad");
  document.body.classList.toggle("is-offline", !isOpen);
  if (isOpen) {
    awaited = -1;
    stream.send({from: next});
    showTrouble({ok: true});
  } else {
    showTrouble({ok: false, text: "The connection to the simulator ended; it is tried again until it works. "
      + "If the simulator was started anew, open the address that it printed."});
  }
  buttons.onConnection(isOpen);
}

function onHello(hello) {
  if (hello.clock !== sessionClock) {
    const isFirst = sessionClock === null;
    sessionClock = hello.clock;
    next = 0;
    if (!isFirst) {
      // What comes already continues the rows of a session that is no more.
      awaited = hello.first;
      stream.send({from: next});
    }
    timeline.dropBelow(Infinity);
    samples.reset();
    state.reset();
  }
  showRungs(hello.ladder);
  showTiles(hello);
  showScenarioList(hello.scenarios);
  commandLine.setCommands(hello.commands);
  setText(byId("about"), [`device-simulator ${hello.version}`, hello.program, `began ${hello.clock}`].filter(Boolean).join(" · "));
}

function takeRows({events, next: following, skipped}) {
  const isUseless = awaited >= 0 && events.length > 0 && events[0][0] > awaited && !skipped;
  if (!isUseless) {
    awaited = -1;
    next = following;
    timeline.add(events);
    samples.addRows(events);
  }
}

function onFrame(frame) {
  if (frame.hello) {
    onHello(frame.hello);
  }
  if (frame.state) {
    state.merge(frame.state);
  }
  if (frame.events) {
    takeRows(frame);
  }
  if (frame.cleared !== undefined) {
    timeline.dropBelow(frame.cleared);
  }
  if (frame.whole !== undefined) {
    timeline.showWhole(frame.event, frame.whole);
  }
  if (frame.ok === false && frame.text) {
    showTrouble(frame);
  }
}
