/** The create-experiment menu: a button that unfolds a panel of entries. */

import { byId } from "./dom.js";
import { drawing } from "./icons.js";

export function setUpCreateMenu() {
  const button = byId("create-button");
  const panel = byId("create-panel");
  button.prepend(drawing("plus"));

  /** @param {boolean} open */
  function set(open) {
    panel.hidden = !open;
    button.setAttribute("aria-expanded", String(open));
  }

  /** @param {any} node of the panel, or of what one of its entries has opened */
  const belongs = (node) => panel.parentElement.contains(node) || node.closest?.("#menu, dialog");

  button.addEventListener("click", () => set(panel.hidden));
  document.addEventListener("keydown", (event) => {
    if (event.key !== "Escape" || panel.hidden || document.querySelector("dialog[open], #menu:popover-open")) return;
    set(false);
    button.focus();
  });
  document.addEventListener("pointerdown", (event) => {
    if (!panel.hidden && !belongs(event.target)) set(false);
  });
  // The focus that moves on with Tab, or into a utility's frame, leaves the menu behind as well.
  panel.parentElement.addEventListener("focusout", (/** @type {FocusEvent} */ event) => {
    const next = /** @type {Node|null} */ (event.relatedTarget);
    if (next && !belongs(next)) set(false);
  });
}
