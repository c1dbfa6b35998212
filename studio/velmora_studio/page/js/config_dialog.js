/** Asks for the configuration of a start: by a form where a schema tells what there is, else as JSON. */

import { byId, setText } from "./dom.js";
import { titleOf } from "./naming.js";
import { createField } from "./config_field.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Entry} Entry */
/** @typedef {import("./config_field.js").Field} Field */

/** @type {Field[]} */
let fields = [];
/** @type {(config: object) => void} */
let startWith = () => {};

export function setUpConfigDialog() {
  byId("config-form").addEventListener("submit", (/** @type {SubmitEvent} */ event) => {
    event.preventDefault();
    const config = readAll();
    if (!config) return;
    byId("config-dialog").close();
    startWith(config);
  });
  byId("config-cancel").addEventListener("click", () => byId("config-dialog").close());
}

/**
 * @param {Entry} entry
 * @param {(config: object) => void} onStart
 */
export function askForConfig(entry, onStart) {
  startWith = onStart;
  const properties = entry.config_schema?.properties;
  const required = entry.config_schema?.required ?? [];
  fields = properties
    ? Object.entries(properties).map(([name, schema]) => createField(name, schema, required.includes(name)))
    : [createField("", { type: "object", title: t("configJson"), default: {} }, true)];
  setText(byId("config-heading"), t("configureTitle", { title: titleOf(entry) }));
  setText(byId("config-hint"), t(properties ? "configFormHint" : "configJsonHint"));
  byId("config-fields").replaceChildren(...fields.map((field) => field.node));
  byId("config-dialog").showModal();
  fields[0]?.focus();
}

/** @returns {object|null} null where something is wrong, which the field tells */
function readAll() {
  const read = fields.map((field) => ({ name: field.name, ...field.read() }));
  const wrong = read.findIndex(({ fault }) => fault);
  if (wrong >= 0) {
    fields[wrong]?.focus();
    return null;
  }
  const given = read.filter(({ value }) => value !== undefined);
  if (read.length === 1 && read[0]?.name === "") return given[0]?.value ?? {};
  return Object.fromEntries(given.map(({ name, value }) => [name, value]));
}
