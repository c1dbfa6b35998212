/** Icons: those that utilities bring along, and the drawings of the page itself. */

import { titleOf } from "./naming.js";
import { h, setAttribute, setText } from "./dom.js";

/** @typedef {import("./types.js").Server} Server */

const svg = "http://www.w3.org/2000/svg";
const hues = 6; // as many as the style sheet has

/** Strokes on a field of 24 by 24. */
const drawings = {
  tab: "M14 4h6v6M20 4l-9 9M18 14v5a1 1 0 0 1-1 1H5a1 1 0 0 1-1-1V7a1 1 0 0 1 1-1h5",
  stop: "M6 6h12v12H6z",
  close: "M6 6l12 12M18 6L6 18",
  reload: "M20 5v5h-5M19.5 10A8 8 0 1 0 20 14",
  lines: "M5 6h14M5 10h9M5 14h14M5 18h7",
  plus: "M12 5v14M5 12h14",
  theme_system: "M12 3a9 9 0 1 0 0 18zM12 3a9 9 0 0 1 0 18",
  theme_light:
    "M12 8a4 4 0 1 0 0 8 4 4 0 1 0 0-8M12 2v3M12 19v3M2 12h3M19 12h3" +
    "M5 5l2 2M17 17l2 2M5 19l2-2M17 7l2-2",
  theme_dark: "M20 14A8.5 8.5 0 0 1 10 4a8.5 8.5 0 1 0 10 10z",
  warning: "M12 4L2.5 20h19zM12 10v4M12 17h.01",
};

/**
 * A drawing that stands beside a text, so it has none of its own.
 *
 * @param {keyof typeof drawings} name
 */
export function drawing(name) {
  const node = document.createElementNS(svg, "svg");
  node.setAttribute("viewBox", "0 0 24 24");
  node.setAttribute("class", "drawing");
  node.setAttribute("aria-hidden", "true");
  const path = document.createElementNS(svg, "path");
  path.setAttribute("d", drawings[name]);
  node.append(path);
  return node;
}

/**
 * The tile with a utility's icon. Without a usable icon it shows the first letter of the title.
 *
 * @returns {import("./types.js").View<Pick<Server, "utility_name"|"title"|"en_title"|"icon">>}
 */
export function createTile() {
  const image = h("img", { alt: "", hidden: true });
  const letter = h("span", { className: "letter" });
  const node = h("span", { className: "tile", "aria-hidden": "true" }, image, letter);
  let broken = "";
  let update = () => {};
  image.addEventListener("error", () => {
    broken = image.src;
    update();
  });
  return {
    node,
    update(entry) {
      update = () => this.update(entry);
      const icon = entry.icon?.startsWith("data:image/") && entry.icon !== broken ? entry.icon : "";
      if (icon) setAttribute(image, "src", icon);
      image.hidden = !icon;
      setText(letter, icon ? "" : Array.from(titleOf(entry))[0].toUpperCase());
      setAttribute(node, "data-hue", icon ? null : String(hueOf(entry.utility_name ?? "")));
    },
  };
}

/** @param {string} name */
function hueOf(name) {
  let sum = 0;
  for (const letter of name) sum = (sum * 31 + (letter.codePointAt(0) ?? 0)) % 9973;
  return sum % hues;
}
