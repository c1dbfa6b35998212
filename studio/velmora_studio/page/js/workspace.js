/** The workspace: an overview of what runs, the plugins, and the utilities that have been opened. */

import { byId, h, setAttribute, setText, show, sync } from "./dom.js";
import { createTile } from "./icons.js";
import { closeBut, describing, nameOf, open, opened } from "./opened.js";
import { createPanel } from "./panel.js";
import { problemCount } from "./plugins.js";
import { addressOfView, currentView, go, leadsTo, overview, plugins, utilityView } from "./router.js";
import { changed, statusOfKey, store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").PageView} PageView */
/** @typedef {import("./opened.js").Opened} Opened */

let shownUser = "";
let shownKey = "";

/** @param {Server} server */
export function openUtility(server) {
  go(utilityView(server.utility_name ?? "", server.group_name ?? ""));
  focusActive();
}

/**
 * Opens the utility when its start has gone well. A user who has turned to something else meanwhile
 * isn't called away from there.
 *
 * @param {string} name
 * @param {string} group
 * @param {Promise<boolean>} started
 */
export async function openWhenStarted(name, group, started) {
  const trigger = document.activeElement;
  const view = currentView();
  if (!(await started)) return;
  const stayed = currentView() === view && [trigger, document.body].includes(document.activeElement);
  if (stayed) {
    go(utilityView(name, group));
    focusActive();
  } else {
    open(utilityView(name, group));
    changed();
  }
}

export function renderWorkspace() {
  forgetForeign();
  const view = currentView();
  if (view.kind === "utility") open(view);
  sync(byId("tabs"), [overview, plugins, ...opened.map(pageOf)], keyOfTab, createTab);
  sync(byId("frames"), opened, (tab) => tab.key, () => createPanel(close));
  for (const panel of byId("frames").children) panel.hidden = panel.dataset.key !== view.key;
  show(byId("overview"), view.kind === "overview");
  show(byId("plugins"), view.kind === "plugins");
  show(byId("frames"), view.kind === "utility");
  document.body.dataset.view = view.kind === "utility" ? "frame" : view.kind;
  document.body.dataset.whole = String(view.whole);
  const heading = view.kind === "utility" ? nameOf(view) : view.kind === "plugins" ? t("plugins") : "";
  document.title = `${heading ? `${heading} – ` : ""}Velmora Studio`;
  if (shownKey && shownKey !== view.kind + view.key) revealTab();
  shownKey = view.kind + view.key;
}

function revealTab() {
  byId("tabs").querySelector("[aria-current]")?.scrollIntoView({ block: "start", inline: "nearest" });
}

function focusActive() {
  renderWorkspace();
  const panel = [...byId("frames").children].find((each) => each.dataset.key === currentView().key);
  panel?.querySelector("h2")?.focus();
}

/** @param {string} key */
function close(key) {
  const index = opened.findIndex((tab) => tab.key === key);
  closeBut((tab) => tab.key !== key);
  const next = opened[Math.min(index, opened.length - 1)];
  if (currentView().key === key) go(next ? pageOf(next) : overview);
  renderWorkspace();
  byId("tabs").querySelector("[aria-current]")?.focus();
}

/** After a change of the user only what runs for this user stays open. */
function forgetForeign() {
  const user = store.state?.studio.user ?? "";
  if (!user || user === shownUser) return;
  const first = !shownUser;
  shownUser = user;
  closeBut((tab) => Boolean(statusOfKey(tab.key).server));
  const { kind, key } = currentView();
  if (!first && kind === "utility" && !opened.some((tab) => tab.key === key)) go(overview);
}

/** @param {Opened} tab */
function pageOf({ key, name, group }) {
  const view = currentView();
  return view.key === key ? view : utilityView(name, group);
}

/** @param {PageView} view */
function keyOfTab(view) {
  return view.kind === "utility" ? view.key : view.kind;
}

/** @returns {import("./types.js").View<PageView>} */
function createTab() {
  let current = /** @type {PageView} */ (/** @type {unknown} */ (null));
  const tile = createTile();
  const text = h("span");
  const mark = h("span", { className: "count" });
  const choose = h("a", { className: "tab" }, tile.node, text, mark);
  leadsTo(choose, () => current);
  const leave = () => close(current.key);
  const end = h("button", { type: "button", className: "tab-close", onclick: leave }, "×");
  const node = h("li", {}, choose, end);
  return {
    node,
    update(tab) {
      current = tab;
      const isUtility = tab.kind === "utility";
      const isCurrent = keyOfTab(tab) === keyOfTab(currentView());
      setAttribute(node, "data-tab", keyOfTab(tab));
      setAttribute(choose, "href", addressOfView(tab));
      setAttribute(choose, "aria-current", isCurrent ? "page" : null);
      tile.node.hidden = !isUtility;
      if (isUtility) tile.update(describing(tab));
      setText(text, isUtility ? nameOf(tab) : t(tab.kind));
      setText(mark, markOf(tab));
      mark.hidden = !mark.textContent;
      end.hidden = !isUtility;
      setAttribute(end, "aria-label", t("actionOn", { action: t("close"), title: nameOf(tab) }));
    },
  };
}

/** @param {PageView} tab */
function markOf(tab) {
  if (tab.kind === "overview") return t("runningCount", { count: store.state?.running.length ?? 0 });
  if (tab.kind === "plugins") return problemCount() ? t("problemCount", { count: problemCount() }) : "";
  const { kind } = statusOfKey(tab.key);
  return kind === "running" ? "" : t(kind === "stopped" ? "ended" : kind);
}
