/** What there is to know about a utility: where it comes from, who may use it, how it was started. */

import { RequestError, get } from "./api.js";
import { h, setText, show, sync } from "./dom.js";
import { aboutOf, groupTitle } from "./naming.js";
import { statusOfKey, store } from "./store.js";
import { currentLanguage, hasText, t } from "./texts.js";

/** @typedef {import("./opened.js").Opened} Opened */
/** @typedef {{name: string, value: string, code?: boolean}} Fact */

/** @returns {import("./types.js").View<{opened: Opened, shown: boolean}>} */
export function createDetails() {
  let shownFor = "";
  const list = h("dl", { className: "facts" });
  const message = h("p", { className: "hint", role: "status" });
  const node = h("div", { className: "details-view", "data-part": "details", tabIndex: 0, hidden: true }, message, list);
  return { node, update };

  /** @param {{opened: Opened, shown: boolean}} item */
  function update({ opened, shown }) {
    show(node, shown);
    const id = statusOfKey(opened.key).server?.server_id ?? "";
    const wanted = shown ? `${id} ${store.state?.studio.catalogue} ${currentLanguage()}` : "";
    if (wanted && wanted !== shownFor) look(opened);
    shownFor = wanted;
  }

  /** @param {Opened} opened */
  async function look({ name, group }) {
    setText(message, t("loading"));
    try {
      const details = await get("/api/utility/details", { utility_name: name, group_name: group });
      sync(list, factsOf(details, group), (fact) => fact.name, createFact);
      setText(message, "");
    } catch (error) {
      if (!(error instanceof RequestError)) throw error;
      setText(message, error.message);
    }
  }
}

/**
 * @param {any} details
 * @param {string} group
 * @returns {Fact[]}
 */
function factsOf({ registration, plugin_directory, instance }, group) {
  const access = `access${registration.access_level}`;
  const title = groupTitle(group, store.state?.studio.groups ?? []);
  const facts = [
    { name: "factName", value: registration.utility_name },
    { name: "factAbout", value: aboutOf(registration) },
    { name: "factPlugin", value: registration.plugin_name },
    { name: "factDirectory", value: plugin_directory, code: true },
    { name: "factScript", value: registration.script_path, code: true },
    { name: "factAccess", value: hasText(access) ? t(access) : registration.access_level },
    { name: "factRuns", value: t(registration.require_group_name ? "factPerGroup" : "factOnce") },
    { name: "group", value: group && (title === group ? group : `${title} (${group})`) },
    { name: "factPersistent", value: t(registration.persistent ? "yes" : "no") },
    { name: "factRoute", value: registration.default_route, code: true },
  ];
  return [...facts, ...(instance ? instanceFacts(instance) : [])].filter((fact) => fact.value);
}

/** @param {any} instance @returns {Fact[]} */
function instanceFacts(instance) {
  return [
    { name: "process", value: String(instance.pid) },
    { name: "port", value: String(instance.port) },
    { name: "factUrl", value: instance.url, code: true },
    { name: "factLocalUrl", value: instance.local_url, code: true },
    { name: "factConfig", value: JSON.stringify(instance.config, null, 2), code: true },
    { name: "factCommandLine", value: instance.command_line, code: true },
  ];
}

/** @returns {import("./types.js").View<Fact>} */
function createFact() {
  const name = h("dt");
  const value = h("dd");
  return {
    node: h("div", {}, name, value),
    update(fact) {
      setText(name, t(fact.name));
      value.className = fact.code ? "code" : "";
      setText(value, fact.value);
    },
  };
}
