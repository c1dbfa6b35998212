/** Tells users of screen readers what has changed somewhere on the page. */

import { byId } from "./dom.js";
import { failureTitle, keyOf, titleOf } from "./naming.js";
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
  const failed = added(
    before.failures,
    after.failures,
    (each) => `${keyOf(each.utility_name, each.group_name)} ${each.time}`,
  );
  if (failed.length) alertAloud(failed.map((failure) => textOf(failure, after)).join(" "));
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
  return server.group_name ? t("inGroup", { title, group: server.group_name }) : title;
}

/**
 * @param {import("./types.js").Failure} failure
 * @param {State} state
 */
function textOf(failure, state) {
  const entries = Object.values(state.places).flat();
  const entry = entries.find((each) => each.utility_name === failure.utility_name);
  const title = entry ? titleOf(entry) : failure.utility_name;
  return `${failureTitle(failure, title)} ${failure.digest || failure.message}`;
}
