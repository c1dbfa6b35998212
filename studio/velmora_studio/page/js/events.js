/** Keeps a stream of states open and opens it anew when the Studio has gone. */

/** @typedef {import("./types.js").State} State */

const retryDelay = 1500; // milliseconds

/**
 * @param {{
 *   onState: (state: State, group: string) => void,
 *   onLost: () => void,
 * }} listeners
 */
export function openEvents({ onState, onLost }) {
  let group = "";
  /** @type {EventSource|null} */
  let source = null;
  let retry = 0;

  function open() {
    close();
    const watched = group;
    source = new EventSource(`/api/events?${new URLSearchParams({ group_name: watched })}`);
    source.addEventListener("state", (event) => onState(JSON.parse(event.data), watched));
    source.addEventListener("error", () => {
      close();
      onLost();
      retry = window.setTimeout(open, retryDelay);
    });
  }

  function close() {
    clearTimeout(retry);
    source?.close();
    source = null;
  }

  // A browser allows few connections to one host, and each page holds one: a page that nobody sees
  // gives its own back.
  document.addEventListener("visibilitychange", () => (document.hidden ? close() : open()));

  return {
    /**
     * Watches this group from now on.
     *
     * @param {string} chosen
     */
    watch(chosen) {
      group = chosen;
      if (!document.hidden) open();
    },
  };
}
