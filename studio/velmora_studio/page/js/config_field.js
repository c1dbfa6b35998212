/** A field of the configuration form: shows one property of a schema, and checks what is put in. */

import { h, setAttribute, setText } from "./dom.js";
import { currentLanguage, t } from "./texts.js";

/** @typedef {import("./types.js").Schema} Schema */
/**
 * @typedef {Object} Field
 * @property {string} name
 * @property {HTMLElement} node
 * @property {() => {value?: any, fault: string}} read undefined is to be left out
 * @property {() => void} focus
 */

let count = 0;

/**
 * @param {string} name
 * @param {Schema} schema
 * @param {boolean} required
 * @returns {Field}
 */
export function createField(name, schema, required) {
  const id = `config-field-${(count += 1)}`;
  const input = createInput(schema, required);
  input.id = id;
  input.setAttribute("aria-describedby", `${id}-about ${id}-fault`);
  const fault = h("p", { className: "fault", id: `${id}-fault`, role: "alert" });
  const label = h("label", { htmlFor: id }, labelOf(name, schema) + (required && name ? " *" : ""));
  const about = h("p", { className: "hint", id: `${id}-about` }, aboutOf(schema));
  const node = h("div", { className: "config-field", "data-field": name }, label, input, about, fault);
  if (schema.type === "boolean") node.classList.add("check");

  function read() {
    const result = readValue(input, schema, required);
    setText(fault, result.fault);
    setAttribute(input, "aria-invalid", result.fault ? "true" : null);
    return result;
  }
  input.addEventListener("change", read);
  return { name, node, read, focus: () => input.focus() };
}

/** @param {string} name @param {Schema} schema */
export function labelOf(name, schema) {
  const titles = [schema.title, schema.en_title];
  if (currentLanguage() === "en") titles.reverse();
  return titles.find(Boolean) ?? name;
}

/** @param {Schema} schema */
function aboutOf(schema) {
  const abouts = [schema.description, schema.en_description];
  if (currentLanguage() === "en") abouts.reverse();
  const { minimum: low, maximum: high } = schema;
  const range = low !== undefined && high !== undefined ? t("range", { low, high }) : "";
  return [abouts.find(Boolean), range].filter(Boolean).join(" ");
}

/** @param {Schema} schema @param {boolean} required @returns {any} */
function createInput(schema, required) {
  const initial = schema.default;
  if (schema.enum) {
    const none = required ? [] : [h("option", { value: "" }, "–")];
    const options = schema.enum.map((value, index) => h("option", { value: String(index) }, String(value)));
    const select = h("select", {}, ...none, ...options);
    if (initial !== undefined) select.value = String(schema.enum.indexOf(initial));
    return select;
  }
  if (schema.type === "boolean") return h("input", { type: "checkbox", checked: Boolean(initial) });
  if (isPlain(schema)) {
    const isNumber = schema.type !== "string";
    return h("input", { className: "input", inputMode: isNumber ? "decimal" : "text", value: String(initial ?? "") });
  }
  const text = initial === undefined ? "" : JSON.stringify(initial, null, 2);
  return h("textarea", { className: "input code", rows: 6, spellcheck: false, value: text });
}

/** @param {Schema} schema */
function isPlain({ type }) {
  return ["string", "number", "integer"].includes(type ?? "");
}

/**
 * @param {any} input
 * @param {Schema} schema
 * @param {boolean} required
 * @returns {{value?: any, fault: string}}
 */
function readValue(input, schema, required) {
  if (schema.type === "boolean" && !schema.enum) return { value: input.checked, fault: "" };
  const text = input.value;
  if (!text.trim()) return { value: undefined, fault: required ? t("faultMissing") : "" };
  if (schema.enum) return { value: schema.enum[Number(text)], fault: "" };
  if (schema.type === "string") return { value: text, fault: textFault(text, schema) };
  if (isPlain(schema)) return { value: Number(text), fault: numberFault(Number(text), schema) };
  try {
    const value = JSON.parse(text);
    return { value, fault: hasType(value, schema.type) ? "" : t("faultType", { type: schema.type ?? "" }) };
  } catch (error) {
    return { value: undefined, fault: t("faultJson", { reason: String(/** @type {any} */ (error).message) }) };
  }
}

/** @param {string} text @param {Schema} schema */
function textFault(text, { minLength = 0, maxLength = Infinity, pattern = "" }) {
  if (text.length < minLength || text.length > maxLength) return t("faultLength");
  return new RegExp(pattern, "u").test(text) ? "" : t("faultPattern", { pattern });
}

/** @param {number} value @param {Schema} schema */
function numberFault(value, { type, minimum = -Infinity, maximum = Infinity }) {
  if (!Number.isFinite(value)) return t("faultNumber");
  if (type === "integer" && !Number.isInteger(value)) return t("faultInteger");
  return value < minimum || value > maximum ? t("faultRange", { minimum, maximum }) : "";
}

/** @param {any} value @param {string} [type] */
function hasType(value, type) {
  if (type === "array") return Array.isArray(value);
  if (type === "object") return typeof value === "object" && value !== null && !Array.isArray(value);
  return true;
}
