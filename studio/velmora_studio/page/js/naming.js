/** What can be read off an entry or an instance: names, keys, addresses. */

import { currentLanguage, t } from "./texts.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Server} Server */

/**
 * The title in the user's language, in the other one if it lacks, else the name.
 *
 * @param {{utility_name: string|null, title?: string|null, en_title?: string}} entry
 */
export function titleOf(entry) {
  const titles = [entry.title, entry.en_title];
  if (currentLanguage() === "en") titles.reverse();
  return String(titles.find(Boolean) || entry.utility_name || "–");
}

/**
 * The user's name in the user's language.
 *
 * @param {{id: string, name: string, en_name: string}} user
 */
export function userName(user) {
  const names = [user.name, user.en_name];
  if (currentLanguage() === "en") names.reverse();
  return String(names.find(Boolean) || user.id);
}

/** @param {Entry} entry */
export function aboutOf(entry) {
  const abouts = [entry.description, entry.en_description];
  if (currentLanguage() === "en") abouts.reverse();
  return String(abouts.find(Boolean) ?? "");
}

/**
 * Whether the utility runs without a group although it needs one: it asks for the group inside.
 *
 * @param {Entry} entry
 */
export function choosesGroupInside(entry) {
  return entry.require_group_name && entry.display_location === "navbar";
}

/**
 * The group that an instance of this entry is bound to; "" for none.
 *
 * @param {Entry} entry
 * @param {string} group the chosen one
 */
export function groupOf(entry, group) {
  return entry.require_group_name && !choosesGroupInside(entry) ? group : "";
}

/**
 * What identifies an instance to the user, whichever process it is.
 *
 * @param {string|null} name
 * @param {string} [group]
 */
export function keyOf(name, group = "") {
  return JSON.stringify([name, group]);
}

/**
 * Whether an instance has ended by itself, rather than failed to start.
 *
 * @param {import("./types.js").Failure} failure
 */
export function isEnd(failure) {
  return failure.message.endsWith(" has ended by itself.");
}

/**
 * What went wrong, in a sentence.
 *
 * @param {import("./types.js").Failure} failure
 * @param {string} title the utility's
 */
export function failureTitle(failure, title) {
  return t(isEnd(failure) ? "endedByItself" : "startFailed", { title });
}

/** @param {Server} server */
export function keyOfServer(server) {
  return keyOf(server.utility_name, server.group_name);
}

/**
 * The first page of an instance below the Studio; null where its names make no such address. The
 * names stand in `url` as they are, so the address is built anew from them, each one escaped.
 *
 * @param {Server} server
 */
export function addressOf(server) {
  const grouped = /^\w+:\/\/[^/]*\/group_utility\//.test(server.url);
  const names = grouped ? [server.group_name, server.utility_name] : [server.utility_name];
  const path = names.map((name) => encodeURIComponent(name ?? "")).join("/");
  const root = new URL(`/${grouped ? "group_utility" : "utility"}/${path}/`, location.origin);
  const route = String(server.default_route ?? "").replace(/^\/+/, "");
  const page = new URL(`./${route}`, root);
  const inside = /^\/(group_)?utility\/[^/]/.test(root.pathname);
  return inside && page.href.startsWith(root.href) ? page.href : null;
}
