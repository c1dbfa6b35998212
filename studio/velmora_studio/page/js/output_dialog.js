/** The dialog with the last lines that an instance wrote to standard error. */

import { RequestError, get } from "./api.js";
import { byId, setText } from "./dom.js";
import { titleOf } from "./naming.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Server} Server */

const maxCharacters = "4000";

/** @type {Server|null} */
let shown = null;

export function setUpOutputDialog() {
  byId("output-close").addEventListener("click", () => byId("output-dialog").close());
  byId("output-again").addEventListener("click", () => shown && read(shown));
}

/** @param {Server} server */
export function showOutput(server) {
  shown = server;
  setText(byId("output-heading"), t("lastLinesOf", { title: titleOf(server) }));
  setText(byId("output-hint"), "");
  setText(byId("output-text"), "");
  byId("output-dialog").showModal();
  byId("output-close").focus();
  read(server);
}

/** @param {Server} server */
async function read(server) {
  const query = { server_id: server.server_id, max_chars: maxCharacters };
  try {
    const { running, text } = await get("/api/utility/stderr", query);
    if (shown === server) display(text, running ? "linesRunning" : "linesEnded", server);
  } catch (error) {
    if (!(error instanceof RequestError)) throw error;
    setText(byId("output-hint"), error.message);
  }
}

/** @param {string} text @param {string} hint @param {Server} server */
function display(text, hint, server) {
  const node = byId("output-text");
  const unknown = server.adopted && !text;
  setText(byId("output-hint"), t(unknown ? "linesAdopted" : hint));
  setText(node, text || t("noLines"));
  node.hidden = unknown;
  node.scrollTop = node.scrollHeight;
}
