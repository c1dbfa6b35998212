/** The workspace: an overview of what runs, and the utilities that have been opened. */

import { byId, h, setAttribute, setText, show, sync } from "./dom.js";
import { keyOf, keyOfServer, titleOf } from "./naming.js";
import { createPanel } from "./panel.js";
import { createTile } from "./icons.js";
import { changed, statusOfKey, store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").View<Opened>} OpenedView */
/**
 * @typedef {Object} Opened A utility with a tab and a frame here, whether it still runs or not.
 * @property {string} key
 * @property {string} name
 * @property {string} group "" for none
 */

const overview = "overview";
const keptName = "velmora.opened";

/** @type {Opened[]} */
let opened = [];
let active = overview;
let shownUser = "";
restore();

/** @param {Server} server */
export function openUtility(server) {
  add(server.utility_name ?? "", server.group_name ?? "");
  activate(keyOfServer(server));
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
  const view = active;
  if (!(await started)) return;
  add(name, group);
  const stayed = active === view && [trigger, document.body].includes(document.activeElement);
  if (stayed) activate(keyOf(name, group));
  else changed();
  if (stayed) focusActive();
}

export function renderWorkspace() {
  forgetForeign();
  const tabs = [{ key: overview, name: "", group: "" }, ...opened];
  sync(byId("tabs"), tabs, (tab) => tab.key, createTab);
  sync(byId("frames"), opened, (tab) => tab.key, () => createPanel(close));
  for (const panel of byId("frames").children) panel.hidden = panel.dataset.key !== active;
  show(byId("overview"), active === overview);
  show(byId("frames"), active !== overview);
  document.body.dataset.view = active === overview ? "overview" : "frame";
  const current = opened.find((tab) => tab.key === active);
  document.title = `${current ? `${nameOf(current)} – ` : ""}Velmora Studio`;
}

/**
 * The instance if it runs, else the entry, to take title and icon from.
 *
 * @param {Opened} tab
 * @returns {Server|Entry|{utility_name: string, title: null, en_title: string, icon: null}}
 */
function describing(tab) {
  const entries = Object.values(store.state?.places ?? {}).flat();
  return (
    statusOfKey(tab.key).server ??
    entries.find((entry) => entry.utility_name === tab.name) ??
    { utility_name: tab.name, title: null, en_title: "", icon: null }
  );
}

/** @param {Opened} tab */
export function nameOf(tab) {
  const title = titleOf(describing(tab));
  return tab.group ? t("inGroup", { title, group: tab.group }) : title;
}

/** @param {string} name @param {string} group */
function add(name, group) {
  const key = keyOf(name, group);
  if (!opened.some((tab) => tab.key === key)) opened = [...opened, { key, name, group }];
}

/** @param {string} key */
function activate(key) {
  active = key;
  keep();
  renderWorkspace();
  byId("tabs").querySelector("[aria-current]")?.scrollIntoView({ block: "start", inline: "nearest" });
  changed();
}

function focusActive() {
  const panel = [...byId("frames").children].find((each) => each.dataset.key === active);
  panel?.querySelector("h2")?.focus();
}

/** @param {string} key */
function close(key) {
  const index = opened.findIndex((tab) => tab.key === key);
  opened = opened.filter((tab) => tab.key !== key);
  if (active === key) active = opened[Math.min(index, opened.length - 1)]?.key ?? overview;
  activate(active);
  byId("tabs").querySelector("[aria-current]")?.focus();
}

/** After a change of the user, and when the page opens, only what runs for this user stays open. */
function forgetForeign() {
  const user = store.state?.studio.user ?? "";
  if (!user || user === shownUser) return;
  shownUser = user;
  opened = opened.filter((tab) => statusOfKey(tab.key).server);
  if (!opened.some((tab) => tab.key === active)) active = overview;
}

/** @returns {OpenedView} */
function createTab() {
  let current = /** @type {Opened} */ (/** @type {unknown} */ (null));
  const tile = createTile();
  const text = h("span");
  const mark = h("span", { className: "count" });
  const press = () => activate(current.key);
  const leave = () => close(current.key);
  const choose = h("button", { type: "button", className: "tab", onclick: press }, tile.node, text, mark);
  const end = h("button", { type: "button", className: "tab-close", onclick: leave }, "×");
  const node = h("li", {}, choose, end);
  return {
    node,
    update(tab) {
      current = tab;
      const isOverview = tab.key === overview;
      const { kind } = statusOfKey(tab.key);
      const count = store.state?.running.length ?? 0;
      setAttribute(node, "data-tab", tab.key);
      setAttribute(choose, "aria-current", tab.key === active ? "page" : null);
      tile.node.hidden = isOverview;
      if (!isOverview) tile.update(describing(tab));
      setText(text, isOverview ? t("overview") : nameOf(tab));
      setText(mark, isOverview ? t("runningCount", { count }) : kind === "stopped" ? t("ended") : "");
      mark.hidden = !mark.textContent;
      end.hidden = isOverview;
      setAttribute(end, "aria-label", t("actionOn", { action: t("close"), title: nameOf(tab) }));
    },
  };
}

function keep() {
  try {
    sessionStorage.setItem(keptName, JSON.stringify({ opened, active }));
  } catch {
    // It holds for this page alone.
  }
}

function restore() {
  try {
    ({ opened, active } = JSON.parse(sessionStorage.getItem(keptName) ?? "") ?? {});
  } catch {
    // Nothing is kept yet.
  }
}
