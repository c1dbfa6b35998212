/** An opened utility: a bar of its own, its pages, its last lines and its details. */

import { dismiss, restart, start, stop } from "./actions.js";
import { createAge, setAge } from "./ages.js";
import { createButton, createTabLink, setBusy } from "./controls.js";
import { createDetails } from "./details.js";
import { h, setAttribute, setText, show } from "./dom.js";
import { createFailure } from "./failure.js";
import { createLines } from "./lines.js";
import { addressOf } from "./naming.js";
import { nameOf } from "./opened.js";
import { addressOfView, currentView, go, leadsTo, utilityView } from "./router.js";
import { statusOfKey } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./opened.js").Opened} Opened */
/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").Status} Status */
/** @typedef {import("./types.js").PageView["part"]} Part */

/**
 * What a utility may do in its frame. Its pages come from an origin of their own, so with
 * `allow-same-origin` they keep their cookies, storage and requests, and still reach nothing of
 * the Studio's. `allow-top-navigation` is left out: no page replaces the Studio's.
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

/** @type {Part[]} */
const parts = ["page", "lines", "details"];

/**
 * @param {(key: string) => void} onClose
 * @returns {import("./types.js").View<Opened>}
 */
export function createPanel(onClose) {
  let current = /** @type {Opened} */ (/** @type {unknown} */ (null));
  let server = /** @type {Server|null} */ (null);
  // The instance that the frame shows, and one that is to be shown although it is silent.
  let [shownId, insistedId] = ["", ""];
  const title = h("h2", { tabIndex: -1 });
  const age = createAge();
  const state = h("span", { className: "state", "data-part": "state" });
  const partLinks = parts.map((part) => createPartLink(part, () => current));
  const reload = createButton("button icon quiet", "reload", () => (frame.src = frame.src), "reload");
  const tab = createTabLink();
  const whole = createButton("button icon quiet", "whole", turnWhole, "whole");
  const again = createButton("button icon quiet", "restart", () => server && restart(server), "restart");
  const end = createButton("button icon quiet danger apart", "stop", () => server && stop(server), "stop");
  const close = createButton("button icon quiet apart", "close", () => onClose(current.key), "close");
  const begin = createButton("button primary", "start", () => start(current.name, current.group));
  const insist = createButton("button", "insist", () => {
    insistedId = server?.server_id ?? "";
    update(current);
  });
  const placeText = h("p");
  const place = h("div", { className: "in-place", "data-part": "in-place" }, placeText, begin.node, insist.node);
  const failure = createFailure(() => {
    const { failure: failed } = statusOfKey(current.key);
    if (failed) dismiss(failed);
    title.focus();
  });
  const frame = h("iframe", { className: "frame", hidden: true, allow: "fullscreen; clipboard-write" });
  frame.setAttribute("sandbox", sandbox);
  const [lines, details] = [createLines(), createDetails()];
  const node = h(
    "section",
    { className: "panel" },
    h(
      "div",
      { className: "bar" },
      h("div", { className: "bar-name" }, title, state, age),
      h("nav", { className: "parts" }, ...partLinks.map((link) => link.node)),
      h("div", { className: "bar-tools" }, reload.node, tab.node, whole.node, again.node, end.node, close.node),
    ),
    failure.node,
    place,
    frame,
    lines.node,
    details.node,
  );
  return { node, update };

  /** @param {Opened} tabOf */
  function update(tabOf) {
    current = tabOf;
    const status = statusOfKey(tabOf.key);
    ({ server } = status);
    const view = currentView();
    const [part, name] = [view.key === tabOf.key ? view.part : "page", nameOf(tabOf)];
    for (const [key, value] of Object.entries({ key: tabOf.key, utility: tabOf.name, group: tabOf.group, part })) {
      setAttribute(node, `data-${key}`, value);
    }
    setAttribute(node, "data-status", status.kind);
    setAttribute(node, "aria-label", name);
    setText(title, name);
    setText(state, t(status.kind === "stopped" ? "notRunning" : status.kind));
    setAttribute(state, "data-kind", status.kind);
    setAge(age, server?.create_time);
    for (const link of partLinks) link.update(part);
    showPage(status, part, name);
    label(status, name);
    failure.update({ title: name, failure: part === "page" ? status.failure : null });
    const isShown = view.key === tabOf.key;
    lines.update({ opened: tabOf, shown: isShown && part === "lines" });
    details.update({ opened: tabOf, shown: isShown && part === "details" });
  }

  /**
   * The frame comes when there is something to show in it.
   *
   * @param {Status} status
   * @param {Part} part
   * @param {string} name
   */
  function showPage({ kind, waits }, part, name) {
    const address = server && addressOf(server);
    const isThere = kind === "running" || insistedId === server?.server_id;
    if (part === "page" && server && address && isThere && shownId !== server.server_id) {
      frame.src = address;
      shownId = server.server_id;
    }
    setAttribute(frame, "title", name);
    setAttribute(tab.node, "href", address);
    show(frame, part === "page" && shownId !== "", title);
    show(place, part === "page" && !isThere && kind !== "stopping", title);
    setAttribute(place, "data-kind", kind);
    setText(placeText, placeTextOf(kind, waits));
  }

  /** @param {Status["kind"]} kind @param {boolean} waits */
  function placeTextOf(kind, waits) {
    if (kind === "starting" && server) return t("waiting", { port: server.port });
    if (kind === "starting") return t(waits ? "waitsForStop" : "watching");
    if (kind === "silent") return t("silentText", { port: server?.port ?? "" });
    return shownId ? t("hasEnded", { title: nameOf(current) }) : t("notRunningText");
  }

  /** @param {Status} status @param {string} name */
  function label({ kind }, name) {
    const { whole: isWhole } = currentView();
    for (const [control, action] of /** @type {const} */ ([
      [reload, "reload"],
      [tab, "openInTab"],
      [whole, isWhole ? "notWhole" : "whole"],
      [again, "restart"],
      [end, "stop"],
      [close, "close"],
      [begin, shownId ? "startAgain" : "start"],
      [insist, "insist"],
    ])) control.label(action, name);
    const isThere = server !== null && kind !== "stopping";
    for (const control of [reload, tab]) show(control.node, kind === "running", title);
    for (const control of [again, end]) show(control.node, isThere, title);
    show(begin.node, kind === "stopped", title);
    setBusy(begin.node, kind === "starting");
    show(insist.node, kind === "silent", title);
  }

  function turnWhole() {
    const view = currentView();
    go({ ...view, part: "page", whole: !view.whole });
  }
}

/**
 * @param {Part} part
 * @param {() => Opened} openedOf
 * @returns {import("./types.js").View<Part>}
 */
function createPartLink(part, openedOf) {
  const node = h("a", { className: "part", "data-part-link": part });
  const view = () => utilityView(openedOf().name, openedOf().group, part);
  leadsTo(node, view);
  const names = { page: "page", lines: "lastLines", details: "details" };
  return {
    node,
    update(current) {
      setText(node, t(names[part]));
      setAttribute(node, "href", addressOfView(view()));
      setAttribute(node, "aria-current", part === current ? "true" : null);
    },
  };
}
