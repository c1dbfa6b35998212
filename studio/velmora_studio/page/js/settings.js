/** User, language, device group, theme, and the buttons that concern the whole Studio. */

import { chooseLanguage, chooseUser, refresh, stopAll } from "./actions.js";
import { sayAloud } from "./announcer.js";
import { setBusy } from "./controls.js";
import { byId, setAttribute, setOptions, setText } from "./dom.js";
import { userName } from "./naming.js";
import { drawing } from "./icons.js";
import { store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").State} State */

const groupName = "velmora.group";

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
  setUpStopAll();
}

/** @param {State} state @param {string} group the chosen one */
export function renderSettings({ studio }, group) {
  const users = studio.users.map((user) => ({ value: user.id, text: userName(user) }));
  setOptions(byId("user"), users, studio.user);
  byId("language").value = studio.language;
  const groups = studio.groups.map(({ name, organization }) => ({
    value: name,
    text: organization ? `${name} · ${organization}` : name,
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
  try {
    localStorage.setItem(groupName, group);
  } catch {
    // It holds for this page alone.
  }
}

export function readGroup() {
  try {
    return localStorage.getItem(groupName) ?? "";
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
  const places = store.state?.places ?? {};
  const names = new Set(Object.values(places).flat().map((entry) => entry.utility_name));
  if (done) sayAloud(t("refreshed", { count: names.size }));
}

function setUpStopAll() {
  const dialog = byId("stop-all-dialog");
  byId("stop-all").prepend(drawing("stop"));
  byId("stop-all").addEventListener("click", () => {
    setText(byId("stop-all-text"), t("stopAllText", { count: store.state?.running.length ?? 0 }));
    dialog.showModal();
    byId("stop-all-no").focus();
  });
  byId("stop-all-no").addEventListener("click", () => dialog.close());
  byId("stop-all-yes").addEventListener("click", () => {
    dialog.close();
    stopAll();
  });
}
