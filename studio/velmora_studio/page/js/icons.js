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
  restart: "M4 12a8 8 0 0 1 14-5.3L20 9M20 4v5h-5M20 12a8 8 0 0 1-14 5.3L4 15M4 20v-5h5",
  more: "M12 5h.01M12 12h.01M12 19h.01",
  star: "M12 3.5l2.6 5.4 5.9.8-4.3 4.1 1 5.9-5.2-2.8-5.2 2.8 1-5.9L3.5 9.7l5.9-.8z",
  details: "M12 3a9 9 0 1 0 0 18 9 9 0 1 0 0-18M12 11v6M12 7.5h.01",
  sliders: "M4 7h9M17 7h3M4 17h3M11 17h9M15 4.5v5M9 14.5v5",
  whole: "M4 9V4h5M20 9V4h-5M4 15v5h5M20 15v5h-5",
  fold: "M4 5h16v14H4zM9.5 5v14M6 9h1M6 12h1",
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
  node.setAttribute("class", `drawing drawing-${name}`);
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
  const image = h("img", { alt: "", hidden: true, loading: "lazy", decoding: "async" });
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
      const address = entry.icon ? new URL(entry.icon, location.href).href : "";
      const icon = address !== broken ? address : "";
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
