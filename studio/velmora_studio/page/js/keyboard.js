/** The catalogue by keyboard: "/" searches, the arrows go through what is found, Escape clears. */

import { byId } from "./dom.js";

const places = ["place-default", "place-group"];

export function setUpKeyboard() {
  document.addEventListener("keydown", (event) => {
    if (event.key !== "/" || event.ctrlKey || event.metaKey || event.altKey || isTyping()) return;
    event.preventDefault();
    document.body.dataset.catalogue = "open";
    byId("search").focus();
    byId("search").select();
  });
  byId("search").addEventListener("keydown", (/** @type {KeyboardEvent} */ event) => {
    if (event.key === "Enter") targets()[0]?.click();
    if (event.key === "Escape" && byId("search").value) {
      byId("search").value = "";
      byId("search").dispatchEvent(new Event("input"));
      event.preventDefault();
    }
  });
  byId("catalogue").addEventListener("keydown", move);
}

/** @param {KeyboardEvent} event */
function move(event) {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  const focused = document.activeElement;
  if (!step || focused instanceof HTMLSelectElement) return;
  const all = targets();
  const entry = focused?.closest(".entry");
  const index = entry ? all.findIndex((each) => entry.contains(each)) + step : step > 0 ? 0 : -1;
  if (index >= all.length || (!entry && focused !== byId("search"))) return;
  event.preventDefault();
  (all[index] ?? byId("search")).focus();
}

/**
 * The main buttons of the entries that can be seen.
 *
 * @returns {HTMLElement[]}
 */
function targets() {
  return places.flatMap((place) => {
    const list = byId(place);
    return list.closest("[hidden]") ? [] : [...list.querySelectorAll(".entry-main")];
  });
}

function isTyping() {
  const focused = document.activeElement;
  const isField = focused?.matches("input, textarea, select, [contenteditable]");
  return isField || document.querySelector("dialog[open]") !== null;
}
