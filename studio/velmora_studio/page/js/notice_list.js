/** Notices as they stand below the header. */

import { dismiss } from "./actions.js";
import { byId, h, sync } from "./dom.js";
import { createFailure } from "./failure.js";
import { titleOf } from "./naming.js";
import { notices } from "./notices.js";
import { statusOf, store } from "./store.js";

/** @typedef {import("./notices.js").Notice} Notice */

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
