/** What went wrong with a utility, as the Studio words it. */

import { h, setText, show } from "./dom.js";
import { failureTitle } from "./naming.js";
import { drawing } from "./icons.js";
import { t } from "./texts.js";

/** @typedef {import("./types.js").Failure} Failure */

const headline = "Utility 启动失败:";

/**
 * The first line stands out, further lines keep their shape. `title` is the utility's, or
 * all that there is to say where the failure belongs to none.
 *
 * @param {() => void} onDismiss
 * @param {...Node} actions
 * @returns {import("./types.js").View<{title: string, failure: Failure|null}>}
 */
export function createFailure(onDismiss, ...actions) {
  const lead = h("p", { className: "failure-lead" });
  const first = h("strong", { className: "failure-first", "data-part": "first" });
  const rest = h("pre", { className: "failure-rest", "data-part": "rest", tabIndex: 0 });
  const dismissText = h("span");
  const button = h(
    "button",
    { type: "button", className: "button quiet", "data-action": "dismiss", onclick: onDismiss },
    dismissText,
  );
  const node = h(
    "div",
    { className: "failure", "data-part": "failure", hidden: true },
    drawing("warning"),
    h("div", { className: "failure-text" }, lead, first, rest),
    h("div", { className: "failure-actions" }, ...actions, button),
  );
  return {
    node,
    update({ title, failure }) {
      show(node, failure !== null);
      if (!failure) return;
      const isEnd = failure.kind === "end";
      setText(lead, failure.utility_name ? failureTitle(failure, title) : title);
      setText(dismissText, t("dismiss"));
      const words = isEnd ? failure.digest ?? "" : failure.digest || failure.message;
      const lines = words.trim().split("\n");
      showFirst(first, isEnd ? "" : lines.shift() ?? "");
      setText(rest, lines.join("\n"));
      rest.hidden = !rest.textContent;
    },
  };
}

/**
 * The headline is Chinese whatever the page's language is, so a screen reader is told.
 *
 * @param {HTMLElement} node
 * @param {string} line
 */
function showFirst(node, line) {
  if (node.textContent === line) return;
  if (!line.startsWith(headline)) {
    node.replaceChildren(line);
    return;
  }
  const cause = line.slice(headline.length);
  node.replaceChildren(h("span", { lang: "zh", className: "failure-headline" }, headline), cause);
}
