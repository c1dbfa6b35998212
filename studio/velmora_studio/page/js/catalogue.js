/** The places of the interface that list what the user may use. */

import { act, createEntry, describe } from "./entry.js";
import { byId, h, setAttribute, setText, show, sync } from "./dom.js";
import { chosenOf, isFiltered, renderFilter } from "./filter.js";
import { groupTitle, titleOf, userName } from "./naming.js";
import { createTile } from "./icons.js";
import { statusOf, store } from "./store.js";
import { hasText, t } from "./texts.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Catalogue} Catalogue */
/** @typedef {import("./types.js").Studio} Studio */

/** @param {Studio} studio @param {Catalogue} catalogue */
export function renderCatalogue(studio, { places }) {
  renderFilter([...places.default, ...places.group]);
  renderPlace("default", places.default, t("emptyDefault"));
  const user = userOf(studio);
  renderPlace("group", places.group, t(studio.groups.length ? "emptyGroup" : "noGroup", { user }));
  sync(byId("place-create_exp"), places.create_exp, nameOf, () => createEntry("create_exp"));
  sync(byId("place-navbar"), places.navbar, nameOf, createNavbarButton);
  show(byId("navbar"), places.navbar.length > 0);
  show(byId("create-button"), places.create_exp.length > 0);
  const group = groupTitle(store.group, studio.groups);
  setText(byId("create-hint"), group ? t("createHint", { group }) : "");
  const role = `role_${studio.users.find((each) => each.id === studio.user)?.role}`;
  setText(byId("access-hint"), t("accessHint", { user, role: hasText(role) ? t(role) : "" }));
}

/** @param {Studio} studio */
function userOf(studio) {
  const found = studio.users.find((each) => each.id === studio.user);
  return found ? userName(found) : studio.user;
}

/**
 * @param {"default"|"group"} place
 * @param {Entry[]} entries
 * @param {string} emptyText what to say where there is nothing at all
 */
function renderPlace(place, entries, emptyText) {
  const chosen = chosenOf(entries);
  sync(byId(`place-${place}`), chosen, nameOf, () => createEntry(place));
  const count = isFiltered() ? t("countOf", { count: chosen.length, all: entries.length }) : `${entries.length}`;
  setText(byId(`${place}-count`), count);
  const empty = byId(`${place}-empty`);
  setText(empty, entries.length ? t("nothingFound") : emptyText);
  empty.hidden = chosen.length > 0;
}

/** @param {Entry} entry */
function nameOf(entry) {
  return entry.utility_name;
}

/**
 * A button of the navigation bar: one press starts the utility, if need be, and opens it.
 *
 * @returns {import("./types.js").View<Entry>}
 */
function createNavbarButton() {
  let current = /** @type {Entry|null} */ (null);
  const tile = createTile();
  const title = h("span", { className: "chip-title" });
  const state = h("span", { className: "chip-state", "data-part": "state" });
  const press = () => current && act(current, "navbar");
  const button = h("button", { type: "button", className: "chip", onclick: press }, tile.node, title, state);
  const node = h("li", { "data-place": "navbar" }, button);
  return {
    node,
    update(entry) {
      current = entry;
      const status = statusOf(entry);
      describe(node, entry, status);
      setAttribute(button, "data-status", status.kind);
      tile.update(entry);
      setText(title, titleOf(entry));
      setText(state, status.kind === "stopped" ? "" : t(status.kind));
    },
  };
}
