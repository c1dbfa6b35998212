/** Puts the page together: takes the Studio's states and draws them. */

import { announceChanges, sayAloud } from "./announcer.js";
import { tickAges } from "./ages.js";
import { renderCatalogue } from "./catalogue.js";
import { setUpCreateMenu } from "./create_menu.js";
import { byId, setText } from "./dom.js";
import { openEvents } from "./events.js";
import { renderNotices } from "./notices.js";
import { setUpOutputDialog } from "./output_dialog.js";
import { renderEmptyRunning, renderRunning } from "./running.js";
import {
  keepGroup,
  preferredGroup,
  readGroup,
  renderSettings,
  renderTheme,
  setUpSettings,
} from "./settings.js";
import { changed, onChange, store, takeState } from "./store.js";
import { currentLanguage, setLanguage, t } from "./texts.js";
import { renderWorkspace } from "./workspace.js";

/** @typedef {import("./types.js").State} State */

/** The group that the user has chosen, which the state may not have caught up with. */
let group = readGroup();

const events = openEvents({ onState: take, onLost: lose });

/** @param {State} state @param {string} stateGroup */
function take(state, stateGroup) {
  const before = store.state;
  const preferred = preferredGroup(state);
  if (state.studio.language !== currentLanguage()) translate(state.studio.language);
  takeState(state, stateGroup);
  if (before?.studio.pid === state.studio.pid) announceChanges(before, state);
  else if (before) greetNewStudio(state);
  if (preferred !== group && !state.studio.groups.some((each) => each.name === group)) {
    chooseGroup(preferred);
  }
}

function lose() {
  store.lost = true;
  changed();
}

/** @param {string} chosen */
function chooseGroup(chosen) {
  group = chosen;
  keepGroup(chosen);
  byId("catalogue").setAttribute("aria-busy", "true");
  events.watch(chosen);
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
  renderEmptyRunning();
}

function render() {
  renderConnection();
  renderNotices();
  renderWorkspace();
  if (!store.state) return;
  renderSettings(store.state, group);
  renderCatalogue(store.state);
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
setUpOutputDialog();
onChange(render);
render();
tickAges();
events.watch(group);
