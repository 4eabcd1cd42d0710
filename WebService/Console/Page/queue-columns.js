// The columns of the lists of computers and of items.

import { numberColumn } from "./columns.js";
import { make, setText } from "./elements.js";
import { bytesText, count, rateText } from "./formats.js";
import { attempt } from "./messages.js";
import { SHORT, brief, outside, visible } from "./outside-text.js";
import { address } from "./route.js";

export const computerColumns = [
  {
    label: "Computer", className: "name",
    value: (each) => `${each.computer}\n${each.mail ?? ""}`,
    fill: (cell, each) => cell.replaceChildren(
      make("a", { href: address("queues", each.computer) }, brief(each.computer)),
      ...(each.mail ? [make("small", {}, outside(each.mail))] : [])),
  },
  {
    label: "Pending", className: "number",
    value: (each) => `${each.pending} ${each.streaming}`,
    fill: (cell, each) => cell.replaceChildren(
      ...(each.streaming > 0 ? [make("span", { className: "flow", title: `${each.streaming} streaming` },
        make("span", { className: "unseen" }, `${each.streaming} streaming `))] : []), count(each.pending)),
  },
  numberColumn("Done", (each) => each.acknowledged),
];

const STATES = { pending: "Pending", streaming: "Streaming", acknowledged: "Acknowledged", withdrawn: "Withdrawn" };

function itemName(cell, { name, isFile }) {
  const at = name.lastIndexOf("\\");
  const shown = name.length > SHORT ? outside(name) : make("bdi", { className: "outside", dir: "ltr" },
    make("span", { className: "parents" }, ...visible(name.slice(0, at + 1)), make("wbr")), ...visible(name.slice(at + 1)));
  cell.replaceChildren(make("div", { className: "item" },
    make("span", { className: isFile ? "kind file" : "kind folder" },
      make("span", { className: "unseen" }, isFile ? "File " : "Folder ")), shown));
}

function itemState(cell, item) {
  const badge = make("span", { className: `badge ${item.state}` }, STATES[item.state] ?? item.state);
  if (item.state !== "streaming") {
    cell.replaceChildren(badge);
    return;
  }
  const bar = cell.querySelector("progress") ?? make("progress");
  bar.max = Math.max(item.size ?? 0, 1);
  bar.value = item.size === 0 ? 1 : item.bytes ?? 0;
  bar.setAttribute("aria-label", "Progress of the download");
  const text = `${bytesText(item.bytes ?? 0)} of ${bytesText(item.size)} · ${rateText(item.bytesPerSecond ?? 0)}`;
  if (bar.isConnected) {
    setText(cell.querySelector(".progress"), text);
  } else {
    cell.replaceChildren(badge, bar, make("span", { className: "progress" }, text));
  }
}

function itemAction(cell, item, { withdraw, offer }) {
  const name = Array.from(item.name).slice(0, 80).join("");
  const button = (label, act) => {
    const made = make("button", { type: "button", ariaLabel: `${label} ${name}` }, label);
    made.addEventListener("click", attempt(() => act(item)));
    return made;
  };
  cell.replaceChildren(item.state === "pending" || item.state === "streaming"
    ? button("Withdraw", withdraw) : button("Offer again", offer));
}

/** `actions` are what the buttons do: `withdraw(item)` and `offer(item)`. */
export const itemColumns = (actions) => [
  { label: "Item", className: "name", value: (item) => `${item.isFile} ${item.name}`, fill: itemName },
  { label: "Size", className: "number size", value: (item) => item.isFile ? item.size : null,
    fill: (cell, item) => setText(cell, item.isFile ? bytesText(item.size) : "") },
  { label: "State", className: "state", value: (item) => `${item.state} ${item.bytes} ${item.bytesPerSecond}`, fill: itemState },
  { label: "Actions", unseen: true, className: "action",
    value: (item) => item.state === "pending" || item.state === "streaming" ? "withdraw" : "offer", fill: (cell, item) => itemAction(cell, item, actions) },
];
