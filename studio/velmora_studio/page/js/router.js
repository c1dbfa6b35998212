/** What the page shows, and the address of it: Back, reload and links lead where they should. */

import { keyOf } from "./naming.js";
import { changed } from "./store.js";

/** @typedef {import("./types.js").PageView} PageView */
/** @typedef {PageView["part"]} Part */

const parts = ["page", "lines", "details"];

/** @type {PageView} */
export const overview = { kind: "overview", key: "", name: "", group: "", part: "page", whole: false };
/** @type {PageView} */
export const plugins = { ...overview, kind: "plugins" };

let current = readAddress();
addEventListener("popstate", () => {
  current = readAddress();
  changed();
});

/** @returns {PageView} */
export function currentView() {
  return current;
}

/**
 * @param {string} name
 * @param {string} group "" for none
 * @param {Part} [part]
 * @param {boolean} [whole] the page as the whole window
 * @returns {PageView}
 */
export function utilityView(name, group, part = "page", whole = false) {
  return { kind: "utility", key: keyOf(name, group), name, group, part, whole };
}

/** @param {PageView} view */
export function go(view) {
  if (addressOfView(view) !== addressOfView(current)) history.pushState(null, "", addressOfView(view));
  current = view;
  changed();
}

/** @param {PageView} view */
export function addressOfView(view) {
  if (view.kind === "overview") return "/";
  if (view.kind === "plugins") return "/view/plugins";
  const names = view.group ? ["group", view.group, view.name] : ["utility", view.name];
  const tail = view.part === "page" ? [] : [view.part];
  const path = ["", "view", ...names, ...tail].map(encodeURIComponent).join("/");
  return view.whole ? `${path}?whole` : path;
}

/**
 * A link of the page that changes the view without loading anything; a new tab can be had as usual.
 *
 * @param {HTMLAnchorElement} link
 * @param {() => PageView} viewOf
 */
export function leadsTo(link, viewOf) {
  link.addEventListener("click", (event) => {
    if (event.ctrlKey || event.metaKey || event.shiftKey || event.button) return;
    event.preventDefault();
    go(viewOf());
  });
}

/** @returns {PageView} */
function readAddress() {
  const [, first, kind, ...rest] = location.pathname.split("/").map(decode);
  if (first !== "view") return overview;
  if (kind === "plugins") return plugins;
  const [group, name, part] = kind === "group" ? rest : ["", ...rest];
  if (!name || !["group", "utility"].includes(kind ?? "")) return overview;
  const known = /** @type {Part} */ (parts.includes(part ?? "") ? part : "page");
  return utilityView(name, group ?? "", known, new URLSearchParams(location.search).has("whole"));
}

/** @param {string} piece */
function decode(piece) {
  try {
    return decodeURIComponent(piece);
  } catch {
    return piece;
  }
}
