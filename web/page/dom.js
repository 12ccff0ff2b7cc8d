// Building the document. Whatever comes from a robot becomes a text node or an attribute, never markup.

const SVG = "http://www.w3.org/2000/svg";

/**
 * @param {Element} element
 * @param {Record<string, any>} properties `class`, `text`, `on` (handlers by event), other attributes;
 *   true is an attribute without a value, false and undefined are none
 */
export function furnish(element, properties, children = []) {
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === false) continue;
    if (name === "text") element.textContent = value;
    else if (name === "on") for (const [event, run] of Object.entries(value)) element.addEventListener(event, run);
    else element.setAttribute(name, value === true ? "" : value);
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

/** An HTML element. @param {...(Node|string)} children texts become text nodes */
export const el = (name, properties = {}, ...children) => furnish(document.createElement(name), properties, children);

/** An SVG element. */
export const svg = (name, properties = {}, ...children) =>
  furnish(document.createElementNS(SVG, name), properties, children);

/** A table that scrolls in itself. @param {string} label @param {string[]} heads of its columns */
export const tableOf = (label, heads, body) =>
  el("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": label }, el("table", {},
    el("thead", {}, el("tr", {}, ...heads.map((text) => el("th", { scope: "col", text })))), body));

/** The element with that id. @returns {any} */
export const byId = (id) => document.getElementById(id);

/** Changes a text only where it differs, so that nothing is laid out or read out again for nothing. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

/** Replaces the children. */
export const fill = (element, ...children) => element.replaceChildren(...children);

/**
 * Lets a list show these items, each by its key. Children that are there stay where they are, so that a button can be
 * hit and keeps the keyboard. @returns {any[]} the children
 */
export function reconcile(list, items, keyOf, make) {
  const there = new Map([...list.children].map((child) => [child.key, child]));
  const wanted = items.map((item) => {
    const key = keyOf(item);
    const child = there.get(key) ?? make(item);
    there.delete(key);
    child.key = key;
    return child;
  });
  const stays = new Set(wanted);
  for (const child of [...list.children]) if (!stays.has(child)) child.remove();
  wanted.forEach((child, i) => {
    const now = list.children[i];
    if (child !== now) list.insertBefore(child, now ?? null);
  });
  return wanted;
}

let lastId = 0;
/** An id that nothing else has. */
export const newId = (what) => `${what}-${++lastId}`;

/** A button that copies what `text()` gives, and says so. */
export function copyButton(what, text) {
  const button = el("button", { type: "button", class: "quiet copy", "aria-label": `Copy ${what}`, text: "Copy" });
  button.addEventListener("click", async () => {
    try {
      await navigator.clipboard.writeText(text());
      announce(`Copied ${what}`);
      button.textContent = "Copied";
    } catch {
      announce(`Not allowed: the browser did not copy ${what}`);
      button.textContent = "Not allowed";
    }
    setTimeout(() => (button.textContent = "Copy"), 1500);
  });
  return button;
}

/** Tells those who listen instead of looking. */
export function announce(text) {
  setText(byId("announcement"), text);
}
