/** The overview: the table of what runs, and what has ended or failed and isn't dismissed yet. */

import { dismiss, restart, start, stop } from "./actions.js";
import { createAge, setAge } from "./ages.js";
import { createButton, setBusy } from "./controls.js";
import { byId, h, setAttribute, setText, show, sync } from "./dom.js";
import { runningItems } from "./entry.js";
import { createFailure } from "./failure.js";
import { createTile } from "./icons.js";
import { openMenu } from "./menu.js";
import { groupTitle, keyOf, titleOf } from "./naming.js";
import { go, utilityView } from "./router.js";
import { entryOf, kindOf, statusOfKey, store } from "./store.js";
import { t } from "./texts.js";
import { showUse } from "./usage.js";
import { openUtility } from "./workspace.js";

/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").Failure} Failure */
/** @typedef {import("./types.js").State} State */

/** @param {State} state */
export function renderRunning({ running, failures }) {
  const rows = byId("running-rows");
  const hadFocus = rows.contains(document.activeElement);
  sync(rows, running, (server) => server.server_id, createRow);
  // The row that had the focus has gone, so the focus goes to the heading above.
  if (hadFocus && !rows.contains(document.activeElement)) byId("running-heading").focus();
  show(byId("running"), running.length > 0, byId("running-heading"));
  show(byId("stop-all"), running.length > 0, byId("running-heading"));
  byId("running-empty").hidden = running.length > 0;
  const past = failures.filter((each) => !statusOfKey(keyOf(each.utility_name, each.group_name)).server);
  sync(byId("failures"), past.reverse(), (failure) => failure.id ?? "", createPast);
  show(byId("past"), past.length > 0, byId("running-heading"));
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
  const state = h("span", { className: "state", "data-part": "state" });
  const origin = h("span", { className: "badge", "data-part": "origin" });
  const lasting = h("span", { className: "badge", "data-part": "persistent" });
  const age = createAge();
  const open = createButton("button", "open", () => openUtility(current));
  const view = (/** @type {"lines"|"details"} */ part) => () =>
    go(utilityView(current.utility_name ?? "", current.group_name ?? "", part));
  const lines = createButton("button icon quiet", "lines", view("lines"), "lines");
  const again = createButton("button icon quiet", "restart", () => restart(current), "restart");
  const more = createButton("button icon quiet", "more", () => {
    const details = { action: "details", text: t("details"), icon: /** @type {"details"} */ ("details"), run: view("details") };
    openMenu(more.node, [...runningItems(current).slice(0, 1), details]);
  }, "more");
  setAttribute(more.node, "aria-expanded", "false");
  const end = createButton("button icon quiet danger apart", "stop", () => stop(current), "stop");
  const badges = h("span", { className: "badges" }, state, origin, lasting);
  const [cpu, memory] = [h("span", { "data-use": "cpu" }), h("span", { "data-use": "memory" })];
  const cells = {
    utility: cell("utility", tile.node, h("span", { className: "row-text" }, title, badges)),
    group: cell("group"),
    port: cell("port"),
    process: cell("process"),
    cpu: cell("cpu", cpu),
    memory: cell("memory", memory),
    age: cell("age", age),
    actions: cell("actions", open.node, lines.node, again.node, more.node, end.node),
  };
  const node = h("tr", { role: "row" }, ...Object.values(cells));
  return { node, update };

  /** @param {Server} server */
  function update(server) {
    current = server;
    const name = titleOf(server);
    const group = groupTitle(server.group_name ?? "", store.state?.studio.groups ?? []);
    setAttribute(node, "data-server", server.server_id);
    setAttribute(node, "data-utility", server.utility_name ?? "");
    setAttribute(node, "data-group", server.group_name ?? "");
    tile.update(server);
    setText(title, name);
    setBadge(origin, server.adopted ? "adopted" : "own");
    setBadge(lasting, server.persistent ? "persistent" : "");
    setText(cells.group, group || t("noGroupHere"));
    setText(cells.port, String(server.port));
    setText(cells.process, String(server.pid ?? "–"));
    setAge(age, server.create_time);
    showUse(cpu, server.server_id, "cpu");
    showUse(memory, server.server_id, "memory");
    for (const each of /** @type {const} */ (["group", "port", "process", "cpu", "memory", "age"])) {
      setAttribute(cells[each], "data-name", t(each));
    }
    showActions(server, group ? t("inGroup", { title: name, group }) : name);
  }

  /** @param {Server} server @param {string} name */
  function showActions(server, name) {
    const kind = kindOf(server);
    const ending = kind === "stopping";
    setAttribute(node, "data-status", kind);
    state.hidden = kind === "running";
    setAttribute(state, "data-kind", kind);
    setText(state, t(kind));
    open.label("open", name);
    lines.label("lastLines", name);
    again.label("restart", name);
    more.label("more", name);
    end.label(ending ? "stopping" : "stop", name);
    for (const control of [open, again, end]) setBusy(control.node, ending);
  }
}

/**
 * What has ended by itself, or couldn't be started.
 *
 * @returns {import("./types.js").View<Failure>}
 */
function createPast() {
  let current = /** @type {Failure} */ (/** @type {unknown} */ (null));
  const again = createButton("button", "start", () => start(current.utility_name, current.group_name));
  const lines = createButton("button quiet", "lines", () =>
    go(utilityView(current.utility_name, current.group_name, "lines")), "lines");
  const failure = createFailure(() => {
    dismiss(current);
    byId("running-heading").focus();
  }, again.node, lines.node);
  const when = h("time", { className: "hint" });
  const node = h("li", {}, failure.node);
  failure.node.querySelector(".failure-text")?.append(when);
  return {
    node,
    update(item) {
      current = item;
      const entry = entryOf(item.utility_name);
      const group = groupTitle(item.group_name, store.state?.studio.groups ?? []);
      const name = entry ? titleOf(entry) : item.utility_name;
      const title = group ? t("inGroup", { title: name, group }) : name;
      setAttribute(node, "data-utility", item.utility_name);
      again.label("startAgain", title);
      lines.label("lastLines", title);
      lines.node.hidden = item.kind !== "end";
      failure.update({ title, failure: item });
      const time = new Date(item.time * 1000);
      setAttribute(when, "datetime", time.toISOString());
      setText(when, time.toLocaleTimeString(document.documentElement.lang));
    },
  };
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
