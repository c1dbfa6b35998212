/** What the user can do. A failure ends in the page, never in an exception. */

import { RequestError, post } from "./api.js";
import { confirmStop } from "./confirm_dialog.js";
import { choosesGroupInside, groupOf, keyOf, titleOf } from "./naming.js";
import { addNotice } from "./notices.js";
import { changed, markAnswered, markAsked, statusOfKey, store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Failure} Failure */
/** @typedef {import("./types.js").Server} Server */

/**
 * Starts the utility, in the chosen group if it runs per group.
 *
 * @param {Entry} entry
 * @param {object} [config]
 * @returns {Promise<boolean>} whether it runs
 */
export function startEntry(entry, config = {}) {
  // A utility that asks for the group in its own pages can offer those there are.
  const groups = store.state?.studio.groups.map((group) => group.name) ?? [];
  const own = choosesGroupInside(entry) ? { groups, ...config } : config;
  return start(entry.utility_name, groupOf(entry, store.group), own);
}

/**
 * @param {string} name
 * @param {string} group "" for none
 * @param {object} [config]
 * @returns {Promise<boolean>} whether it runs
 */
export async function start(name, group, config = {}) {
  const key = keyOf(name, group);
  if (statusOfKey(key).kind !== "stopped") return false;
  const { failure } = statusOfKey(key);
  if (failure) dismiss(failure);
  markAsked(key);
  try {
    await post("/api/utility/start", { utility_name: name, group_name: group, config });
    markAnswered(key, null);
    return true;
  } catch (error) {
    const { message, digest } = asRequestError(error);
    const time = Date.now() / 1000;
    markAnswered(key, { kind: "start", utility_name: name, group_name: group, message, digest, time });
    return false;
  }
}

/**
 * Asks first where the utility is one that goes on without the Studio.
 *
 * @param {Server} server
 */
export async function stop(server) {
  const id = server.server_id;
  if (store.stopping.has(id) || (server.persistent && !(await confirmStop(server)))) return;
  store.stopping.add(id);
  changed();
  const title = t("stopFailed", { title: titleOf(server) });
  try {
    const { stopped } = await post("/api/utility/stop", { server_id: id });
    if (!stopped && isListed(id)) addNotice(title);
  } catch (error) {
    addNotice(title, asRequestError(error).message);
  }
  // What has been stopped leaves the state by itself.
  setTimeout(() => store.stopping.delete(id) && changed(), 1000);
}

/** @param {Server} server */
export async function restart(server) {
  const id = server.server_id;
  store.stopping.add(id);
  changed();
  try {
    await post("/api/utility/restart", { server_id: id });
  } catch (error) {
    const { message, status } = asRequestError(error);
    // What the Studio itself tells of a failed start stands where the utility does.
    if (status !== 502) addNotice(t("requestFailed"), message);
  }
  store.stopping.delete(id);
  changed();
}

export async function stopAll() {
  const ids = store.state?.running.map((server) => server.server_id) ?? [];
  ids.forEach((id) => store.stopping.add(id));
  changed();
  await tryPost("/api/utility/stop_all");
  ids.forEach((id) => store.stopping.delete(id));
  changed();
}

/** @param {Failure} failure */
export function dismiss(failure) {
  store.refused.delete(keyOf(failure.utility_name, failure.group_name));
  changed();
  if (failure.id) tryPost("/api/failures/dismiss", { id: failure.id });
}

/** @returns {Promise<boolean>} whether the catalogue has been read anew */
export function refresh() {
  return tryPost("/api/utility/refresh");
}

/** @param {string} user */
export function chooseUser(user) {
  return tryPost("/api/studio/user", { user });
}

/** @param {string} language */
export function chooseLanguage(language) {
  return tryPost("/api/studio/language", { language });
}

/**
 * @param {string} path
 * @param {object} [body]
 */
async function tryPost(path, body = {}) {
  try {
    await post(path, body);
    return true;
  } catch (error) {
    addNotice(t("requestFailed"), asRequestError(error).message);
    changed(); // a list shows the old choice again
    return false;
  }
}

/** @param {string} id */
function isListed(id) {
  return store.state?.running.some((server) => server.server_id === id);
}

/** @param {unknown} error */
function asRequestError(error) {
  if (error instanceof RequestError) return error;
  throw error;
}
