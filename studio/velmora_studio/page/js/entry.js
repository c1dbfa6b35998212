/** A utility of the catalogue: what it is, how it stands with it, and what can be done. */

import { dismiss, restart, startEntry, stop } from "./actions.js";
import { createAge, setAge } from "./ages.js";
import { askForConfig } from "./config_dialog.js";
import { createButton, setBusy } from "./controls.js";
import { h, setAttribute, setText, show } from "./dom.js";
import { createFailure } from "./failure.js";
import { isFavourite, toggleFavourite } from "./filter.js";
import { createTile } from "./icons.js";
import { openMenu } from "./menu.js";
import { aboutOf, addressOf, choosesGroupInside, groupOf, keyOf, titleOf } from "./naming.js";
import { go, utilityView } from "./router.js";
import { statusOf, store } from "./store.js";
import { hasText, t } from "./texts.js";
import { openUtility, openWhenStarted } from "./workspace.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Status} Status */

/** What the main button offers in each state. */
const offers = { stopped: "start", starting: "starting", running: "open", silent: "open", stopping: "stopping" };

/**
 * @param {import("./types.js").Place} place
 * @returns {import("./types.js").View<Entry>}
 */
export function createEntry(place) {
  let current = /** @type {Entry} */ (/** @type {unknown} */ (null));
  const tile = createTile();
  const title = h("h3", { className: "entry-title" });
  const about = h("p", { className: "entry-about" });
  const marks = h("p", { className: "entry-marks" });
  const state = createStateLine();
  const failure = createFailure(() => {
    const { failure: failed } = statusOf(current);
    if (failed) dismiss(failed);
    main.node.focus();
  });
  const main = createButton("button entry-main", "start", () => act(current, place));
  const star = createButton("button icon quiet star", "favourite", () => toggleFavourite(current), "star");
  const more = createButton("button icon quiet", "more", () => openMenu(more.node, itemsOf(current)), "more");
  const end = createButton("button quiet danger", "stop", () => {
    const { server } = statusOf(current);
    if (server) stop(server);
  }, "stop");
  setAttribute(more.node, "aria-expanded", "false");
  const node = h(
    "li",
    { className: "entry", "data-place": place },
    tile.node,
    h("div", { className: "entry-text" }, title, about, marks),
    h("div", { className: "entry-side" }, main.node, star.node, more.node),
    h("div", { className: "entry-foot" }, state.node, end.node),
    h("div", { className: "progress", "aria-hidden": "true" }),
    failure.node,
  );
  return { node, update };

  /** @param {Entry} entry */
  function update(entry) {
    current = entry;
    const status = statusOf(entry);
    const name = titleOf(entry);
    describe(node, entry, status);
    tile.update(entry);
    setText(title, name);
    setText(about, aboutOf(entry));
    setText(marks, marksOf(entry).join(" · "));
    state.update(status);
    showActions(status, name);
    failure.update({ title: name, failure: status.failure });
  }

  /** @param {Status} status @param {string} name */
  function showActions(status, name) {
    main.label(offers[status.kind], name);
    setAttribute(main.node, "data-action", offers[status.kind]);
    main.node.classList.toggle("primary", status.kind === "running");
    setBusy(main.node, status.kind === "starting" || status.kind === "stopping");
    star.label(isFavourite(current) ? "unfavourite" : "favourite", name);
    setAttribute(star.node, "aria-pressed", String(isFavourite(current)));
    more.label("more", name);
    end.label("stop", name);
    show(end.node, status.server !== null && status.kind !== "stopping", main.node);
  }
}

/**
 * What the menu of an entry offers.
 *
 * @param {Entry} entry
 * @returns {import("./menu.js").Item[]}
 */
function itemsOf(entry) {
  const { kind, server } = statusOf(entry);
  const group = groupOf(entry, store.group);
  const view = (/** @type {"lines"|"details"} */ part) => () =>
    go(utilityView(entry.utility_name, group, part));
  const configure = () => askForConfig(entry, (config) => startEntry(entry, config));
  return [
    ...(kind === "stopped"
      ? [{ action: "configure", text: t("configure"), icon: /** @type {"sliders"} */ ("sliders"), run: configure }]
      : []),
    ...(server && kind !== "stopping" ? runningItems(server) : []),
    { action: "lines", text: t("lastLines"), icon: "lines", run: view("lines") },
    { action: "details", text: t("details"), icon: "details", run: view("details") },
  ];
}

/**
 * @param {import("./types.js").Server} server
 * @returns {import("./menu.js").Item[]}
 */
export function runningItems(server) {
  return [
    { action: "tab", text: t("openInTab"), icon: "tab", href: addressOf(server) },
    { action: "restart", text: t("restart"), icon: "restart", run: () => restart(server) },
  ];
}

/**
 * Starts what stands still and opens what runs. The create-experiment menu does both at once.
 *
 * @param {Entry} entry
 * @param {import("./types.js").Place} place
 */
export function act(entry, place) {
  const { server } = statusOf(entry);
  if (server) openUtility(server);
  else if (place === "default" || place === "group") startEntry(entry);
  else openWhenStarted(entry.utility_name, groupOf(entry, store.group), startEntry(entry));
}

/**
 * @param {HTMLElement} node
 * @param {Entry} entry
 * @param {Status} status
 */
export function describe(node, entry, status) {
  setAttribute(node, "data-utility", entry.utility_name);
  setAttribute(node, "data-group", groupOf(entry, store.group));
  setAttribute(node, "data-status", status.failure ? "failed" : status.kind);
}

/** @param {Entry} entry */
function marksOf(entry) {
  const access = `mark${entry.access_level}`;
  return [
    entry.persistent ? t("markPersistent") : "",
    choosesGroupInside(entry) ? t("markDeferred") : "",
    hasText(access) ? t(access) : "",
  ].filter(Boolean);
}

/**
 * The line that says in words how it stands.
 *
 * @returns {import("./types.js").View<Status>}
 */
function createStateLine() {
  const text = h("span");
  const age = createAge();
  const node = h("p", { className: "state", "data-part": "state" }, text, " ", age);
  return {
    node,
    update(status) {
      const { kind, server } = status;
      setAttribute(node, "data-kind", kind);
      setText(text, kind === "stopped" ? "" : stateText(status));
      setAge(age, kind === "running" ? server?.create_time : null);
    },
  };
}

/** @param {Status} status */
function stateText({ kind, server, waits }) {
  if (kind !== "starting") return t(kind);
  if (server) return t("waitsForAnswer");
  return t(waits ? "waitsForStop" : "watching");
}
