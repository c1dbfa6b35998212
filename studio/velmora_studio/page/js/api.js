/** Requests to the Studio's web application. */

import { t } from "./texts.js";

/** A request that was refused or not answered. `message` is meant for the user. */
export class RequestError extends Error {
  /**
   * @param {string} message
   * @param {number} status 0: no answer
   * @param {string|null} digest the message of a failed start without the words in front of it
   */
  constructor(message, status, digest = null) {
    super(message);
    this.status = status;
    this.digest = digest;
  }
}

/**
 * @param {string} path
 * @param {object} body
 * @returns {Promise<any>} fails with `RequestError`
 */
export function post(path, body = {}) {
  return request(path, {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify(body),
  });
}

/**
 * @param {string} path
 * @param {Record<string, string>} [query]
 * @returns {Promise<any>} fails with `RequestError`
 */
export function get(path, query = {}) {
  const tail = new URLSearchParams(query).toString();
  return request(tail ? `${path}?${tail}` : path, {});
}

/**
 * @param {string} path
 * @param {RequestInit} options
 */
async function request(path, options) {
  const response = await fetch(path, { cache: "no-store", ...options }).catch(() => null);
  if (!response) throw new RequestError(t("noAnswer"), 0);
  const answer = await response.json().catch(() => null);
  if (response.ok) return answer;
  throw new RequestError(textOf(answer?.detail, response), response.status, answer?.digest ?? null);
}

/**
 * @param {unknown} detail
 * @param {Response} response
 */
function textOf(detail, response) {
  if (typeof detail === "string" && detail) return detail;
  return detail ? JSON.stringify(detail) : `${response.status} ${response.statusText}`;
}
