/** The plugins: what each offers, and what was left out, with the reason. */

import { RequestError, get } from "./api.js";
import { byId, h, setAttribute, setText, sync } from "./dom.js";
import { changed } from "./store.js";
import { t } from "./texts.js";

/** @typedef {{name: string, directory: string, utilities: string[], problems: string[]}} Plugin */

/** @type {Plugin[]} */
let known = [];

/** To be called when the catalogue may have changed. */
export async function readPlugins() {
  try {
    const { plugins, refused } = await get("/api/plugins");
    const failed = refused.map((/** @type {any} */ { directory, reason }) => ({
      name: directory.split("/").at(-1),
      directory,
      utilities: [],
      problems: [t("pluginRefused", { reason })],
    }));
    known = [...failed, ...plugins].sort((a, b) => Math.sign(b.problems.length) - Math.sign(a.problems.length));
    changed();
  } catch (error) {
    if (!(error instanceof RequestError)) throw error;
  }
}

export function problemCount() {
  return known.reduce((sum, plugin) => sum + plugin.problems.length, 0);
}

export function renderPlugins() {
  sync(byId("plugin-list"), known, (plugin) => plugin.directory, createPlugin);
}

/** @returns {import("./types.js").View<Plugin>} */
function createPlugin() {
  const name = h("h3");
  const directory = h("p", { className: "code" });
  const utilities = h("p", { className: "hint" });
  const problems = h("ul", { className: "problems" });
  const node = h("li", { className: "plugin" }, name, directory, utilities, problems);
  return {
    node,
    update(plugin) {
      setAttribute(node, "data-plugin", plugin.name);
      setText(name, plugin.name);
      setText(directory, plugin.directory);
      setText(utilities, plugin.utilities.length ? t("pluginOffers", { names: plugin.utilities.join(", ") }) : "");
      sync(problems, plugin.problems, (problem) => problem, createProblem);
    },
  };
}

/** @returns {import("./types.js").View<string>} */
function createProblem() {
  const node = h("li", { "data-part": "problem" });
  return { node, update: (problem) => setText(node, problem) };
}
