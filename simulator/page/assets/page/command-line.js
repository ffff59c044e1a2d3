// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The command line: the simulator's language, with completion and history.

import {byId, make, setAttribute, setText} from "./dom.js";

const historyLength = 200;
const askAfterMs = 60;

function readHistory() {
  try {
    const lines = JSON.parse(localStorage.getItem("history") ?? "[]");
    return Array.isArray(lines) ? lines.filter(line => typeof line === "string") : [];
  } catch {
    return [];
  }
}

export class CommandLine {
  #stream;
  #input = byId("command");
  #list = byId("command-words");
  #history = readHistory();
  /** Where one is in the history; its length: in the line that one writes. */
  #place = this.#history.length;
  #draft = "";
  #words = [];
  #from = 0;
  #chosen = -1;
  #timer = 0;
  #asked = 0;
  #commands = [];

  /** @param {import("./stream.js").Stream} stream */
  constructor(stream) {
    this.#stream = stream;
    byId("command-form").addEventListener("submit", event => {
      event.preventDefault();
      this.#run();
    });
    this.#input.addEventListener("input", () => {
      this.#place = this.#history.length;
      this.#askSoon();
    });
    this.#input.addEventListener("keydown", event => this.#onKey(event));
    this.#input.addEventListener("blur", () => this.#closeList());
    this.#list.addEventListener("pointerdown", event => {
      event.preventDefault(); // the focus stays in the line
      const index = [...this.#list.children].indexOf(event.target.closest("li"));
      if (index >= 0) {
        this.#take(index);
      }
    });
  }

  /** @param {{pattern: string, summary: string}[]} commands */
  setCommands(commands) {
    this.#commands = commands;
  }

  /** Shows what was answered to a line. */
  showAnswer({ok, text}) {
    const answer = byId("command-answer");
    answer.hidden = !text;
    setText(answer, text ?? "");
    setAttribute(answer, "data-tone", ok ? "quiet" : "bad");
  }

  async #run() {
    const line = this.#input.value.trim();
    this.#closeList();
    if (line === "") {
      return;
    }
    this.#remember(line);
    this.#input.value = "";
    this.#showHint();
    const answer = await this.#stream.ask({run: line});
    this.showAnswer(answer);
    // A wrong line is there again to be mended, unless the next one is being written.
    if (!answer.ok && this.#input.value === "") {
      this.#input.value = line;
      this.#showHint();
    }
  }

  #remember(line) {
    if (this.#history[this.#history.length - 1] !== line) {
      this.#history.push(line);
      this.#history.splice(0, Math.max(0, this.#history.length - historyLength));
      try {
        localStorage.setItem("history", JSON.stringify(this.#history));
      } catch {
        // no storage: the history lasts as long as the tab
      }
    }
    this.#place = this.#history.length;
  }

  #onKey(event) {
    const isOpen = !this.#list.hidden;
    if (event.key === "Tab" && !event.shiftKey && isOpen) {
      event.preventDefault();
      this.#take(Math.max(0, this.#chosen));
    } else if (event.key === "Enter" && isOpen && this.#chosen >= 0) {
      event.preventDefault();
      this.#take(this.#chosen);
    } else if (event.key === "Escape" && isOpen) {
      event.preventDefault();
      this.#closeList();
    } else if (event.key === " " && event.ctrlKey) {
      event.preventDefault();
      this.#askNow();
    } else if (event.key === "ArrowDown" || event.key === "ArrowUp") {
      event.preventDefault();
      const step = event.key === "ArrowDown" ? 1 : -1;
      if (isOpen && (this.#chosen >= 0 || step > 0)) {
        this.#choose(this.#chosen + step);
      } else {
        this.#goThroughHistory(step);
      }
    }
  }

  #goThroughHistory(step) {
    const place = this.#place + step;
    if (place < 0 || place > this.#history.length) {
      return;
    }
    if (this.#place === this.#history.length) {
      this.#draft = this.#input.value;
    }
    this.#place = place;
    this.#input.value = this.#history[place] ?? this.#draft;
    this.#closeList();
    this.#showHint();
  }

  // ---- Completion

  #askSoon() {
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#askNow(), askAfterMs);
    this.#showHint();
  }

  async #askNow() {
    clearTimeout(this.#timer);
    const line = this.#input.value.slice(0, this.#input.selectionStart);
    const asked = ++this.#asked;
    const frame = await this.#stream.ask({complete: line});
    const isLate = asked !== this.#asked || document.activeElement !== this.#input;
    if (!isLate && Array.isArray(frame.words)) {
      this.#from = frame.from;
      this.#showWords(frame.words.filter(word => word !== line.slice(frame.from)));
    }
  }

  #showWords(words) {
    if (words.length === 0) {
      this.#closeList();
      return;
    }
    this.#words = words;
    this.#list.replaceChildren(...words.map((word, index) =>
      make("li", {id: `word-${index}`, role: "option", "aria-selected": "false", text: word})));
    this.#list.hidden = false;
    this.#list.style.setProperty("--column", Math.min(this.#from, 40));
    setAttribute(this.#input, "aria-expanded", true);
    this.#choose(-1);
  }

  #closeList() {
    clearTimeout(this.#timer);
    this.#asked += 1;
    this.#list.hidden = true;
    this.#chosen = -1;
    setAttribute(this.#input, "aria-expanded", false);
    this.#input.removeAttribute("aria-activedescendant");
  }

  #choose(index) {
    const last = this.#words.length - 1;
    this.#chosen = index < -1 ? last : index > last ? 0 : index;
    [...this.#list.children].forEach((item, each) => setAttribute(item, "aria-selected", each === this.#chosen));
    if (this.#chosen >= 0) {
      const item = this.#list.children[this.#chosen];
      item.scrollIntoView({block: "nearest"});
      setAttribute(this.#input, "aria-activedescendant", item.id);
    } else {
      this.#input.removeAttribute("aria-activedescendant");
    }
  }

  #take(index) {
    const caret = this.#input.selectionStart;
    const rest = this.#input.value.slice(caret).replace(/^\S*/, "");
    const before = `${this.#input.value.slice(0, this.#from)}${this.#words[index]} `;
    this.#input.value = before + rest.trimStart();
    this.#input.setSelectionRange(before.length, before.length);
    this.#closeList();
    this.#askSoon();
  }

  /** The form of the command whose first words stand in the line. */
  #showHint() {
    const typed = this.#input.value.trim().split(/\s+/)[0] ?? "";
    const found = typed === "" ? [] : this.#commands.filter(({pattern}) => pattern.split(" ")[0] === typed);
    const hint = byId("command-hint");
    if (found.length === 1) {
      hint.replaceChildren(make("code", {text: found[0].pattern}), `: ${found[0].summary}`);
    } else if (found.length > 1) {
      hint.replaceChildren(...found.slice(0, 8).flatMap(({pattern}) => [make("code", {text: pattern}), "  "]));
    } else {
      hint.replaceChildren("Tab completes, arrow keys go through the history, ", make("code", {text: "help"}), " lists the commands.");
    }
  }
}
