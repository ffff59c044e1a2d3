// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The connection to the simulator: one WebSocket, opened again by itself whenever it ends.

const firstDelayMs = 250;
const longestDelayMs = 5000;

/**
 * Frames in and out. Questions carry an id, and their answers come back as promises.
 */
export class Stream {
  #url;
  #onFrame;
  #onChange;
  #socket = null;
  #delayMs = firstDelayMs;
  #timer = 0;
  #nextId = 1;
  #questions = new Map();

  /**
   * @param {string} url
   * @param {(frame: object) => void} onFrame     every frame that answers no question
   * @param {(isOpen: boolean) => void} onChange  it opened, or ended and will be tried again
   */
  constructor(url, onFrame, onChange) {
    this.#url = url;
    this.#onFrame = onFrame;
    this.#onChange = onChange;
    this.#open();
    const now = () => this.#retryNow();
    addEventListener("online", now);
    document.addEventListener("visibilitychange", () => document.hidden || now());
  }

  get isOpen() {
    return this.#socket !== null && this.#socket.readyState === WebSocket.OPEN;
  }

  /** Sends a frame that has no answer; nothing happens if the connection is down. */
  send(frame) {
    if (this.isOpen) {
      this.#socket.send(JSON.stringify(frame));
    }
  }

  /**
   * Sends a question.
   * @returns {Promise<object>} the frame that answers it; {ok: false, text} if the connection is down or ends
   */
  ask(question) {
    if (!this.isOpen) {
      return Promise.resolve({ok: false, text: "not connected to the simulator"});
    }
    const id = this.#nextId++;
    return new Promise(resolve => {
      this.#questions.set(id, resolve);
      this.send({id, ...question});
    });
  }

  #open() {
    clearTimeout(this.#timer);
    this.#timer = 0;
    const socket = new WebSocket(this.#url);
    this.#socket = socket;
    socket.addEventListener("open", () => {
      this.#delayMs = firstDelayMs;
      this.#onChange(true);
    });
    socket.addEventListener("message", event => this.#receive(JSON.parse(event.data)));
    socket.addEventListener("close", () => this.#onClosed());
  }

  #onClosed() {
    for (const resolve of this.#questions.values()) {
      resolve({ok: false, text: "the connection ended before the answer"});
    }
    this.#questions.clear();
    // A few per cent of chance, so that many tabs do not come back in the same moment.
    const delayMs = this.#delayMs * (0.9 + 0.2 * Math.random());
    this.#delayMs = Math.min(longestDelayMs, this.#delayMs * 2);
    this.#timer = setTimeout(() => this.#open(), delayMs);
    this.#onChange(false);
  }

  #retryNow() {
    if (this.#timer !== 0) {
      this.#delayMs = firstDelayMs;
      this.#open();
    }
  }

  #receive(frame) {
    const id = frame.answer ?? frame.completions ?? frame.findings;
    const resolve = this.#questions.get(id);
    if (resolve) {
      this.#questions.delete(id);
      resolve(frame);
    } else {
      this.#onFrame(frame);
    }
  }
}
