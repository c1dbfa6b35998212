/** Keeps a stream of changes open, makes states of them, and opens it anew when the Studio has gone. */

/** @typedef {import("./types.js").State} State */
/** @typedef {import("./types.js").Change} Change */

const retryDelay = 1500; // milliseconds

/**
 * @param {{
 *   onState: (state: State) => void,
 *   onLost: () => void,
 * }} listeners
 */
export function openEvents({ onState, onLost }) {
  /** @type {Record<"studio"|"running"|"starting"|"failures", Map<string, any>>} */
  let known = nothing();
  /** @type {EventSource|null} */
  let source = null;
  let retry = 0;

  function open() {
    close();
    source = new EventSource("/api/events");
    source.addEventListener("change", (event) => take(JSON.parse(event.data)));
    source.addEventListener("error", () => {
      close();
      onLost();
      retry = window.setTimeout(open, retryDelay);
    });
  }

  /** @param {Change} change */
  function take(change) {
    if (change.fresh) known = nothing();
    for (const [section, values] of Object.entries(known)) {
      for (const [key, value] of Object.entries(change[/** @type {"running"} */ (section)] ?? {})) {
        if (value === null && section !== "studio") values.delete(key);
        else values.set(key, value);
      }
    }
    if (!change.more) onState(state());
  }

  /** @returns {State} */
  function state() {
    return {
      studio: /** @type {any} */ (Object.fromEntries(known.studio)),
      running: [...known.running.values()],
      starting: [...known.starting.values()],
      failures: [...known.failures.values()],
    };
  }

  function close() {
    clearTimeout(retry);
    source?.close();
    source = null;
  }

  // A browser allows few connections to one host, and each page holds one: a page that nobody sees
  // gives its own back.
  document.addEventListener("visibilitychange", () => (document.hidden ? close() : open()));
  if (!document.hidden) open();
}

function nothing() {
  return { studio: new Map(), running: new Map(), starting: new Map(), failures: new Map() };
}
