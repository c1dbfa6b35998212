/** What of the catalogue is shown: the search, favourites and folded sections; kept in the browser. */

import { byId, setAttribute, setOptions } from "./dom.js";
import { aboutOf, titleOf } from "./naming.js";
import { changed, statusOf } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Entry} Entry */

const favouritesName = "velmora.favourites";
const foldedName = "velmora.folded";

const favourites = new Set(read(favouritesName));
const folded = new Set(read(foldedName));
const wanted = { words: /** @type {string[]} */ ([]), running: false, plugin: "" };

export function setUpFilter() {
  const search = byId("search");
  search.addEventListener("input", () => {
    wanted.words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
    changed();
  });
  byId("filter-running").addEventListener("click", () => {
    wanted.running = !wanted.running;
    setAttribute(byId("filter-running"), "aria-pressed", String(wanted.running));
    changed();
  });
  byId("filter-plugin").addEventListener("change", () => {
    wanted.plugin = byId("filter-plugin").value;
    changed();
  });
  for (const button of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-fold]"))) {
    button.addEventListener("click", () => toggle(folded, foldedName, button.dataset.fold ?? ""));
  }
}

/** @param {Entry[]} entries all that there are */
export function renderFilter(entries) {
  const names = [...new Set(entries.map((entry) => entry.plugin_name ?? ""))].filter(Boolean).sort();
  const options = names.map((name) => ({ value: name, text: name }));
  if (!names.includes(wanted.plugin)) wanted.plugin = "";
  setOptions(byId("filter-plugin"), [{ value: "", text: t("allPlugins") }, ...options], wanted.plugin);
  for (const button of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-fold]"))) {
    // A search looks into folded sections as well.
    const isFolded = folded.has(button.dataset.fold ?? "") && !isFiltered();
    setAttribute(button, "aria-expanded", String(!isFolded));
    byId(button.getAttribute("aria-controls") ?? "").hidden = isFolded;
  }
}

export function isFiltered() {
  return wanted.words.length > 0 || wanted.running || wanted.plugin !== "";
}

/** @param {Entry} entry */
function isWanted(entry) {
  if (wanted.plugin && entry.plugin_name !== wanted.plugin) return false;
  if (wanted.running && statusOf(entry).kind === "stopped") return false;
  const text = [titleOf(entry), aboutOf(entry), ...fieldsOf(entry)].join("\n").toLowerCase();
  return wanted.words.every((word) => text.includes(word));
}

/** @param {Entry} entry */
function fieldsOf({ utility_name, title, en_title, description, en_description, plugin_name }) {
  return [utility_name, title, en_title, description, en_description, plugin_name];
}

/**
 * Those that are wanted, favourites first.
 *
 * @param {Entry[]} entries
 */
export function chosenOf(entries) {
  const chosen = entries.filter(isWanted);
  return [...chosen.filter(isFavourite), ...chosen.filter((entry) => !isFavourite(entry))];
}

/** @param {Entry} entry */
export function isFavourite(entry) {
  return favourites.has(entry.utility_name);
}

/** @param {Entry} entry */
export function toggleFavourite(entry) {
  toggle(favourites, favouritesName, entry.utility_name);
}

/** @param {Set<string>} set @param {string} name @param {string} item */
function toggle(set, name, item) {
  if (!set.delete(item)) set.add(item);
  try {
    localStorage.setItem(name, JSON.stringify([...set]));
  } catch {
    // It holds for this page alone.
  }
  changed();
}

/** @param {string} name @returns {string[]} */
function read(name) {
  try {
    return JSON.parse(localStorage.getItem(name) ?? "[]");
  } catch {
    return [];
  }
}
