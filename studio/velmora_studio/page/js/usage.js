/** What instances use of the processor and the memory, asked for only while somebody looks. */

import { RequestError, get } from "./api.js";
import { setText } from "./dom.js";
import { currentView } from "./router.js";
import { store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {{cpu: number|null, memory: number, processes: number}} Use */

const pause = 2000; // milliseconds

/** @type {Record<string, Use>} */
let uses = {};

export function watchUsage() {
  setInterval(look, pause);
  setTimeout(look, 500);
}

async function look() {
  const isSeen = !document.hidden && currentView().kind === "overview" && !store.lost;
  if (!isSeen || !store.state?.running.length) return;
  try {
    uses = await get("/api/utility/usage");
  } catch (error) {
    if (!(error instanceof RequestError)) throw error;
    uses = {};
  }
  for (const node of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-use]"))) {
    showUse(node, node.dataset.server ?? "", /** @type {"cpu"} */ (node.dataset.use));
  }
}

/**
 * @param {HTMLElement} node
 * @param {string} id of the instance
 * @param {"cpu"|"memory"} kind
 */
export function showUse(node, id, kind) {
  node.dataset.server = id;
  const use = uses[id];
  setText(node, use ? (kind === "cpu" ? cpuText(use) : memoryText(use.memory)) : "–");
  node.title = use ? t("processCount", { count: use.processes }) : "";
}

/** @param {Use} use */
function cpuText({ cpu }) {
  return cpu === null ? "–" : `${cpu < 10 ? cpu.toFixed(1) : Math.round(cpu)} %`;
}

/** @param {number} bytes */
function memoryText(bytes) {
  const mebibytes = bytes / 1024 ** 2;
  return mebibytes < 1024 ? `${Math.round(mebibytes)} MB` : `${(mebibytes / 1024).toFixed(1)} GB`;
}
