// A request with its response.

import { copyText } from "./clipboard.js";
import { make } from "./elements.js";
import { bytesText, durationText, timeElement } from "./formats.js";
import { attempt, say } from "./messages.js";
import { UNSEEN_OF_LINES, brief, outside, visible } from "./outside-text.js";
import { requestMarks, statusBadge } from "./request-columns.js";
import { address } from "./route.js";

/** JSON with line breaks and indentation and otherwise as it was sent: numbers, order and repeated keys stay. */
function indented(text) {
  try {
    JSON.parse(text);
  } catch {
    return text;
  }
  let depth = 0;
  const line = () => `\n${"  ".repeat(Math.min(depth, 50))}`;
  return text.replace(/"(?:[^"\\]|\\.)*"|\s+|[[{]\s*[\]}]|[[\]{},:]/g, (token) => {
    switch (token[0]) {
      case "{": case "[":
        if (token.length > 1) {
          return token[0] + token.at(-1);
        }
        depth += 1;
        return token + line();
      case "}": case "]":
        depth -= 1;
        return line() + token;
      case ",": return token + line();
      case ":": return ": ";
      case '"': return token;
      default: return "";
    }
  });
}

/** `bodyKept` is how many bytes of the body are kept. */
function messageBody({ body, bodySize, bodyKept }) {
  if (bodySize === 0) {
    return [make("p", { className: "hint" }, "No body.")];
  }
  const size = make("p", { className: "hint" }, `Body of ${bytesText(bodySize)}`);
  if (body === null || body === undefined) {
    size.append(bodyKept > 0 ? ", which is no text." : ", which is not kept.");
    return [size];
  }
  if (bodyKept < bodySize) {
    size.append(`, of which the first ${bytesText(bodyKept)} are kept.`);
  }
  const text = make("pre", { className: "body", tabIndex: 0 }, ...visible(indented(body), UNSEEN_OF_LINES));
  if (indented(body) === body) {
    return [size, text];
  }
  const raw = make("button", { type: "button", className: "fold", ariaPressed: "false" }, "As it was sent");
  raw.addEventListener("click", () => {
    const pressed = raw.ariaPressed !== "true";
    raw.ariaPressed = String(pressed);
    text.replaceChildren(...visible(pressed ? body : indented(body), UNSEEN_OF_LINES));
  });
  size.append(" ", raw);
  return [size, text];
}

function messageSection(title, message) {
  const fields = make("table", { className: "fields" }, make("caption", { className: "unseen" }, `Header fields of the ${title.toLowerCase()}`),
    make("tbody", {}, ...message.headers.map(([name, value]) =>
      make("tr", {}, make("th", { scope: "row" }, outside(name)), make("td", {}, outside(value))))));
  return make("section", {}, make("h3", {}, title), fields, ...messageBody(message));
}

function commandSection(label, command) {
  if (!command) {
    return null;
  }
  const copy = make("button", { type: "button", ariaLabel: `Copy as ${label}` }, "Copy");
  copy.addEventListener("click", attempt(async () => {
    await copyText(command);
    say(`Copied as ${label}.`);
  }));
  return make("div", { className: "command" }, make("div", { className: "head" }, make("h3", {}, label), copy),
    make("pre", { className: "body", tabIndex: 0 }, ...visible(command, UNSEEN_OF_LINES)));
}

export function requestDetail(detail) {
  const facts = [
    ["Request", [make("span", { className: "method" }, ...visible(detail.method)), " ", outside(detail.path)]],
    ["Status", [statusBadge(detail), ...requestMarks(detail).flatMap((mark) => [" ", mark])]],
    ["Time", [timeElement(detail.time, true)]],
    ["Peer", [outside(detail.peer)]],
    ...(detail.computer ? [["Computer", [make("a", { href: address("queues", detail.computer) }, brief(detail.computer))]]] : []),
    ["Response", [`${bytesText(detail.bytes)} in ${durationText(detail.milliseconds)}`]],
  ];
  return [
    make("dl", { className: "facts" }, ...facts.flatMap(([name, value]) => [make("dt", {}, name), make("dd", {}, ...value)])),
    ...[commandSection("curl", detail.curl), commandSection("quenmark call", detail.call)].filter(Boolean),
    messageSection("Request", detail.request), messageSection("Response", detail.response),
  ];
}
