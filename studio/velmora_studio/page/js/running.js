/** The table of what runs. */

import { stop } from "./actions.js";
import { createAge, setAge } from "./ages.js";
import { createButton, createTabLink, setBusy } from "./controls.js";
import { byId, h, setAttribute, setText, show, sync } from "./dom.js";
import { addressOf, titleOf } from "./naming.js";
import { createTile } from "./icons.js";
import { showOutput } from "./output_dialog.js";
import { store } from "./store.js";
import { t } from "./texts.js";
import { openUtility } from "./workspace.js";

/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").State} State */

/** @param {State} state */
export function renderRunning({ running }) {
  const rows = byId("running-rows");
  const hadFocus = rows.contains(document.activeElement);
  sync(rows, running, (server) => server.server_id, createRow);
  // The row that had the focus has gone, so the focus goes to the heading above.
  if (hadFocus && !rows.contains(document.activeElement)) byId("running-heading").focus();
  show(byId("running"), running.length > 0, byId("running-heading"));
  show(byId("stop-all"), running.length > 0, byId("running-heading"));
  byId("running-empty").hidden = running.length > 0;
}

/** Fills what stands in the table's place while nothing runs; to be called for each language. */
export function renderEmptyRunning() {
  byId("running-empty").replaceChildren(
    h("p", { className: "blank-title" }, t("emptyRunning")),
    h("p", {}, t("emptyRunningHint")),
  );
}

/** @returns {import("./types.js").View<Server>} */
function createRow() {
  let current = /** @type {Server} */ (/** @type {unknown} */ (null));
  const tile = createTile();
  const title = h("span", { className: "row-title", "data-part": "title" });
  const origin = h("span", { className: "badge", "data-part": "origin" });
  const lasting = h("span", { className: "badge", "data-part": "persistent" });
  const age = createAge();
  const open = createButton("button", "open", () => openUtility(current));
  const tab = createTabLink();
  const lines = createButton("button icon quiet", "lines", () => showOutput(current), "lines");
  const end = createButton("button icon quiet", "stop", () => stop(current), "stop");
  const badges = h("span", { className: "badges" }, origin, lasting);
  const cells = {
    utility: cell("utility", tile.node, h("span", { className: "row-text" }, title, badges)),
    group: cell("group"),
    port: cell("port"),
    process: cell("process"),
    age: cell("age", age),
    actions: cell("actions", open.node, tab.node, lines.node, end.node),
  };
  const node = h("tr", { role: "row" }, ...Object.values(cells));
  return { node, update };

  /** @param {Server} server */
  function update(server) {
    current = server;
    const name = titleOf(server);
    setAttribute(node, "data-server", server.server_id);
    setAttribute(node, "data-utility", server.utility_name ?? "");
    setAttribute(node, "data-group", server.group_name ?? "");
    tile.update(server);
    setText(title, name);
    setBadge(origin, server.adopted ? "adopted" : "own");
    setBadge(lasting, server.persistent ? "persistent" : "");
    setText(cells.group, server.group_name ?? t("noGroupHere"));
    setText(cells.port, String(server.port));
    setText(cells.process, String(server.pid ?? "–"));
    setAge(age, server.create_time);
    for (const name of /** @type {const} */ (["group", "port", "process", "age"])) {
      setAttribute(cells[name], "data-name", t(name));
    }
    const group = server.group_name;
    showActions(server, group ? t("inGroup", { title: name, group }) : name);
  }

  /** @param {Server} server @param {string} name */
  function showActions(server, name) {
    const ending = store.stopping.has(server.server_id);
    const address = addressOf(server);
    setAttribute(node, "data-status", ending ? "stopping" : "running");
    open.label("open", name);
    tab.label("openInTab", name);
    lines.label("lastLines", name);
    end.label(ending ? "stopping" : "stop", name);
    setBusy(open.node, ending || !address);
    setBusy(end.node, ending);
    setAttribute(tab.node, "href", address);
    tab.node.hidden = !address;
  }
}

/** @param {HTMLElement} node @param {string} name "" for none */
function setBadge(node, name) {
  node.hidden = !name;
  setAttribute(node, "data-badge", name || null);
  setText(node, name && t(name));
}

/** @param {string} name @param {...Node} children */
function cell(name, ...children) {
  // Small screens lay the table out anew, which takes its meaning away; the roles keep it.
  return h("td", { role: "cell", className: `cell-${name}` }, ...children);
}
