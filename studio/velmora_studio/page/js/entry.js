/** A utility of the catalogue: what it is, how it stands with it, and what can be done. */

import { startEntry, stop } from "./actions.js";
import { createAge, setAge } from "./ages.js";
import { createButton, createTabLink, setBusy } from "./controls.js";
import { h, setAttribute, setText, show } from "./dom.js";
import { aboutOf, addressOf, choosesGroupInside, groupOf, keyOf, titleOf } from "./naming.js";
import { createFailure } from "./failure.js";
import { createTile } from "./icons.js";
import { dismiss, statusOf, store } from "./store.js";
import { hasText, t } from "./texts.js";
import { openUtility, openWhenStarted } from "./workspace.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Status} Status */

/** What the main button offers in each state. */
const offers = { stopped: "start", starting: "starting", running: "open", stopping: "stopping" };

/**
 * @param {import("./types.js").Place} place
 * @returns {import("./types.js").View<Entry>}
 */
export function createEntry(place) {
  let current = /** @type {Entry} */ (/** @type {unknown} */ (null));
  const key = () => keyOf(current.utility_name, groupOf(current, store.group));
  const tile = createTile();
  const title = h("h3", { className: "entry-title" });
  const about = h("p", { className: "entry-about" });
  const marks = h("p", { className: "entry-marks" });
  const state = createStateLine();
  const failure = createFailure(() => {
    dismiss(key());
    main.node.focus();
  });
  const main = createButton("button", "start", () => act(current, place));
  const tab = createTabLink();
  const end = createButton("button quiet", "stop", () => {
    const { server } = statusOf(current);
    if (server) stop(server);
  }, "stop");
  const node = h(
    "li",
    { className: "entry", "data-place": place },
    tile.node,
    h("div", { className: "entry-text" }, title, about, marks),
    main.node,
    h("div", { className: "entry-foot" }, state.node, tab.node, end.node),
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
    main.label(status.failure ? "startAgain" : offers[status.kind], name);
    setAttribute(main.node, "data-action", offers[status.kind]);
    main.node.classList.toggle("primary", status.kind === "running");
    setBusy(main.node, status.kind === "starting" || status.kind === "stopping");
    const address = status.server && addressOf(status.server);
    setAttribute(tab.node, "href", address);
    tab.label("openInTab", name);
    end.label("stop", name);
    show(tab.node, address !== null && status.kind === "running", main.node);
    show(end.node, status.kind === "running", main.node);
  }
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
  const node = h("p", { className: "state", "data-part": "state", hidden: true }, text, " ", age);
  const words = { stopped: "", starting: "watching", running: "running", stopping: "stopping" };
  return {
    node,
    update({ kind, server }) {
      node.hidden = kind === "stopped";
      setAttribute(node, "data-kind", kind);
      setText(text, words[kind] && t(words[kind]));
      setAge(age, kind === "running" ? server?.create_time : null);
    },
  };
}
