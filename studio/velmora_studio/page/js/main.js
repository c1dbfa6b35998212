/** Puts the page together: takes the Studio's states and draws them. */

import { announceChanges, sayAloud } from "./announcer.js";
import { tickAges } from "./ages.js";
import { RequestError, get } from "./api.js";
import { renderCatalogue } from "./catalogue.js";
import { setUpConfigDialog } from "./config_dialog.js";
import { setUpCreateMenu } from "./create_menu.js";
import { byId, setAttribute, setText } from "./dom.js";
import { openEvents } from "./events.js";
import { setUpFilter } from "./filter.js";
import { setUpKeyboard } from "./keyboard.js";
import { setUpMenu } from "./menu.js";
import { renderNotices } from "./notice_list.js";
import { readPlugins, renderPlugins } from "./plugins.js";
import { renderEmptyRunning, renderRunning } from "./running.js";
import {
  keepGroup,
  preferredGroup,
  readGroup,
  renderCatalogueFold,
  renderSettings,
  renderTheme,
  setUpSettings,
} from "./settings.js";
import { changed, onChange, store, takeCatalogue, takeState } from "./store.js";
import { currentLanguage, setLanguage, t } from "./texts.js";
import { watchUsage } from "./usage.js";
import { renderWorkspace } from "./workspace.js";

/** @typedef {import("./types.js").State} State */

const retryDelay = 1500; // milliseconds

/** The group that the user has chosen, which the catalogue may not have caught up with. */
let group = readGroup();
/** The catalogue that was asked for last: its version and group. */
let asked = "";

/** @param {State} state */
function take(state) {
  const before = store.state;
  if (state.studio.language !== currentLanguage()) translate(state.studio.language);
  takeState(state);
  if (before?.studio.pid === state.studio.pid) announceChanges(before, state);
  else if (before) greetNewStudio(state);
  if (!state.studio.groups.some((each) => each.name === group)) group = preferredGroup(state);
  readCatalogue();
}

function lose() {
  store.lost = true;
  changed();
}

/** Reads the catalogue if another one is to be shown than the one that was asked for last. */
async function readCatalogue() {
  const studio = store.state?.studio;
  const wanted = `${studio?.pid} ${studio?.catalogue} ${group}`;
  if (!studio || wanted === asked) return;
  asked = wanted;
  byId("catalogue").setAttribute("aria-busy", "true");
  const forGroup = group;
  try {
    const catalogue = await get("/api/catalogue", { group_name: forGroup });
    if (asked === wanted) takeCatalogue(catalogue, forGroup);
    readPlugins();
  } catch (error) {
    if (!(error instanceof RequestError)) throw error;
    if (asked === wanted) asked = "";
    setTimeout(readCatalogue, retryDelay);
  }
}

/** @param {string} chosen */
function chooseGroup(chosen) {
  group = chosen;
  keepGroup(chosen);
  readCatalogue();
}

/**
 * The Studio was started anew, and what the last one refused is past.
 *
 * @param {State} state
 */
function greetNewStudio(state) {
  store.refused.clear();
  const count = state.running.filter((server) => server.adopted).length;
  sayAloud(t(count ? "newStudioAdopted" : "newStudio", { count }));
}

/** @param {string} language */
function translate(language) {
  setLanguage(language);
  renderTheme();
  renderCatalogueFold();
  renderEmptyRunning();
}

function render() {
  renderConnection();
  renderNotices();
  renderWorkspace();
  renderPlugins();
  if (!store.state) return;
  renderSettings(store.state, group);
  if (store.catalogue) renderCatalogue(store.state.studio, store.catalogue);
  setAttribute(byId("catalogue"), "aria-busy", String(store.group !== group || !store.catalogue));
  renderRunning(store.state);
}

function renderConnection() {
  const node = byId("connection");
  setText(node, store.lost ? t("reconnecting") : store.state ? "" : t("loading"));
  node.title = store.lost ? t("reconnectingHint") : "";
  document.body.dataset.connection = store.lost ? "lost" : store.state ? "open" : "opening";
}

translate(currentLanguage());
setUpSettings(chooseGroup);
setUpCreateMenu();
setUpMenu();
setUpConfigDialog();
setUpFilter();
setUpKeyboard();
onChange(render);
render();
tickAges();
watchUsage();
openEvents({ onState: take, onLost: lose });
