/** Notices: what failed and has no place of its own in the page. */

import { alertAloud } from "./announcer.js";
import { changed } from "./store.js";

/** @typedef {import("./types.js").Failure} Failure */
/** @typedef {{id: string, title: string, failure: Failure, dismiss: () => void}} Notice */

/** @type {Notice[]} */
export let notices = [];
let count = 0;

/**
 * @param {string} title
 * @param {string} [message]
 */
export function addNotice(title, message = "") {
  const id = `notice-${(count += 1)}`;
  /** @type {Failure} */
  const failure = { kind: "start", utility_name: "", group_name: "", message, time: 0 };
  const remove = () => {
    notices = notices.filter((notice) => notice.id !== id);
    changed();
  };
  notices.push({ id, title, failure, dismiss: remove });
  alertAloud(`${title} ${message}`);
  changed();
}
