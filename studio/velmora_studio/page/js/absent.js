/** The page in a utility's place while it isn't there: starts it, or waits until it answers. */

import { RequestError, get, post } from "./api.js";
import { setBusy } from "./controls.js";
import { byId, setText } from "./dom.js";
import { keyOf, keyOfServer } from "./naming.js";
import { setLanguage, t } from "./texts.js";

const retryDelay = 1000; // milliseconds
const retryLimit = 10;
const retryName = `velmora.retries ${location.pathname}`;

const main = byId("absent");
const name = main.dataset.utility ?? "";
const group = main.dataset.group ?? "";

/** A utility that has just been started may need a moment until it answers. */
async function waitIfRunning() {
  const running = await get("/api/utility/running");
  const isRunning = running.some((/** @type {any} */ each) => keyOfServer(each) === keyOf(name, group));
  byId("absent-start").hidden = isRunning;
  const retries = isRunning ? takeRetry() : 0;
  if (retries === 0) return;
  setText(byId("absent-state"), t("waiting"));
  setTimeout(() => location.reload(), retryDelay);
}

/** Counts the reloads of this page in a row; gives 0 when there have been enough. */
function takeRetry() {
  try {
    const retries = Number(sessionStorage.getItem(retryName)) + 1;
    if (retries <= retryLimit) sessionStorage.setItem(retryName, String(retries));
    else sessionStorage.removeItem(retryName);
    return retries <= retryLimit ? retries : 0;
  } catch {
    return 0;
  }
}

async function start() {
  showStarting(true);
  try {
    await post("/api/utility/start", { utility_name: name, group_name: group, config: {} });
    location.reload();
  } catch (error) {
    if (!(error instanceof RequestError)) throw error;
    if (error.status === 409) return location.reload(); // it runs by now
    showStarting(false);
    byId("absent-failure").hidden = false;
    setText(byId("absent-failure"), error.digest || error.message);
  }
}

/** @param {boolean} starting */
function showStarting(starting) {
  main.dataset.status = starting ? "starting" : "failed";
  setBusy(byId("absent-start"), starting);
  setText(byId("absent-state"), starting ? t("watching") : "");
  if (starting) byId("absent-failure").hidden = true;
}

byId("absent-studio").hidden = window !== window.top; // in a frame the Studio is around it
byId("absent-start").addEventListener("click", () => {
  if (main.dataset.status !== "starting") start();
});
byId("absent-retry").addEventListener("click", () => location.reload());

try {
  setLanguage((await get("/api/studio")).language);
  await waitIfRunning();
} catch (error) {
  if (!(error instanceof RequestError)) throw error;
  setText(byId("absent-state"), error.message);
}
