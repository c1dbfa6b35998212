/** The last lines of a utility: following what it writes, searchable, and there when it has ended. */

import { RequestError, get } from "./api.js";
import { h, setAttribute, setText, show } from "./dom.js";
import { exitText } from "./naming.js";
import { t } from "./texts.js";

/** @typedef {import("./opened.js").Opened} Opened */
/**
 * @typedef {Object} Lines
 * @property {boolean} running
 * @property {boolean} adopted
 * @property {{signal?: string, exit_code?: number}|null} exit
 * @property {string} version
 * @property {string} [text] left out if it is known
 */

const pause = 1000; // milliseconds between two looks

/** @returns {import("./types.js").View<{opened: Opened, shown: boolean}>} */
export function createLines() {
  let opened = /** @type {Opened|null} */ (null);
  let [timer, asking] = [0, false];
  let [known, text] = ["", ""];
  let told = /** @type {Lines|null} */ (null);
  const searchText = h("span", { className: "unseen" });
  const search = h("input", { type: "search", className: "input", oninput: render });
  const follow = h("input", { type: "checkbox", checked: true, onchange: render });
  const followText = h("span");
  const found = h("span", { className: "hint", role: "status" });
  const state = h("p", { className: "lines-state", "data-part": "lines-state" });
  const output = h("pre", { className: "lines", tabIndex: 0, "data-part": "lines" });
  // Whoever scrolls up wants to read, and whoever comes back to the end to follow. Lines that come
  // and a page that changes its form move the end away, too.
  let top = 0;
  output.addEventListener("scroll", () => {
    const isAtEnd = output.scrollHeight - output.scrollTop - output.clientHeight < 24;
    follow.checked = isAtEnd || (follow.checked && output.scrollTop >= top);
    top = output.scrollTop;
  });
  const node = h(
    "div",
    { className: "lines-view", hidden: true },
    h(
      "div",
      { className: "lines-tools" },
      h("label", { className: "grow" }, searchText, search),
      found,
      h("label", { className: "check" }, follow, followText),
    ),
    state,
    output,
  );
  return { node, update };

  /** @param {{opened: Opened, shown: boolean}} item */
  function update({ opened: now, shown }) {
    setText(searchText, t("searchLines"));
    setAttribute(search, "placeholder", t("searchLines"));
    setText(followText, t("follow"));
    setAttribute(output, "aria-label", t("lastLines"));
    if (told) setText(state, stateOf(told));
    opened = now;
    show(node, shown);
    if (shown && !timer) look();
    if (!shown) stop();
  }

  function stop() {
    clearTimeout(timer);
    timer = 0;
  }

  async function look() {
    if (!opened) return;
    timer = window.setTimeout(look, pause);
    if (asking || (document.hidden && known)) return;
    asking = true;
    try {
      const query = { utility_name: opened.name, group_name: opened.group, known };
      take(await get("/api/utility/lines", query));
    } catch (error) {
      if (!(error instanceof RequestError)) throw error;
      told = null;
      setText(state, error.message);
    } finally {
      asking = false;
    }
  }

  /** @param {Lines} lines */
  function take(lines) {
    told = lines;
    setText(state, stateOf(lines));
    setAttribute(state, "data-ended", lines.exit ? "" : null);
    if (lines.text === undefined) return;
    [known, text] = [lines.version, lines.text];
    render();
  }

  /** @param {Lines} lines */
  function stateOf({ running, adopted, exit, text: now = text }) {
    if (running && adopted && !now) return t("linesAdopted");
    if (running) return t("linesRunning");
    return exit ? `${t("linesEnded")} ${exitText(exit)}` : t("linesNone");
  }

  function render() {
    const lines = text ? text.split("\n") : [];
    const word = search.value.toLowerCase();
    const chosen = word ? lines.filter((line) => line.toLowerCase().includes(word)) : lines;
    setText(found, word ? t("linesFound", { count: chosen.length, all: lines.length }) : "");
    output.replaceChildren(...(word ? chosen.flatMap((line) => marked(line, word)) : [chosen.join("\n")]));
    output.classList.toggle("none", !text);
    if (!text) setText(output, t("noLines"));
    if (follow.checked) output.scrollTop = output.scrollHeight;
  }
}

/** @param {string} line @param {string} word in lower case */
function marked(line, word) {
  const pieces = [];
  let place = 0;
  for (let at = line.toLowerCase().indexOf(word); at >= 0; at = line.toLowerCase().indexOf(word, place)) {
    pieces.push(line.slice(place, at), h("mark", {}, line.slice(at, at + word.length)));
    place = at + word.length;
  }
  return [...pieces, `${line.slice(place)}\n`];
}
