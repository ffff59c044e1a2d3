// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The device's state as the simulator last described it.

/** Members that a frame changes entry by entry; all others are replaced whole. */
const mergedMembers = new Set(["services", "lines", "buttons"]);

export class State {
  /** @type {Object<string, any>} */
  values = {};
  #watchers = [];
  #isDue = false;
  #changed = new Set();
  #receivedAt = 0;

  /** The present time on the timeline's clock, in ms. */
  get now() {
    return (this.values.now ?? 0) + (performance.now() - this.#receivedAt);
  }

  /**
   * Calls back, once a frame of the screen, after one of these members changed.
   * @param {string[]} members
   * @param {(values: object) => void} show
   */
  watch(members, show) {
    this.#watchers.push({members, show});
  }

  /** Takes a frame's changes over. */
  merge(changes) {
    for (const [member, value] of Object.entries(changes)) {
      const isMerged = mergedMembers.has(member) && this.values[member];
      this.values[member] = isMerged ? {...this.values[member], ...value} : value;
      this.#changed.add(member);
    }
    if (changes.now !== undefined) {
      this.#receivedAt = performance.now();
    }
    this.#schedule();
  }

  /** Forgets everything: another session begins. */
  reset() {
    this.values = {};
  }

  #schedule() {
    if (this.#isDue) {
      return;
    }
    this.#isDue = true;
    // A hidden tab draws no frames, but it has to keep up.
    const later = document.hidden ? callback => setTimeout(callback, 200) : requestAnimationFrame;
    later(() => {
      this.#isDue = false;
      const changed = this.#changed;
      this.#changed = new Set();
      for (const {members, show} of this.#watchers) {
        if (members.some(member => changed.has(member))) {
          show(this.values);
        }
      }
    });
  }
}
