/** User, language, device group, theme, and the buttons that concern the whole Studio. */

import { chooseLanguage, chooseUser, refresh, stopAll } from "./actions.js";
import { sayAloud } from "./announcer.js";
import { confirmStopAll } from "./confirm_dialog.js";
import { setBusy } from "./controls.js";
import { byId, setAttribute, setOptions, setText } from "./dom.js";
import { groupTitle, ownerOf, userName } from "./naming.js";
import { drawing } from "./icons.js";
import { store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").State} State */

const groupName = "velmora.group";
const foldName = "velmora.catalogue";

/**
 * What `theme.js` leaves behind.
 *
 * @type {{current: () => string, next: () => string}}
 */
const theme = /** @type {any} */ (window).velmoraTheme;

/** @param {(group: string) => void} onGroup */
export function setUpSettings(onGroup) {
  byId("user").addEventListener("change", () => chooseUser(byId("user").value));
  byId("language").addEventListener("change", () => chooseLanguage(byId("language").value));
  byId("group").addEventListener("change", () => onGroup(byId("group").value));
  byId("theme").addEventListener("click", () => {
    theme.next();
    renderTheme();
    sayAloud(byId("theme").title);
  });
  byId("refresh").prepend(drawing("reload"));
  byId("refresh").addEventListener("click", refreshCatalogue);
  byId("fold-catalogue").addEventListener("click", foldCatalogue);
  document.body.dataset.catalogue = read(foldName) || "open";
  renderCatalogueFold();
  byId("stop-all").prepend(drawing("stop"));
  byId("stop-all").addEventListener("click", async () => {
    if (await confirmStopAll(store.state?.running.length ?? 0)) stopAll();
  });
}

function foldCatalogue() {
  const isOpen = document.body.dataset.catalogue !== "folded";
  document.body.dataset.catalogue = isOpen ? "folded" : "open";
  keep(foldName, document.body.dataset.catalogue);
  renderCatalogueFold();
}

export function renderCatalogueFold() {
  const button = byId("fold-catalogue");
  const isOpen = document.body.dataset.catalogue !== "folded";
  button.replaceChildren(drawing("fold"));
  setAttribute(button, "aria-expanded", String(isOpen));
  for (const name of ["aria-label", "title"]) setAttribute(button, name, t("foldCatalogue"));
}

/** @param {State} state @param {string} group the chosen one */
export function renderSettings({ studio }, group) {
  const users = studio.users.map((user) => ({ value: user.id, text: userName(user) }));
  setOptions(byId("user"), users, studio.user);
  byId("language").value = studio.language;
  const groups = studio.groups.map((each) => ({
    value: each.name,
    text: [groupTitle(each.name, studio.groups), ownerOf(each)].filter(Boolean).join(" · "),
  }));
  setOptions(byId("group"), groups, group);
  byId("group").hidden = groups.length === 0;
  setText(byId("studio-address"), t("studioAddress", { gui: studio.gui, pid: studio.pid }));
}

export function renderTheme() {
  const name = /** @type {"theme_system"} */ (`theme_${theme.current()}`);
  const button = byId("theme");
  button.replaceChildren(drawing(name));
  setAttribute(button, "aria-label", t(name));
  setAttribute(button, "title", t(name));
}

/**
 * The group that was chosen last, if it is still there; else the first.
 *
 * @param {State} state
 */
export function preferredGroup({ studio }) {
  const names = studio.groups.map((group) => group.name);
  const kept = readGroup();
  return names.includes(kept) ? kept : names[0] ?? "";
}

/** @param {string} group */
export function keepGroup(group) {
  keep(groupName, group);
}

export function readGroup() {
  return read(groupName);
}

/** @param {string} name @param {string} value */
function keep(name, value) {
  try {
    localStorage.setItem(name, value);
  } catch {
    // It holds for this page alone.
  }
}

/** @param {string} name */
function read(name) {
  try {
    return localStorage.getItem(name) ?? "";
  } catch {
    return "";
  }
}

async function refreshCatalogue() {
  const button = byId("refresh");
  if (button.getAttribute("aria-disabled") === "true") return;
  setBusy(button, true);
  const done = await refresh();
  setBusy(button, false);
  if (done) sayAloud(t("refreshed"));
}
