/**
 * What the Studio's web application sends. Times are seconds since the Unix epoch.
 *
 * @typedef {Object} Entry A utility of the catalogue, in one place of the interface.
 * @property {string} utility_name
 * @property {string|null} title
 * @property {string} en_title
 * @property {string} description
 * @property {string} en_description
 * @property {string} default_route
 * @property {boolean} require_group_name
 * @property {string} access_level "ALL", "SYS_ADMIN" or "ORG_ADMIN"
 * @property {string} display_location "navbar" or "default"
 * @property {boolean} persistent
 * @property {string|null} icon a data URI
 * @property {boolean} is_running
 *
 * @typedef {Object} Server An instance that runs.
 * @property {string} server_id
 * @property {string|null} utility_name
 * @property {string} [group_name] only for an instance that is bound to a device group
 * @property {number} port
 * @property {number|null} pid
 * @property {string} url
 * @property {string} default_route
 * @property {number|null} create_time
 * @property {string|null} icon
 * @property {string|null} title
 * @property {string} en_title
 * @property {boolean} adopted
 * @property {boolean} persistent
 *
 * @typedef {Object} Starting
 * @property {string} utility_name
 * @property {string} group_name
 * @property {number} since
 *
 * @typedef {Object} Failure A start that failed, or an instance that has ended by itself.
 * @property {string} utility_name
 * @property {string} group_name
 * @property {string} message
 * @property {string|null} [digest] of a start: the message without the words in front of it; of an
 *   end: the last words
 * @property {number} time
 *
 * @typedef {Object} Studio
 * @property {string} user
 * @property {{id: string, name: string, en_name: string, role: string}[]} users
 * @property {{name: string, organization: string|null}[]} groups
 * @property {string} language "zh" or "en"
 * @property {string} gui
 * @property {number} pid
 *
 * @typedef {"default"|"group"|"navbar"|"create_exp"} Place
 *
 * @typedef {Object} State
 * @property {Studio} studio
 * @property {Record<Place, Entry[]>} places
 * @property {Server[]} running
 * @property {Starting[]} starting
 * @property {Failure[]} failures
 *
 * @typedef {Object} Status How it stands with a utility, in one group or in none.
 * @property {"stopped"|"starting"|"running"|"stopping"} kind
 * @property {Server|null} server
 * @property {Failure|null} failure what last went wrong
 */

/**
 * A part of the page that is made once and then kept up to date.
 *
 * @template T
 * @typedef {Object} View
 * @property {HTMLElement} node
 * @property {(item: T) => void} update
 */

export {};
