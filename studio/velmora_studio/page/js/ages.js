/** How long something has been running, ticking. */

import { h, setAttribute, setText } from "./dom.js";
import { t } from "./texts.js";

/** An element for an age; `setAge` fills it. */
export function createAge() {
  return h("time", { className: "age" });
}

/**
 * @param {HTMLTimeElement} node
 * @param {number|null|undefined} since seconds since the Unix epoch
 */
export function setAge(node, since) {
  setAttribute(node, "data-since", since ? String(since) : null);
  tick(node);
}

/** Keeps all ages of the page ticking. */
export function tickAges() {
  setInterval(() => {
    for (const node of document.querySelectorAll("time.age")) tick(/** @type {HTMLTimeElement} */ (node));
  }, 1000);
}

/** @param {HTMLTimeElement} node */
function tick(node) {
  const since = Number(node.dataset.since);
  if (!since) return setText(node, "");
  const seconds = Math.max(0, Math.floor(Date.now() / 1000 - since));
  setAttribute(node, "datetime", `PT${seconds}S`);
  setText(node, textOf(seconds));
}

/** @param {number} seconds */
function textOf(seconds) {
  const s = seconds % 60;
  const m = Math.floor(seconds / 60) % 60;
  const h = Math.floor(seconds / 3600) % 24;
  const d = Math.floor(seconds / 86400);
  if (d) return t("days", { d, h });
  if (h) return t("hours", { h, m });
  return m ? t("minutes", { m, s }) : t("seconds", { s });
}
