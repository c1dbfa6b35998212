/** Notices below the header: what failed and has no place of its own in the page. */

import { dismiss } from "./actions.js";
import { alertAloud } from "./announcer.js";
import { byId, h, sync } from "./dom.js";
import { createFailure } from "./failure.js";
import { titleOf } from "./naming.js";
import { changed, statusOf, store } from "./store.js";

/** @typedef {import("./types.js").Failure} Failure */
/** @typedef {{id: string, title: string, failure: Failure, dismiss: () => void}} Notice */

/** @type {Notice[]} */
let notices = [];
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

export function renderNotices() {
  sync(byId("notices"), [...notices, ...navbarNotices()], (notice) => notice.id, createNotice);
}

/**
 * A button of the navigation bar has no room for a message.
 *
 * @returns {Notice[]}
 */
function navbarNotices() {
  return (store.catalogue?.places.navbar ?? []).flatMap((entry) => {
    const { failure } = statusOf(entry);
    if (!failure) return [];
    const id = `${failure.utility_name} ${failure.time}`;
    return [{ id, title: titleOf(entry), failure, dismiss: () => dismiss(failure) }];
  });
}

/** @returns {import("./types.js").View<Notice>} */
function createNotice() {
  let current = /** @type {Notice|null} */ (null);
  const failure = createFailure(() => {
    current?.dismiss();
    byId("workspace").focus(); // the button that had the focus goes with the notice
  });
  return {
    node: h("li", {}, failure.node),
    update(notice) {
      current = notice;
      failure.update(notice);
    },
  };
}
