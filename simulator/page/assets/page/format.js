// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// Numbers and times as the page shows them.

/** 83.456 s on the timeline's clock as the timeline prints it. */
export function seconds(msec) {
  return (msec / 1000).toFixed(3);
}

/** A duration for people: "0.4 s", "12 s", "3:07", "2:00:15". */
export function duration(msec) {
  const total = Math.max(0, msec) / 1000;
  if (total < 10) {
    return `${total.toFixed(1)} s`;
  }
  if (total < 60) {
    return `${Math.floor(total)} s`;
  }
  return clock(total);
}

/** Seconds as m:ss or h:mm:ss. */
export function clock(totalSeconds) {
  const whole = Math.floor(Math.max(0, totalSeconds));
  const parts = [Math.floor(whole / 3600), Math.floor(whole / 60) % 60, whole % 60];
  const text = parts.map(part => String(part).padStart(2, "0"));
  return parts[0] > 0 ? `${parts[0]}:${text[1]}:${text[2]}` : `${parts[1]}:${text[2]}`;
}

/** 12345 as "12,345". */
export function count(number) {
  return number.toLocaleString("en-GB");
}

/** A number without needless digits. */
export function number(value) {
  return value === null || value === undefined ? "–" : String(Math.round(value * 100) / 100);
}

/** A text as one word of the command language. */
export function quote(text) {
  if (/^[^\s"#\\]+$/.test(text)) {
    return text;
  }
  const escaped = text.replace(/[\\"]/g, "\\$&").replace(/\n/g, "\\n").replace(/\t/g, "\\t");
  return `"${escaped}"`;
}
