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

const stream = new Stream(`ws://${location.host}/stream`, onFrame, onConnection);

/**
 * Carries out a line at once, whatever else is being played, and shows what was wrong with it.
 * @param {string} line
 * @param {...string} texts  values that may need quotation marks
 */
async function control(line, ...texts) {
  const answer = await stream.ask({run: [line, ...texts.map(quote)].join(" "), lane: "controls"});
  showTrouble(answer);
}

const buttons = showButtons(state, control);
const commandLine = new CommandLine(stream);
const timeline = new TimelineView(n => stream.send({event: n}));
const samples = showPlots(state);
const zoneEditor = new ZoneEditor(stream);
const showRungs = showParts(state, control);
const showTiles = showServices(state, control);
const showScenarioList = showScenarios(state, stream, timeline, {next: () => next, answer: showTrouble});
showBattery(state, control);
showDaemon(state);
showStore(state, control);

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

/** A refused line is shown under the command line, wherever it came from; so one never misses it. */
function showTrouble(answer) {
  const banner = byId("banner");
  if (!answer.ok) {
    setText(banner, answer.text);
    banner.hidden = false;
  } else if (stream.isOpen) {
    banner.hidden = true;
  }
}

function onConnection(isOpen, retryMs) {
  const chip = byId("connection");
  setText(chip, isOpen ? "Connected" : "Reconnecting");
  setAttribute(chip, "data-tone", isOpen ? "good" : "bad");
  document.body.classList.toggle("is-offline", !isOpen);
  if (!isOpen) {
    buttons.releaseAll();
    showTrouble({ok: false, text: "The connection to the simulator ended; it is tried again until it works. "
      + "If the simulator was started anew, open the address that it printed."});
    void retryMs;
  } else {
    showTrouble({ok: true});
  }
}

function onHello(hello) {
  if (hello.clock !== sessionClock) {
    sessionClock = hello.clock;
    next = 0;
    timeline.dropBelow(Infinity);
    samples.reset();
    state.reset();
  }
  showRungs(hello.ladder);
  showTiles(hello);
  showScenarioList(hello.scenarios);
  commandLine.setCommands(hello.commands);
  setText(byId("about"), [`device-simulator ${hello.version}`, hello.program, `began ${hello.clock}`].filter(Boolean).join(" · "));
  stream.send({from: next});
  zoneEditor.loadOnce();
}

function onFrame(frame) {
  if (frame.hello) {
    onHello(frame.hello);
  }
  if (frame.state) {
    state.merge(frame.state);
  }
  if (frame.events) {
    next = frame.next;
    timeline.add(frame.events);
    samples.addRows(frame.events);
  }
  if (frame.cleared !== undefined) {
    timeline.dropBelow(frame.cleared);
  }
  if (frame.whole) {
    timeline.showWhole(frame.event, frame.whole);
  }
  if (frame.ok === false && frame.text) {
    showTrouble(frame);
  }
}
