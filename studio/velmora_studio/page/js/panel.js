/** An opened utility: a bar of its own and the frame with its pages. */

import { start, stop } from "./actions.js";
import { createAge, setAge } from "./ages.js";
import { createButton, createTabLink, setBusy } from "./controls.js";
import { h, setAttribute, setText, show } from "./dom.js";
import { addressOf } from "./naming.js";
import { createFailure } from "./failure.js";
import { showOutput } from "./output_dialog.js";
import { dismiss, statusOfKey } from "./store.js";
import { t } from "./texts.js";
import { nameOf } from "./workspace.js";

/** @typedef {import("./workspace.js").Opened} Opened */
/** @typedef {import("./types.js").Server} Server */

/**
 * What a utility may do in its frame. Utilities are forwarded through the Studio's own origin and
 * need it: without `allow-same-origin` they would lose their cookies and storage, and the requests
 * and WebSockets to their own address would count as foreign. With it, and with scripts, a sandbox
 * is no wall against ill will; plugins are trusted as the Studio itself is. It keeps a careless page
 * from replacing the whole Studio, as `allow-top-navigation` is left out.
 */
const sandbox = [
  "allow-same-origin",
  "allow-scripts",
  "allow-forms",
  "allow-modals",
  "allow-downloads",
  "allow-popups",
  "allow-popups-to-escape-sandbox",
].join(" ");

/**
 * @param {(key: string) => void} onClose
 * @returns {import("./types.js").View<Opened>}
 */
export function createPanel(onClose) {
  let current = /** @type {Opened} */ (/** @type {unknown} */ (null));
  // The instance that the frame shows.
  let shown = /** @type {Server|null} */ (null);
  const title = h("h2", { tabIndex: -1 });
  const age = createAge();
  const state = h("span", { className: "state", "data-part": "state" });
  const reload = createButton("button icon quiet", "reload", () => reloadFrame(frame), "reload");
  const tab = createTabLink();
  const end = createButton("button icon quiet", "stop", () => shown && stop(shown), "stop");
  const close = createButton("button icon quiet", "close", () => onClose(current.key), "close");
  const again = createButton("button primary", "start", () => start(current.name, current.group));
  const lines = createButton("button", "lines", () => shown && showOutput(shown), "lines");
  const endedText = h("p");
  const ended = h("div", { className: "ended", hidden: true }, endedText, again.node, lines.node);
  const failure = createFailure(() => {
    dismiss(current.key);
    title.focus();
  });
  const frame = h("iframe", { className: "frame" });
  frame.setAttribute("sandbox", sandbox);
  const node = h(
    "section",
    { className: "panel" },
    h("div", { className: "bar" }, title, state, age, reload.node, tab.node, end.node, close.node),
    ended,
    failure.node,
    frame,
  );
  return { node, update };

  /** @param {Opened} tabOf */
  function update(tabOf) {
    current = tabOf;
    const { kind, server, failure: failed } = statusOfKey(tabOf.key);
    const name = nameOf(tabOf);
    setAttribute(node, "data-key", tabOf.key);
    setAttribute(node, "data-utility", tabOf.name);
    setAttribute(node, "data-group", tabOf.group);
    setAttribute(node, "data-status", kind);
    setAttribute(node, "aria-label", name);
    setText(title, name);
    setText(state, kind === "stopped" ? t("ended") : t(kind));
    setAttribute(state, "data-kind", kind);
    setAge(age, server?.create_time);
    if (server) load(server, name);
    showEnd(kind, name);
    failure.update({ title: name, failure: failed });
  }

  /** @param {Server} server @param {string} name */
  function load(server, name) {
    const address = addressOf(server);
    setAttribute(frame, "title", name);
    setAttribute(tab.node, "href", address);
    if (address && shown?.server_id !== server.server_id) frame.src = address;
    shown = server;
  }

  /** @param {string} kind @param {string} name */
  function showEnd(kind, name) {
    for (const [control, action] of /** @type {const} */ ([
      [reload, "reload"],
      [tab, "openInTab"],
      [end, "stop"],
      [close, "close"],
      [again, kind === "starting" ? "starting" : "startAgain"],
      [lines, "lastLines"],
    ])) control.label(action, name);
    for (const control of [reload, tab, end]) show(control.node, kind === "running", title);
    show(ended, kind === "stopped" || kind === "starting", title);
    setText(endedText, kind === "starting" ? t("watching") : t("hasEnded", { title: name }));
    setBusy(again.node, kind === "starting");
    show(lines.node, shown !== null, title);
  }
}

/** @param {HTMLIFrameElement} frame */
function reloadFrame(frame) {
  try {
    frame.contentWindow?.location.reload();
  } catch {
    frame.src = frame.src; // the frame has gone to a page of another origin
  }
}
