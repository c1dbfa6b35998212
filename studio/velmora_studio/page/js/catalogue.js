/** The places of the interface that list what the user may use. */

import { act, createEntry, describe } from "./entry.js";
import { byId, h, setText, show, sync } from "./dom.js";
import { titleOf, userName } from "./naming.js";
import { createTile } from "./icons.js";
import { statusOf, store } from "./store.js";
import { hasText, t } from "./texts.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Place} Place */
/** @typedef {import("./types.js").State} State */

/** @param {State} state */
export function renderCatalogue(state) {
  const { places, studio } = state;
  for (const place of /** @type {Place[]} */ (["default", "group", "create_exp"])) {
    sync(byId(`place-${place}`), places[place], nameOf, () => createEntry(place));
  }
  sync(byId("place-navbar"), places.navbar, nameOf, createNavbarButton);
  show(byId("navbar"), places.navbar.length > 0);
  show(byId("create-button"), places.create_exp.length > 0);
  setText(byId("create-hint"), store.group ? t("createHint", { group: store.group }) : "");
  const found = studio.users.find((each) => each.id === studio.user);
  const user = found ? userName(found) : studio.user;
  const role = `role_${found?.role}`;
  showEmpty("default", places.default, t("emptyDefault"));
  showEmpty("group", places.group, t(studio.groups.length ? "emptyGroup" : "noGroup", { user }));
  setText(byId("access-hint"), t("accessHint", { user, role: hasText(role) ? t(role) : "" }));
  byId("catalogue").setAttribute("aria-busy", "false");
}

/** @param {Entry} entry */
function nameOf(entry) {
  return entry.utility_name;
}

/**
 * @param {"default"|"group"} place
 * @param {Entry[]} entries
 * @param {string} text
 */
function showEmpty(place, entries, text) {
  const node = byId(`${place}-empty`);
  setText(node, text);
  node.hidden = entries.length > 0;
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
      tile.update(entry);
      setText(title, titleOf(entry));
      setText(state, status.kind === "stopped" ? "" : t(status.kind));
    },
  };
}
