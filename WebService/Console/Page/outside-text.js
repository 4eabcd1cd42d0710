// Texts from outside. They may be hostile: they become text nodes and property values, never markup, and characters
// that could change how the text around them looks are shown as their code points.

import { make } from "./elements.js";
import { count } from "./formats.js";

// Control characters, and those that reorder or hide text (Unicode Standard Annex #9; invisible characters).
const UNSEEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b\u200e\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]|[\ud800-\udbff](?![\udc00-\udfff])|(?<![\ud800-\udbff])[\udc00-\udfff]/g;
export const UNSEEN_OF_LINES = new RegExp(UNSEEN.source.replace("\\u0000-\\u001f", "\\u0000-\\u0008\\u000b-\\u001f"), "g");
export const SHORT = 160;

/** Nodes that show the text: what cannot be seen is a code point in a box. */
export function visible(text, unseen = UNSEEN) {
  const nodes = [];
  let from = 0;
  for (const match of text.matchAll(unseen)) {
    const code = match[0].codePointAt(0).toString(16).toUpperCase().padStart(4, "0");
    nodes.push(text.slice(from, match.index), make("span", { className: "code-point" }, `U+${code}`));
    from = match.index + match[0].length;
  }
  nodes.push(text.slice(from));
  return nodes;
}

/** A text from outside, isolated from its surroundings, whose direction it cannot change. Paths and messages are read from
    left to right, whatever letters they begin with. A long text is folded behind a button. */
export function outside(text) {
  text = String(text);
  const characters = Array.from(text.length > SHORT ? text : "");
  if (characters.length <= SHORT) {
    return make("bdi", { className: "outside", dir: "ltr" }, ...visible(text));
  }
  const whole = make("bdi", { className: "outside", dir: "ltr" });
  const fold = make("button", { type: "button", className: "fold" });
  const show = (open) => {
    const shown = open ? text : `${characters.slice(0, 100).join("")} … ${characters.slice(-30).join("")}`;
    whole.replaceChildren(...visible(shown));
    fold.textContent = open ? "Show less" : `Show all ${count(characters.length)} characters`;
    fold.setAttribute("aria-expanded", String(open));
  };
  fold.addEventListener("click", (event) => {
    event.stopPropagation();
    show(fold.getAttribute("aria-expanded") !== "true");
  });
  show(false);
  return make("span", {}, whole, " ", fold);
}

/** What `visible` shows, as one text. */
const plainText = (text) => visible(text).map((node) => node.textContent ?? node).join("");

/** The same for links, which have no room for a button: a long text is cut, and the whole of it is the tooltip. */
export function brief(text) {
  const characters = Array.from(String(text));
  const cut = characters.length > SHORT ? `${characters.slice(0, 100).join("")} …` : String(text);
  return make("bdi", { className: "outside", dir: "ltr", title: cut === String(text) ? "" : plainText(String(text)) }, ...visible(cut));
}

export function lastPart(name) {
  const part = Array.from(name.split("\\").at(-1));
  return part.length > 60 ? `${part.slice(0, 60).join("")}…` : part.join("");
}
