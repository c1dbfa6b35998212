/** The utilities that have been opened, whether they still run or not, and what they are called. */

import { groupTitle, titleOf } from "./naming.js";
import { entryOf, statusOfKey, store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").Entry} Entry */
/**
 * @typedef {Object} Opened A utility with a tab and a frame.
 * @property {string} key
 * @property {string} name
 * @property {string} group "" for none
 */

const keptName = "velmora.opened";

/** @type {Opened[]} */
export let opened = restore();

/** @param {Opened} tab */
export function open({ key, name, group }) {
  if (!opened.some((tab) => tab.key === key)) keep([...opened, { key, name, group }]);
}

/** @param {(tab: Opened) => boolean} stays */
export function closeBut(stays) {
  keep(opened.filter(stays));
}

/**
 * The instance if it runs, else the entry, to take title and icon from.
 *
 * @param {Opened} tab
 * @returns {Server|Entry|{utility_name: string, title: null, en_title: string, icon: null}}
 */
export function describing(tab) {
  const nothing = { utility_name: tab.name, title: null, en_title: "", icon: null };
  return statusOfKey(tab.key).server ?? entryOf(tab.name) ?? nothing;
}

/** @param {Opened} tab */
export function nameOf(tab) {
  const title = titleOf(describing(tab));
  const group = groupTitle(tab.group, store.state?.studio.groups ?? []);
  return tab.group ? t("inGroup", { title, group }) : title;
}

/** @param {Opened[]} tabs */
function keep(tabs) {
  opened = tabs;
  try {
    sessionStorage.setItem(keptName, JSON.stringify(opened));
  } catch {
    // It holds for this page alone.
  }
}

/** @returns {Opened[]} */
function restore() {
  try {
    return JSON.parse(sessionStorage.getItem(keptName) ?? "[]");
  } catch {
    return [];
  }
}
