# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
"""What keeps people from using the page without a mouse or without seeing it, as the browser itself computes it."""

from selenium.webdriver.common.keys import Keys

# What a screen reader has to be able to name.
NAMED_ROLES = {"button", "link", "textbox", "searchbox", "combobox", "listbox", "option", "slider", "switch", "radio",
               "radiogroup", "spinbutton", "meter", "image", "img", "treegrid", "grid", "table", "list", "navigation",
               "group", "region"}
# These may go without one: what they are made of says it all.
MAY_BE_NAMELESS = {"list", "table", "region", "group", "img", "image"}

_CONTRAST = r"""
const parse = text => {
  const numbers = text.match(/[\d.]+/g).map(Number);
  return text.startsWith("color(srgb") ? [...numbers.slice(0, 3).map(each => each * 255), numbers[3] ?? 1]
    : [numbers[0], numbers[1], numbers[2], numbers[3] ?? 1];
};
const over = ([r, g, b, a], below) => [r, g, b].map((each, index) => each * a + below[index] * (1 - a));
const light = colour => {
  const [r, g, b] = colour.map(each => each / 255).map(each => each <= 0.04045 ? each / 12.92 : ((each + 0.055) / 1.055) ** 2.4);
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const groundOf = element => {
  const layers = [];
  for (let each = element; each; each = each.parentElement) {
    layers.push(parse(getComputedStyle(each).backgroundColor));
  }
  return layers.reverse().reduce((below, layer) => over(layer, below), [255, 255, 255]);
};
const faults = [];
const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (texts.nextNode()) {
  const element = texts.currentNode.parentElement;
  const style = getComputedStyle(element);
  const isShown = element.checkVisibility({visibilityProperty: true}) && !element.closest(".unseen, .skip, option");
  if (!isShown || texts.currentNode.data.trim() === "" || element.closest(":disabled")) {
    continue;
  }
  const ground = groundOf(element);
  const ink = over(parse(style.color), ground);
  const [high, low] = [light(ink), light(ground)].sort((a, b) => b - a);
  const contrast = (high + 0.05) / (low + 0.05);
  const size = parseFloat(style.fontSize);
  const isLarge = size >= 24 || (size >= 18.66 && Number(style.fontWeight) >= 700);
  if (contrast < (isLarge ? 3 : 4.5)) {
    faults.push(`contrast ${contrast.toFixed(2)} of "${texts.currentNode.data.trim().slice(0, 40)}" in <${element.tagName.toLowerCase()} class="${element.className}">`);
  }
}
return faults;
"""

_REFERENCES = r"""
const faults = [];
const seen = new Set();
for (const element of document.querySelectorAll("[id]")) {
  if (seen.has(element.id)) {
    faults.push(`the id "${element.id}" is there twice`);
  }
  seen.add(element.id);
}
for (const name of ["aria-labelledby", "aria-describedby", "aria-controls", "aria-activedescendant", "for"]) {
  for (const element of document.querySelectorAll(`[${name}]`)) {
    for (const id of element.getAttribute(name).split(/\s+/).filter(Boolean)) {
      if (!document.getElementById(id)) {
        faults.push(`${name} of <${element.tagName.toLowerCase()} id="${element.id}"> names "${id}", which is not there`);
      }
    }
  }
}
let level = 0;
for (const heading of document.querySelectorAll("h1, h2, h3, h4")) {
  const its = Number(heading.tagName[1]);
  if (its > level + 1) {
    faults.push(`the heading "${heading.textContent}" of level ${its} follows one of level ${level}`);
  }
  level = its;
}
if (document.querySelectorAll("main").length !== 1 || document.querySelectorAll("h1").length !== 1) {
  faults.push("expected one <main> and one <h1>");
}
if (document.documentElement.scrollWidth > window.innerWidth) {
  faults.push(`the page is ${document.documentElement.scrollWidth} wide, the window ${window.innerWidth}`);
}
return faults;
"""

# What takes part in the order of Tab; of a group of radio buttons, one.
_REACHABLE = r"""
return [...document.querySelectorAll("a[href], button, input, select, textarea, summary, [tabindex='0']")]
  .filter(each => each.tabIndex >= 0 && !each.disabled && each.checkVisibility({visibilityProperty: true}))
  .filter(each => each.type !== "radio" || each.checked)
  .map((each, index) => (each.dataset.reach = index));
"""


def _names(browser):
    """Roles and names as the browser gives them to a screen reader."""
    tree = browser.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
    faults = []
    for node in tree:
        role = node.get("role", {}).get("value")
        name = node.get("name", {}).get("value", "").strip()
        is_focusable = any(each["name"] == "focusable" and each["value"].get("value") for each in node.get("properties", []))
        if node["ignored"] or name or role == "RootWebArea":
            continue
        if (role in NAMED_ROLES and role not in MAY_BE_NAMELESS) or is_focusable:
            described = browser.driver.execute_cdp_cmd("DOM.describeNode", {"backendNodeId": node["backendDOMNodeId"]})["node"]
            attributes = described.get("attributes", [])
            faults.append(f"no name: {role} <{described['localName']} {dict(zip(attributes[::2], attributes[1::2]))}>")
    return faults


def _tab_order(browser):
    """Tab reaches all that one can use, and one sees where the focus is."""
    reachable = set(browser.eval(_REACHABLE))
    browser.eval("document.activeElement.blur(); window.scrollTo(0, 0); getSelection().removeAllRanges()")
    faults, reached = [], set()
    browser.eval("document.body.tabIndex = -1; document.body.focus(); document.body.removeAttribute('tabindex')")
    for _ in range(len(reachable) + 5):
        browser.actions().send_keys(Keys.TAB).perform()
        at, outline, label = browser.eval("""
            const focused = document.activeElement;
            const ring = getComputedStyle(focused.closest(".editor") ?? focused);
            return [focused.dataset.reach, ring.outlineStyle !== "none" && parseFloat(ring.outlineWidth) >= 2, focused.outerHTML.slice(0, 90)]""")
        if at is not None and int(at) not in reached:
            reached.add(int(at))
            if not outline:
                faults.append(f"the focus cannot be seen on {label}")
    for missing in sorted(reachable - reached):
        html = browser.eval("return document.querySelector(`[data-reach='${arguments[0]}']`).outerHTML", missing)
        faults.append(f"Tab does not reach {html[:120]}")
    return faults


def faults(browser, with_tab_order=True):
    """All that is wrong, as texts."""
    browser.driver.execute_cdp_cmd("Accessibility.enable", {})
    browser.driver.execute_cdp_cmd("DOM.enable", {})
    browser.driver.execute_cdp_cmd("DOM.getDocument", {"depth": 0})
    found = browser.eval(_CONTRAST) + browser.eval(_REFERENCES) + _names(browser)
    if with_tab_order:
        found += _tab_order(browser)
    browser.driver.execute_cdp_cmd("Accessibility.disable", {})
    return found
