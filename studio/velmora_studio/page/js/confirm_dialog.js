/** Asks before something is stopped that the user may not have meant. */

import { byId, setText } from "./dom.js";
import { titleOf } from "./naming.js";
import { t } from "./texts.js";

/**
 * @param {import("./types.js").Server} server
 * @returns {Promise<boolean>}
 */
export function confirmStop(server) {
  const title = titleOf(server);
  return ask(t("stopAsk", { title }), t("stopAskText"), t("stop"));
}

/**
 * @param {number} count
 * @returns {Promise<boolean>}
 */
export function confirmStopAll(count) {
  return ask(t("stopAllAsk"), t("stopAllText", { count }), t("stopAll"));
}

/**
 * @param {string} heading
 * @param {string} text
 * @param {string} yes
 * @returns {Promise<boolean>}
 */
function ask(heading, text, yes) {
  const dialog = byId("confirm-dialog");
  setText(byId("confirm-heading"), heading);
  setText(byId("confirm-text"), text);
  setText(byId("confirm-yes"), yes);
  setText(byId("confirm-no"), t("cancel"));
  dialog.returnValue = "";
  dialog.showModal();
  byId("confirm-no").focus();
  return new Promise((resolve) => {
    dialog.addEventListener("close", () => resolve(dialog.returnValue === "yes"), { once: true });
  });
}
