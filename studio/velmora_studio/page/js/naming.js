/** What can be read off an entry or an instance: names, keys, addresses. */

import { currentLanguage, t } from "./texts.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").Failure} Failure */

/**
 * The one of two texts that is in the user's language, else the other.
 *
 * @param {unknown} chinese
 * @param {unknown} english
 */
function inLanguage(chinese, english) {
  const texts = currentLanguage() === "en" ? [english, chinese] : [chinese, english];
  return String(texts.find(Boolean) ?? "");
}

/**
 * The title in the user's language, in the other one if it lacks, else the name.
 *
 * @param {{utility_name: string|null, title?: string|null, en_title?: string}} entry
 */
export function titleOf(entry) {
  return inLanguage(entry.title, entry.en_title) || entry.utility_name || "–";
}

/** @param {{id: string, name: string, en_name: string}} user */
export function userName(user) {
  return inLanguage(user.name, user.en_name) || user.id;
}

/** @param {Entry} entry */
export function aboutOf(entry) {
  return inLanguage(entry.description, entry.en_description);
}

/** @param {import("./types.js").Group} group */
export function ownerOf(group) {
  return inLanguage(group.organization, group.en_organization);
}

/**
 * The title of a device group; of an unknown one its name.
 *
 * @param {string} name
 * @param {import("./types.js").Group[]} groups
 */
export function groupTitle(name, groups) {
  const group = groups.find((each) => each.name === name);
  return (group && inLanguage(group.title, group.en_title)) || name;
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

/** @param {Server} server */
export function keyOfServer(server) {
  return keyOf(server.utility_name, server.group_name);
}

/**
 * What went wrong, in a sentence that names the signal or the exit code.
 *
 * @param {Failure} failure
 * @param {string} title the utility's
 */
export function failureTitle(failure, title) {
  if (failure.kind !== "end") return t("startFailed", { title });
  return `${t("endedByItself", { title })} ${exitText(failure)}`.trim();
}

/** @param {{signal?: string, exit_code?: number}|null} exit */
export function exitText(exit) {
  if (exit?.signal) return t("bySignal", { signal: exit.signal });
  return exit?.exit_code === undefined ? "" : t("withCode", { code: exit.exit_code });
}

/**
 * The first page of an instance; null where its names make no address below its own prefix.
 *
 * @param {Server} server
 */
export function addressOf(server) {
  const names = server.group_name === undefined ? [] : [server.group_name];
  const kind = names.length ? "group_utility" : "utility";
  const path = [kind, ...names, server.utility_name ?? ""].map(encodeURIComponent).join("/");
  // The same host name as the page's own: to a browser another name is another site.
  const origin = new URL(server.url);
  origin.hostname = location.hostname;
  const root = new URL(`/${path}/`, origin);
  const page = new URL(server.full_path, origin);
  const inside = /^\/(group_)?utility\/[^/]/.test(root.pathname);
  return inside && page.href.startsWith(root.href) ? page.href : null;
}
