import { make } from "./elements.js";
import { SHORT, outside, visible } from "./outside-text.js";

/** A pattern of paths, which may be broken behind its service. */
function pathPattern(path) {
  const at = path.indexOf("/") + 1;
  return at > 0 && path.length <= SHORT ? [outside(path.slice(0, at)), make("wbr"), outside(path.slice(at))] : [outside(path)];
}

export const faultColumns = [
  { label: "#", className: "number", value: (fault) => fault.index },
  { label: "Requests", className: "name", value: (fault) => `${fault.path ?? ""}\n${fault.computer ?? ""}`,
    fill: (cell, fault) => cell.replaceChildren(...(fault.path === undefined ? ["Every operation"] : pathPattern(fault.path)),
      ...(fault.computer ? [make("small", {}, "of computer ", outside(fault.computer))] : [])) },
  { label: "Action", className: "name", value: (fault) => JSON.stringify(fault.action),
    fill: (cell, { action: { kind, ...others } }) => cell.replaceChildren(make("span", { className: "badge fault" }, ...visible(String(kind))),
      " ", outside(Object.entries(others).map(([name, value]) => `${name} ${typeof value === "string" ? value : JSON.stringify(value)}`).join(", "))) },
  { label: "Skip", className: "number", value: (fault) => fault.skip ?? 0 },
  { label: "Times", className: "number", value: (fault) => fault.times ?? "all" },
  { label: "Seen", className: "number", value: (fault) => fault.seen ?? 0 },
  { label: "Applied", className: "number strong", value: (fault) => fault.applied ?? 0 },
];
