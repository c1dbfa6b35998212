/** Tells users of screen readers what has changed somewhere on the page. */

import { byId } from "./dom.js";
import { failureTitle, groupTitle, titleOf } from "./naming.js";
import { entryOf, store } from "./store.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").State} State */

/** @param {string} text */
export function sayAloud(text) {
  byId("said").textContent = text;
}

/** @param {string} text */
export function alertAloud(text) {
  byId("alerted").textContent = text;
}

/**
 * Tells what has begun, ended or failed between two states.
 *
 * @param {State} before
 * @param {State} after
 */
export function announceChanges(before, after) {
  const said = [
    ...added(before.running, after.running, (server) => server.server_id).map((server) =>
      t("nowRunning", { title: nameOf(server) }),
    ),
    ...added(after.running, before.running, (server) => server.server_id).map((server) =>
      t("hasEnded", { title: nameOf(server) }),
    ),
  ];
  if (said.length) sayAloud(said.join(" "));
  const failed = added(before.failures, after.failures, (each) => each.id ?? "");
  if (failed.length) alertAloud(failed.map(textOf).join(" "));
}

/**
 * @template T
 * @param {T[]} before
 * @param {T[]} after
 * @param {(item: T) => string} keyOfItem
 */
function added(before, after, keyOfItem) {
  const known = new Set(before.map(keyOfItem));
  return after.filter((item) => !known.has(keyOfItem(item)));
}

/** @param {import("./types.js").Server} server */
function nameOf(server) {
  const title = titleOf(server);
  const group = groupTitle(server.group_name ?? "", store.state?.studio.groups ?? []);
  return group ? t("inGroup", { title, group }) : title;
}

/** @param {import("./types.js").Failure} failure */
function textOf(failure) {
  const entry = entryOf(failure.utility_name);
  const title = entry ? titleOf(entry) : failure.utility_name;
  return `${failureTitle(failure, title)} ${failure.digest || failure.message}`;
}
