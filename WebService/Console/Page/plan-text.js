// The text of a fault plan, and the places in it that messages of the service speak of.

/** A plan as it is edited: one fault a paragraph, short objects on one line, without the counters. */
export function planText(plan) {
  const list = plan.faults.map(({ seen, applied, ...fault }) => {
    const members = Object.entries(fault).map(([name, value]) =>
      `      ${JSON.stringify(name)}: ${JSON.stringify(value, null, 1).replace(/\n\s*/g, " ")}`);
    return `    {\n${members.join(",\n")}\n    }`;
  });
  return list.length === 0 ? '{\n  "faults": []\n}' : `{\n  "faults": [\n${list.join(",\n")}\n  ]\n}`;
}

export const lineOf = (text, offset) => text.slice(0, offset).split("\n").length;

/** The range of the text that a message of the service begins with: "line 3, column 5" or "faults[0].action.kind". */
export function placeOf(message, text) {
  const position = /^line (\d+), column (\d+)/.exec(message);
  if (position) {
    const lines = text.split("\n");
    const line = Math.min(Number(position[1]), lines.length);
    const start = lines.slice(0, line - 1).reduce((sum, each) => sum + each.length + 1, 0);
    const at = start + Math.min(Number(position[2]) - 1, lines[line - 1].length);
    return [Math.max(start, at), Math.min(at + 1, text.length)];
  }
  const path = /^faults(?:\[\d+\]|\.[^\s:.[]+)*/.exec(message);
  return path ? rangeOf(text, path[0].match(/[^.[\]]+/g)) : null;
}

/** The range of the value at a path in a JSON text, or of the innermost one on the way that is there. */
function rangeOf(text, path) {
  const tokens = [...text.matchAll(/"(?:[^"\\]|\\.)*"|[[\]{},:]|[^\s[\]{},:"]+/g)];
  let at = 0;
  const endOfValue = (from) => {
    let depth = 0;
    for (let index = from; index < tokens.length; index += 1) {
      const token = tokens[index][0];
      depth += /^[[{]/.test(token) ? 1 : /^[\]}]/.test(token) ? -1 : 0;
      if (depth <= 0) {
        return index;
      }
    }
    return tokens.length - 1;
  };
  const member = (name) => {
    const list = tokens[at]?.[0] === "[";
    if (!list && tokens[at]?.[0] !== "{") {
      return -1;
    }
    for (let index = at + 1, number = 0; index < tokens.length && !/^[\]}]/.test(tokens[index][0]); number += 1) {
      const value = list ? index : index + 2;
      const here = list ? String(number) : textOf(tokens[index][0]);
      if (here === name) {
        return value;
      }
      index = endOfValue(value) + 1;
      index += tokens[index]?.[0] === "," ? 1 : 0;
    }
    return -1;
  };
  for (const name of path) {
    const found = member(name);
    if (found < 0 || !tokens[found]) {
      break;
    }
    at = found;
  }
  if (!tokens[at]) {
    return null;
  }
  const end = tokens[endOfValue(at)];
  return [tokens[at].index, end.index + end[0].length];
}

function textOf(token) {
  try {
    return JSON.parse(token);
  } catch {
    return null;
  }
}
