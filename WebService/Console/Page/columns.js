// Columns that several tables have.

import { make, setText } from "./elements.js";
import { count, timeElement } from "./formats.js";
import { brief } from "./outside-text.js";
import { address } from "./route.js";

export const numberColumn = (label, value) => ({
  label, className: "number", value,
  fill: (cell, record) => setText(cell, count(value(record) ?? 0)),
});

export const flagColumn = (label, name) => ({ label, value: (each) => each[name] ? "Yes" : "No" });
export const textColumn = (label, name, className = "text") => ({ label, className, value: (each) => each[name], name });
export const timeColumn = (label, name) => ({
  label, className: "time", name, value: (each) => each[name],
  fill: (cell, each) => cell.replaceChildren(each[name] ? timeElement(each[name]) : ""),
});
export const computerColumn = (label, name) => ({
  label, name, value: (each) => each[name],
  fill: (cell, each) => cell.replaceChildren(each[name] === null || each[name] === undefined ? ""
    : make("a", { href: address("queues", each[name]) }, brief(each[name]))),
});
