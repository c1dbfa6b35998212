/** What the page knows: the Studio's latest state and what the user has done since. */

import { groupOf, keyOf, keyOfServer } from "./naming.js";

/** @typedef {import("./types.js").State} State */
/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Failure} Failure */
/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").Status} Status */

const dismissedName = "velmora.dismissed";
const settleTime = 3000; // milliseconds for the state to tell what became of a start

export const store = {
  /** @type {State|null} */
  state: null,
  /** The group that `state` was made for. */
  group: "",
  /** Whether the Studio has stopped answering. */
  lost: false,
  /**
   * Starts asked for here, until the state tells of them.
   *
   * @type {Set<string>}
   */
  asked: new Set(),
  /**
   * Instances that are being stopped from here.
   *
   * @type {Set<string>}
   */
  stopping: new Set(),
  /**
   * Starts that were refused without reaching the state's list.
   *
   * @type {Map<string, Failure>}
   */
  refused: new Map(),
  /**
   * When the failures of a key were last put aside.
   *
   * @type {Map<string, number>}
   */
  dismissed: readDismissed(),
};

/** @type {Set<() => void>} */
const listeners = new Set();
let scheduled = false;

/** @param {() => void} listener called once after each run of changes */
export function onChange(listener) {
  listeners.add(listener);
}

export function changed() {
  if (scheduled) return;
  scheduled = true;
  queueMicrotask(() => {
    scheduled = false;
    for (const listener of listeners) listener();
  });
}

/**
 * @param {State} state
 * @param {string} group
 */
export function takeState(state, group) {
  Object.assign(store, { state, group, lost: false });
  const running = new Set(state.running.map((server) => server.server_id));
  for (const id of store.stopping) if (!running.has(id)) store.stopping.delete(id);
  for (const server of state.running) settle(keyOfServer(server), server.create_time ?? 0);
  changed();
}

/**
 * An instance runs: what was asked for is there, and what failed before is past.
 *
 * @param {string} key
 * @param {number} since
 */
function settle(key, since) {
  store.asked.delete(key);
  store.refused.delete(key);
  store.dismissed.set(key, Math.max(since, store.dismissed.get(key) ?? 0));
}

/** @param {string} key */
export function markAsked(key) {
  store.asked.add(key);
  store.refused.delete(key);
  dismiss(key);
}

/**
 * The start has been answered. If it went well, the mark stays until the state shows the instance,
 * so that the entry doesn't flicker.
 *
 * @param {string} key
 * @param {Failure|null} failure
 */
export function markAnswered(key, failure) {
  if (failure) {
    store.asked.delete(key);
    store.refused.set(key, failure);
  } else {
    setTimeout(() => store.asked.delete(key) && changed(), settleTime);
  }
  changed();
}

/** @param {string} key */
export function dismiss(key) {
  store.refused.delete(key);
  store.dismissed.set(key, Date.now() / 1000);
  try {
    sessionStorage.setItem(dismissedName, JSON.stringify([...store.dismissed]));
  } catch {
    // It holds for this page alone.
  }
  changed();
}

/** @param {Entry} entry */
export function statusOf(entry) {
  return statusOfKey(keyOf(entry.utility_name, groupOf(entry, store.group)));
}

/**
 * @param {string} key
 * @returns {Status}
 */
export function statusOfKey(key) {
  const server = store.state?.running.find((each) => keyOfServer(each) === key) ?? null;
  if (server) {
    const kind = store.stopping.has(server.server_id) ? "stopping" : "running";
    return { kind, server, failure: null };
  }
  const isStarting = store.state?.starting.some(
    (each) => keyOf(each.utility_name, each.group_name) === key,
  );
  if (isStarting || store.asked.has(key)) return { kind: "starting", server, failure: null };
  return { kind: "stopped", server, failure: failureOf(key) };
}

/**
 * The latest failure that hasn't been put aside.
 *
 * @param {string} key
 */
function failureOf(key) {
  const refused = store.refused.get(key);
  if (refused) return refused;
  const since = store.dismissed.get(key) ?? 0;
  const isLive = (/** @type {Failure} */ each) =>
    keyOf(each.utility_name, each.group_name) === key && each.time > since;
  return store.state?.failures.filter(isLive).at(-1) ?? null;
}

/** @returns {Map<string, number>} */
function readDismissed() {
  try {
    return new Map(JSON.parse(sessionStorage.getItem(dismissedName) ?? "[]"));
  } catch {
    return new Map();
  }
}
