/** What the page knows: the Studio's latest state, the catalogue, and what the user has done since. */

import { groupOf, keyOf, keyOfServer } from "./naming.js";

/** @typedef {import("./types.js").State} State */
/** @typedef {import("./types.js").Change} Change */
/** @typedef {import("./types.js").Catalogue} Catalogue */
/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./types.js").Failure} Failure */
/** @typedef {import("./types.js").Server} Server */
/** @typedef {import("./types.js").Status} Status */

const settleTime = 3000; // milliseconds for the state to tell what became of a start

export const store = {
  /** @type {State|null} */
  state: null,
  /** @type {Catalogue|null} */
  catalogue: null,
  /** The group that `catalogue` was made for. */
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
};

/** What runs, by the key of its utility. @type {Map<string, Server>} */
let runningByKey = new Map();
/** What is starting, by the same. @type {Map<string, import("./types.js").Starting>} */
let startingByKey = new Map();
/** The latest failure of each. @type {Map<string, Failure>} */
let failureByKey = new Map();
/** The catalogue's entries by name, whatever place they stand in. @type {Map<string, Entry>} */
let entryByName = new Map();

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

/** @param {State} state */
export function takeState(state) {
  Object.assign(store, { state, lost: false });
  runningByKey = new Map(state.running.map((server) => [keyOfServer(server), server]));
  startingByKey = new Map(state.starting.map((each) => [keyOf(each.utility_name, each.group_name), each]));
  failureByKey = new Map(state.failures.map((each) => [keyOf(each.utility_name, each.group_name), each]));
  const ids = new Set(state.running.map((server) => server.server_id));
  for (const id of store.stopping) if (!ids.has(id)) store.stopping.delete(id);
  for (const key of runningByKey.keys()) {
    store.asked.delete(key);
    store.refused.delete(key);
  }
  changed();
}

/** @param {Catalogue} catalogue @param {string} group */
export function takeCatalogue(catalogue, group) {
  Object.assign(store, { catalogue, group });
  const entries = Object.values(catalogue.places).flat();
  entryByName = new Map(entries.map((entry) => [entry.utility_name, entry]));
  changed();
}

/** @param {string} name @returns {Entry|null} */
export function entryOf(name) {
  return entryByName.get(name) ?? null;
}

/** @param {string} key */
export function markAsked(key) {
  store.asked.add(key);
  store.refused.delete(key);
  changed();
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

/** @param {Entry} entry */
export function statusOf(entry) {
  return statusOfKey(keyOf(entry.utility_name, groupOf(entry, store.group)));
}

/**
 * @param {string} key
 * @returns {Status}
 */
export function statusOfKey(key) {
  const server = runningByKey.get(key) ?? null;
  if (server) return { kind: kindOf(server), server, failure: null, waits: false };
  const starting = startingByKey.get(key);
  const waits = starting?.waits ?? false;
  if (starting || store.asked.has(key)) return { kind: "starting", server, failure: null, waits };
  const failure = failureByKey.get(key) ?? store.refused.get(key) ?? null;
  return { kind: "stopped", server, failure, waits };
}

/** @param {Server} server @returns {Status["kind"]} */
export function kindOf(server) {
  if (server.stopping || store.stopping.has(server.server_id)) return "stopping";
  return server.readiness === "ready" ? "running" : server.readiness;
}
