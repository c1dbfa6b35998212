/** Buttons and links that several parts of the page share. */

import { h, setAttribute, setText } from "./dom.js";
import { drawing } from "./icons.js";
import { t } from "./texts.js";

/**
 * A button or link whose text changes while it stays the same element, so that it keeps the focus.
 *
 * @typedef {Object} Control
 * @property {any} node
 * @property {(action: string, title: string) => void} label an action of the texts, and on what
 */

/**
 * @param {string} className
 * @param {string} action for style and tests, as `data-action`
 * @param {(event: MouseEvent) => void} onclick
 * @param {Parameters<typeof drawing>[0]} [icon]
 * @returns {Control}
 */
export function createButton(className, action, onclick, icon) {
  const text = h("span", { className: "label" });
  const node = h("button", { type: "button", className, "data-action": action }, text);
  // A button that is busy stays in the focus order, so it must refuse clicks itself.
  node.addEventListener("click", (event) => {
    if (node.getAttribute("aria-disabled") !== "true") onclick(event);
  });
  return finish(node, text, icon);
}

/**
 * A link to a utility's own tab; its `href` is set by whoever knows the instance.
 *
 * @returns {Control}
 */
export function createTabLink() {
  const text = h("span", { className: "label" });
  const node = h("a", {
    className: "button icon quiet",
    target: "_blank",
    rel: "noopener",
    "data-action": "tab",
  });
  node.append(text);
  return finish(node, text, "tab");
}

/**
 * @param {HTMLElement} node
 * @param {HTMLElement} text
 * @param {Parameters<typeof drawing>[0]} [icon]
 */
function finish(node, text, icon) {
  if (icon) node.prepend(drawing(icon));
  return {
    node,
    /** @param {string} action @param {string} title */
    label(action, title) {
      const own = t(action);
      setText(text, own);
      const whole = t("actionOn", { action: own, title });
      setAttribute(node, "aria-label", whole);
      if (node.classList.contains("icon")) setAttribute(node, "title", whole);
    },
  };
}

/**
 * @param {HTMLElement} node
 * @param {boolean} busy
 */
export function setBusy(node, busy) {
  setAttribute(node, "aria-disabled", busy ? "true" : null);
}
