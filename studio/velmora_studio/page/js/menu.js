/** The menu behind a button: what can be done besides. One for the whole page. */

import { byId, h, setAttribute } from "./dom.js";
import { drawing } from "./icons.js";

/**
 * @typedef {Object} Item
 * @property {string} action for style and tests, as `data-action`
 * @property {string} text
 * @property {Parameters<typeof drawing>[0]} icon
 * @property {() => void} [run]
 * @property {string|null} [href]
 */

/** @type {HTMLElement|null} */
let opener = null;

export function setUpMenu() {
  const menu = byId("menu");
  menu.addEventListener("toggle", (/** @type {any} */ event) => {
    if (opener) setAttribute(opener, "aria-expanded", String(event.newState === "open"));
  });
  menu.addEventListener("keydown", (/** @type {KeyboardEvent} */ event) => {
    const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    if (!step) return;
    const items = [...menu.children];
    const index = items.indexOf(document.activeElement) + step;
    items[(index + items.length) % items.length].focus();
    event.preventDefault();
  });
}

/**
 * @param {HTMLElement} button
 * @param {Item[]} items
 */
export function openMenu(button, items) {
  const menu = byId("menu");
  opener = button;
  menu.replaceChildren(...items.map((item) => createItem(item, menu)));
  menu.showPopover();
  const { left, right, bottom, top } = button.getBoundingClientRect();
  const { offsetWidth: width, offsetHeight: height } = menu;
  const below = bottom + height + 8 < innerHeight;
  menu.style.left = `${Math.max(8, Math.min(right - width, innerWidth - width - 8, Math.max(left, 8)))}px`;
  menu.style.top = `${below ? bottom + 4 : Math.max(8, top - height - 4)}px`;
  menu.firstElementChild?.focus();
}

/** @param {Item} item @param {any} menu */
function createItem({ action, text, icon, run, href }, menu) {
  const properties = { className: "menu-item", "data-action": action };
  const node = href
    ? h("a", { ...properties, href, target: "_blank", rel: "noopener" })
    : h("button", { ...properties, type: "button" });
  node.append(drawing(icon), text);
  node.addEventListener("click", () => {
    menu.hidePopover();
    run?.();
  });
  return node;
}
