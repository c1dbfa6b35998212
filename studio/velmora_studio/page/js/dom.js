/** Makes and changes elements. Data only ever becomes text or a property, never markup. */

/**
 * A new element. Properties named `data…` or `aria-…` and unknown ones become attributes; a property
 * that begins with `on` becomes a listener.
 *
 * @template {keyof HTMLElementTagNameMap} T
 * @param {T} tag
 * @param {Record<string, any>} [properties]
 * @param {...(Node|string)} children
 * @returns {HTMLElementTagNameMap[T]}
 */
export function h(tag, properties = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith("on")) node.addEventListener(name.slice(2), value);
    else if (name in node) /** @type {any} */ (node)[name] = value;
    else node.setAttribute(name, value);
  }
  node.append(...children);
  return node;
}

/**
 * The element with this id, which stands in the page.
 *
 * @param {string} id
 * @returns {any}
 */
export function byId(id) {
  const node = document.getElementById(id);
  if (!node) throw new Error(`no element '${id}'`);
  return node;
}

/**
 * Changes a text only where it differs, so that nothing is read out or redrawn without need.
 *
 * @param {Node} node
 * @param {string} text
 */
export function setText(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

/**
 * @param {Element} node
 * @param {string} name
 * @param {string|null} value null removes the attribute
 */
export function setAttribute(node, name, value) {
  if (value === null) node.removeAttribute(name);
  else if (node.getAttribute(name) !== value) node.setAttribute(name, value);
}

/**
 * Hides or shows, and gives the focus on before it would be lost with a hidden button.
 *
 * @param {HTMLElement} node
 * @param {boolean} shown
 * @param {HTMLElement} [heir] who gets the focus
 */
export function show(node, shown, heir) {
  if (node.hidden === !shown) return;
  const focused = !shown && node.contains(document.activeElement);
  node.hidden = !shown;
  if (focused) heir?.focus();
}

/** @type {WeakMap<Element, Map<string, import("./types.js").View<any>>>} */
const viewsOf = new WeakMap();

/**
 * Brings the children of `parent` in line with `items`. What stays is kept and not moved without
 * need, so focus, frames and scroll positions last.
 *
 * @template T
 * @param {Element} parent
 * @param {T[]} items
 * @param {(item: T) => string} keyOf different for each item
 * @param {() => import("./types.js").View<T>} create
 */
export function sync(parent, items, keyOf, create) {
  const views = viewsOf.get(parent) ?? new Map();
  viewsOf.set(parent, views);
  const keys = new Set(items.map(keyOf));
  const focused = parent.contains(document.activeElement) ? document.activeElement : null;
  for (const [key, view] of views) {
    if (keys.has(key)) continue;
    view.node.remove();
    views.delete(key);
  }
  let place = parent.firstElementChild;
  for (const item of items) {
    const view = views.get(keyOf(item)) ?? create();
    views.set(keyOf(item), view);
    view.update(item);
    if (view.node === place) place = view.node.nextElementSibling;
    else parent.insertBefore(view.node, place);
  }
  // What is moved loses the focus.
  if (focused instanceof HTMLElement && parent.contains(focused)) focused.focus({ preventScroll: true });
}

/**
 * Brings the options of a list in line, and leaves an open list alone where nothing changed.
 *
 * @param {HTMLSelectElement} select
 * @param {{value: string, text: string}[]} options
 * @param {string} chosen
 */
export function setOptions(select, options, chosen) {
  sync(select, options, (option) => option.value, () => {
    const node = h("option");
    return {
      node,
      update({ value, text }) {
        node.value = value;
        setText(node, text);
      },
    };
  });
  if (select.value !== chosen) select.value = chosen;
}
