// A request in the list.

import { make, setText } from "./elements.js";
import { bytesText, durationText, timeElement } from "./formats.js";
import { SHORT, brief, visible } from "./outside-text.js";
import { address } from "./route.js";

export function statusBadge({ status }) {
  const kind = status >= 500 ? "failure" : status >= 400 ? "warning" : "fine";
  return make("span", { className: `badge ${kind}` }, String(status));
}

/** What is special about a request: the fault that was applied to it, and a response that was not sent whole. */
export function requestMarks({ fault, complete }) {
  const marks = [];
  if (fault !== null && fault !== undefined) {
    marks.push(make("a", { className: "badge fault", href: "#faults", title: `faults[${fault}] was applied` }, `fault ${fault}`));
  }
  if (!complete) {
    marks.push(make("span", { className: "badge failure", title: "The response was not sent whole" }, "incomplete"));
  }
  return marks;
}

/** "Uploads.svc/GetTopFileUpload", or method and path of what is no operation. */
function requestName({ operation, method, path }) {
  const at = operation ? operation.lastIndexOf("/") + 1 : 0;
  return at > 0 && operation.length <= SHORT
    ? [make("span", { className: "method" }, ...visible(operation.slice(0, at))), make("wbr"), brief(operation.slice(at))]
    : [make("span", { className: "method" }, ...visible(method)), " ", brief(operation ?? path)];
}

export const requestColumns = [
  { label: "Time", className: "time", value: (request) => request.time,
    fill: (cell, request) => cell.replaceChildren(timeElement(request.time, true)) },
  {
    label: "Request", className: "name",
    value: (request) => `${request.method} ${request.operation ?? request.path} ${request.fault} ${request.complete}`,
    fill: (cell, request) => cell.replaceChildren(
      make("a", { href: address("requests", request.id) }, ...requestName(request)), ...requestMarks(request).flatMap((mark) => [" ", mark])),
  },
  { label: "Computer", className: "computer wide", value: (request) => request.computer },
  { label: "Status", className: "status", value: (request) => request.status,
    fill: (cell, request) => cell.replaceChildren(statusBadge(request)) },
  { label: "Size", className: "number wide", value: (request) => request.bytes,
    fill: (cell, request) => setText(cell, bytesText(request.bytes)) },
  { label: "Duration", className: "number wide", value: (request) => request.milliseconds,
    fill: (cell, request) => setText(cell, durationText(request.milliseconds)) },
];
