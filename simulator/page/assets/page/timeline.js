// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// The timeline: a list of any length of which only the visible rows exist.

import {byId, clamp, make, setAttribute, setText} from "./dom.js";
import {at, Events, extraOf, isFailure, kindGroups} from "./events.js";
import {count, seconds} from "./format.js";
import {wholeEvent} from "./whole-event.js";

/** Height of a row in CSS pixels; the style sheet's --row-height is the same. */
const rowHeight = 30;
/** Rows that exist above and below those that one sees. */
const spareRows = 8;

export class TimelineView {
  #events = new Events();
  #ask;
  #host = byId("rows");
  #inner = byId("rows-inner");
  /** @type {HTMLElement[]} a row of the document for each visible one, reused */
  #pool = [];
  #isFollowing = true;
  #isPaused = false;
  /** Rows that came while it is paused. */
  #waiting = [];
  #isDue = false;
  #activeN = -1;
  #pointedN = -1;
  #openN = -1;
  #detail = null;
  #detailHeight = 0;
  #services = new Set();

  /** @param {(n: number) => void} askWhole  asks for the whole event at that place */
  constructor(askWhole) {
    this.#ask = askWhole;
    this.#host.addEventListener("scroll", () => this.#onScroll(), {passive: true});
    this.#host.addEventListener("keydown", event => this.#onKey(event));
    this.#host.addEventListener("focus", () => this.#schedule());
    this.#host.addEventListener("blur", () => this.#schedule());
    this.#inner.addEventListener("click", event => this.#onClick(event));
    this.#inner.addEventListener("pointerover", event => this.#point(event.target.closest("[data-n]")));
    this.#inner.addEventListener("pointerleave", () => this.#point(null));
    new ResizeObserver(() => this.#schedule()).observe(this.#host);
    this.#buildFilter();
    byId("timeline-pause").addEventListener("click", () => this.#setPaused(!this.#isPaused));
  }

  /** The place of the row that the reader chose, or -1. */
  get activeN() {
    return this.#activeN;
  }

  /** The place of the first row that is kept, or -1. */
  get firstN() {
    return this.#events.rows[0]?.[at.n] ?? -1;
  }

  /** Appends rows, in order. */
  add(rows) {
    if (rows.length === 0) {
      return;
    }
    for (const row of rows) {
      this.#learnService(extraOf(row).service);
    }
    if (this.#isPaused) {
      this.#waiting.push(...rows);
    } else {
      this.#append(rows);
    }
    this.#schedule();
  }

  /** Forgets the rows below that place. */
  dropBelow(n) {
    this.#waiting = this.#waiting.filter(row => row[at.n] >= n);
    this.#keepPlace(this.#events.dropBelow(n));
    this.#closeIfGone();
    this.#schedule();
  }

  /** Shows the whole event that was asked for; null: it is no longer kept. */
  showWhole(n, whole) {
    if (n === this.#openN && this.#detail) {
      this.#detail.querySelector(".detail-cell").replaceChildren(whole
        ? wholeEvent(whole) : make("p", {"class": "muted", text: "The simulator no longer has this event"}));
      this.#measureDetail();
    }
  }

  #append(rows) {
    this.#keepPlace(this.#events.add(rows));
    this.#closeIfGone();
  }

  /** What one reads stays where it is when rows above it go. */
  #keepPlace(droppedRows) {
    if (droppedRows > 0 && !this.#isFollowing) {
      this.#host.scrollTop -= droppedRows * rowHeight;
    }
  }

  #setPaused(isPaused) {
    this.#isPaused = isPaused;
    setAttribute(byId("timeline-pause"), "aria-pressed", isPaused);
    setText(byId("timeline-pause"), isPaused ? "Continue" : "Pause");
    if (!isPaused) {
      const rows = this.#waiting;
      this.#waiting = [];
      this.#append(rows);
    }
    this.#schedule();
  }

  // ---- Places

  get #openIndex() {
    return this.#openN < 0 ? -1 : this.#events.indexOf(this.#openN);
  }

  #topOf(index, openIndex) {
    return index * rowHeight + (openIndex >= 0 && index > openIndex ? this.#detailHeight : 0);
  }

  #indexAt(offset, openIndex) {
    const index = Math.floor(offset / rowHeight);
    if (openIndex < 0 || index <= openIndex) {
      return index;
    }
    return Math.max(openIndex, Math.floor((offset - this.#detailHeight) / rowHeight));
  }

  #onScroll() {
    const {scrollTop, clientHeight, scrollHeight} = this.#host;
    this.#isFollowing = scrollTop + clientHeight >= scrollHeight - rowHeight;
    this.#schedule();
  }

  // ---- Drawing

  #schedule() {
    if (!this.#isDue) {
      this.#isDue = true;
      const later = document.hidden ? callback => setTimeout(callback, 250) : requestAnimationFrame;
      later(() => {
        this.#isDue = false;
        this.#draw();
      });
    }
  }

  #draw() {
    const {matches, rows} = this.#events;
    const openIndex = this.#openIndex;
    const height = this.#topOf(matches.length, openIndex);
    this.#inner.style.height = `${height}px`;
    if (this.#isFollowing && !this.#isPaused) {
      this.#host.scrollTop = height;
    }
    const {scrollTop, clientHeight} = this.#host;
    const first = Math.max(0, this.#indexAt(scrollTop, openIndex) - spareRows);
    const last = Math.min(matches.length, this.#indexAt(scrollTop + clientHeight, openIndex) + 1 + spareRows);
    this.#fitPool(last - first);
    const size = this.#pool.length;
    const pointed = this.#pointedN >= 0 ? this.#pointedN : document.activeElement === this.#host ? this.#activeN : -1;
    const cause = pointed < 0 ? -1 : this.#events.causeOf(pointed);
    for (let index = first; index < last; index += 1) {
      this.#drawRow(this.#pool[index % size], matches[index], index, openIndex, cause);
    }
    for (let spare = last; spare < first + size; spare += 1) {
      this.#pool[spare % size].hidden = true;
    }
    if (this.#detail) {
      this.#detail.hidden = openIndex < 0;
      this.#detail.style.transform = `translateY(${(openIndex + 1) * rowHeight}px)`;
      setAttribute(this.#detail, "aria-rowindex", openIndex + 2);
    }
    const activeIndex = this.#activeN < 0 ? -1 : this.#events.indexOf(this.#activeN);
    const isActiveDrawn = activeIndex >= first && activeIndex < last;
    setAttribute(this.#host, "aria-activedescendant", isActiveDrawn ? this.#pool[activeIndex % size].id : "");
    setAttribute(this.#host, "aria-rowcount", matches.length);
    const waiting = this.#waiting.length > 0 ? `, ${count(this.#waiting.length)} waiting` : "";
    const shown = matches.length === rows.length ? "" : `${count(matches.length)} of `;
    setText(byId("timeline-count"), `${shown}${count(rows.length)} events${waiting}`);
  }

  #fitPool(needed) {
    while (this.#pool.length < needed) {
      const row = make("div", {"class": "row", role: "row", id: `row-${this.#pool.length}`, "aria-level": 1, hidden: true},
        make("span", {"class": "row-time number", role: "gridcell"}),
        make("span", {"class": "row-kind", role: "gridcell"}),
        make("span", {"class": "row-text", role: "gridcell"}));
      this.#pool.push(row);
      this.#inner.append(row);
    }
  }

  #drawRow(element, row, index, openIndex, cause) {
    const n = row[at.n];
    if (element.dataset.n !== String(n)) {
      const extra = extraOf(row);
      const kind = row[at.kind];
      element.dataset.n = n;
      element.dataset.kind = kind;
      element.dataset.tone = isFailure(row) ? "bad" : kind === "log" ? `log-${extra.level}` : "";
      const [time, label, text] = element.children;
      time.textContent = seconds(row[at.msec]);
      label.textContent = kind === "log" ? `log ${extra.level ?? ""}` : kind;
      text.textContent = row[at.text];
    }
    element.hidden = false;
    element.style.transform = `translateY(${this.#topOf(index, openIndex)}px)`;
    setAttribute(element, "aria-rowindex", index + 1);
    setAttribute(element, "aria-expanded", index === openIndex);
    element.classList.toggle("is-active", n === this.#activeN);
    element.classList.toggle("is-caused", cause >= 0 && (n === cause || extraOf(row).cause === cause));
  }

  // ---- Choosing and opening

  #point(element) {
    const n = element ? Number(element.dataset.n) : -1;
    if (n !== this.#pointedN) {
      this.#pointedN = n;
      this.#schedule();
    }
  }

  #onClick(event) {
    const element = event.target.closest("[data-n]");
    if (element && !getSelection().toString()) {
      this.#activeN = Number(element.dataset.n);
      this.#toggle(this.#activeN);
    }
  }

  #onKey(event) {
    const {matches} = this.#events;
    if (event.ctrlKey || event.altKey || event.metaKey || event.target !== this.#host || matches.length === 0) {
      return;
    }
    const page = Math.max(1, Math.floor(this.#host.clientHeight / rowHeight) - 1);
    const current = this.#events.indexOf(this.#activeN);
    const from = current >= 0 ? current : this.#isFollowing ? matches.length : this.#indexAt(this.#host.scrollTop, -1);
    const targets = {
      ArrowUp: from - 1, ArrowDown: from + 1, PageUp: from - page, PageDown: from + page, Home: 0, End: matches.length - 1,
    };
    if (event.key in targets) {
      event.preventDefault();
      this.#activate(clamp(targets[event.key], 0, matches.length - 1));
    } else if ((event.key === "Enter" || event.key === " ") && current >= 0) {
      event.preventDefault();
      this.#toggle(this.#activeN);
    } else if (event.key === "Escape" && this.#openN >= 0) {
      event.preventDefault();
      this.#close();
    }
  }

  #activate(index) {
    this.#activeN = this.#events.matches[index][at.n];
    const top = this.#topOf(index, this.#openIndex);
    const {scrollTop, clientHeight} = this.#host;
    this.#isFollowing = index === this.#events.matches.length - 1;
    if (top < scrollTop) {
      this.#host.scrollTop = top;
    } else if (top + rowHeight > scrollTop + clientHeight) {
      this.#host.scrollTop = top + rowHeight - clientHeight;
    }
    this.#schedule();
  }

  #toggle(n) {
    const isOpen = n === this.#openN;
    this.#close();
    if (!isOpen) {
      this.#openN = n;
      this.#isFollowing = false;
      this.#detail = make("div", {"class": "detail", role: "row", "aria-level": 2},
        make("div", {role: "gridcell"}, make("div", {"class": "detail-cell", role: "region", tabindex: 0, "aria-label": "The whole event"},
          make("p", {"class": "muted", text: "Asking for the whole event"}))));
      this.#inner.append(this.#detail);
      this.#measureDetail();
      this.#ask(n);
    }
  }

  #close() {
    if (this.#detail?.contains(document.activeElement)) {
      this.#host.focus({preventScroll: true});
    }
    this.#detail?.remove();
    this.#detail = null;
    this.#detailHeight = 0;
    this.#openN = -1;
    this.#schedule();
  }

  #closeIfGone() {
    if (this.#openN >= 0 && !this.#events.find(this.#openN)) {
      this.#close();
    }
  }

  #measureDetail() {
    this.#detailHeight = this.#detail.offsetHeight;
    const bottom = this.#topOf(this.#openIndex, -1) + rowHeight + this.#detailHeight;
    this.#inner.style.height = `${this.#topOf(this.#events.matches.length, this.#openIndex)}px`;
    if (bottom > this.#host.scrollTop + this.#host.clientHeight) {
      this.#host.scrollTop = bottom - this.#host.clientHeight;
    }
    this.#isFollowing = false;
    this.#schedule();
  }

  // ---- Filter

  #buildFilter() {
    const chips = kindGroups.map(({label}, index) => make("button", {
      type: "button", "class": "filter-chip", "aria-pressed": "true", text: label, "data-group": index,
      onclick: event => {
        const element = event.currentTarget;
        setAttribute(element, "aria-pressed", element.getAttribute("aria-pressed") !== "true");
        this.#applyFilter();
      },
    }));
    byId("filter-kinds").append(...chips);
    for (const name of ["filter-level", "filter-service", "filter-text"]) {
      byId(name).addEventListener("input", () => this.#applyFilter());
    }
    byId("filter-reset").addEventListener("click", () => {
      chips.forEach(chip => setAttribute(chip, "aria-pressed", true));
      byId("filter-level").value = "9";
      byId("filter-service").value = "";
      byId("filter-text").value = "";
      this.#applyFilter();
    });
  }

  #applyFilter() {
    const hidden = [...byId("filter-kinds").children].filter(chip => chip.getAttribute("aria-pressed") !== "true");
    this.#events.setFilter({
      groups: new Set(hidden.map(chip => Number(chip.dataset.group))),
      level: Number(byId("filter-level").value),
      service: byId("filter-service").value,
      text: byId("filter-text").value.trim().toLowerCase(),
    });
    const parts = [
      hidden.length > 0 ? `without ${hidden.map(chip => chip.textContent.toLowerCase()).join(", ")}` : "",
      this.#events.filter.level < 9 ? `log up to ${this.#events.filter.level}` : "",
      this.#events.filter.service,
      this.#events.filter.text ? `"${this.#events.filter.text}"` : "",
    ];
    setText(byId("filter-summary"), parts.filter(Boolean).join(" · "));
    this.#schedule();
  }

  #learnService(service) {
    if (service && !this.#services.has(service)) {
      this.#services.add(service);
      const select = byId("filter-service");
      const chosen = select.value;
      select.replaceChildren(make("option", {value: "", text: "all"}),
        ...[...this.#services].sort().map(name => make("option", {value: name, text: name})));
      select.value = chosen;
    }
  }
}
