// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT

// Dark or light: what the system prefers, unless the reader chose. No module, so that it runs before the first paint.
"use strict";
{
  const root = document.documentElement;
  const choices = ["system", "light", "dark"];

  const read = () => {
    try {
      return localStorage.getItem("theme");
    } catch {
      return null; // storage is switched off: the choice lasts as long as the tab
    }
  };
  const apply = choice => {
    root.dataset.theme = choice;
    const name = document.getElementById("theme-name");
    if (name) {
      name.textContent = choice;
    }
    window.dispatchEvent(new Event("themechange"));
  };

  root.dataset.theme = choices.includes(read()) ? read() : "system";
  document.addEventListener("DOMContentLoaded", () => {
    apply(root.dataset.theme);
    document.getElementById("theme").addEventListener("click", () => {
      const next = choices[(choices.indexOf(root.dataset.theme) + 1) % choices.length];
      try {
        localStorage.setItem("theme", next);
      } catch {
        // see read()
      }
      apply(next);
    });
  });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => apply(root.dataset.theme));
}
