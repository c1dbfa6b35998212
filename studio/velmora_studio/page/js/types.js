/**
 * What the Studio's web application sends. Times are seconds since the Unix epoch.
 *
 * @typedef {Object} Entry A utility of the catalogue, in one place of the interface.
 * @property {string} utility_name
 * @property {string|null} title
 * @property {string} en_title
 * @property {string} description
 * @property {string} en_description
 * @property {string|null} plugin_name
 * @property {string} default_route
 * @property {boolean} require_group_name
 * @property {string} access_level "ALL", "SYS_ADMIN" or "ORG_ADMIN"
 * @property {string} display_location "navbar" or "default"
 * @property {boolean} persistent
 * @property {string|null} icon an address
 * @property {Schema} [config_schema] what its configuration may hold
 *
 * @typedef {Object} Schema A JSON schema; what else it holds isn't looked at.
 * @property {string} [type]
 * @property {string} [title]
 * @property {string} [en_title]
 * @property {string} [description]
 * @property {string} [en_description]
 * @property {any} [default]
 * @property {any[]} [enum]
 * @property {number} [minimum]
 * @property {number} [maximum]
 * @property {number} [minLength]
 * @property {number} [maxLength]
 * @property {string} [pattern]
 * @property {Record<string, Schema>} [properties]
 * @property {string[]} [required]
 *
 * @typedef {Object} Server An instance that runs.
 * @property {string} server_id
 * @property {string|null} utility_name
 * @property {string} [group_name] only for an instance that is bound to a device group
 * @property {number} port
 * @property {number|null} pid
 * @property {string} url its address, with the origin that utilities are shown at
 * @property {string} full_path the path of its first page there
 * @property {number|null} create_time
 * @property {string|null} icon an address
 * @property {string|null} title
 * @property {string} en_title
 * @property {boolean} adopted
 * @property {boolean} persistent
 * @property {"starting"|"ready"|"silent"} readiness whether it answers
 * @property {boolean} stopping
 *
 * @typedef {Object} Starting
 * @property {string} utility_name
 * @property {string} group_name
 * @property {number} since
 * @property {boolean} waits for a stop to come to its end
 *
 * @typedef {Object} Failure A start that failed, or an instance that has ended by itself.
 * @property {string} [id] by which the Studio knows it
 * @property {"start"|"end"} kind
 * @property {string} utility_name
 * @property {string} group_name
 * @property {string} message
 * @property {string|null} [digest] of a start: the message without the words in front of it; of an
 *   end: the last words
 * @property {string} [signal] that has ended it
 * @property {number} [exit_code]
 * @property {number} time
 *
 * @typedef {Object} Group A device group.
 * @property {string} name
 * @property {string} title
 * @property {string} en_title
 * @property {string|null} organization
 * @property {string|null} en_organization
 *
 * @typedef {Object} Studio
 * @property {string} user
 * @property {{id: string, name: string, en_name: string, role: string}[]} users
 * @property {Group[]} groups
 * @property {string} language "zh" or "en"
 * @property {string} gui
 * @property {string} forward_origin where utilities are shown
 * @property {number} pid
 * @property {string} catalogue the version of the catalogue
 *
 * @typedef {"default"|"group"|"navbar"|"create_exp"} Place
 *
 * @typedef {Object} Catalogue
 * @property {string} version
 * @property {Record<Place, Entry[]>} places
 *
 * @typedef {Object} State
 * @property {Studio} studio
 * @property {Server[]} running
 * @property {Starting[]} starting
 * @property {Failure[]} failures
 *
 * @typedef {Object} Change What has become different; null takes something away.
 * @property {boolean} [fresh] what was known before counts no more
 * @property {boolean} [more] the next one belongs to it
 * @property {Record<string, any>} [studio]
 * @property {Record<string, Server|null>} [running]
 * @property {Record<string, Starting|null>} [starting]
 * @property {Record<string, Failure|null>} [failures]
 *
 * @typedef {Object} Status How it stands with a utility, in one group or in none.
 * @property {"stopped"|"starting"|"running"|"silent"|"stopping"} kind
 * @property {Server|null} server
 * @property {Failure|null} failure what last went wrong
 * @property {boolean} waits a start that waits for a stop to come to its end
 *
 * @typedef {Object} PageView What the page shows.
 * @property {"overview"|"plugins"|"utility"} kind
 * @property {string} key of the utility
 * @property {string} name
 * @property {string} group "" for none
 * @property {"page"|"lines"|"details"} part
 * @property {boolean} whole
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
