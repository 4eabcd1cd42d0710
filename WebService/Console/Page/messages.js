// Messages to whoever uses the page: what was done, and what went wrong.

import { byId } from "./elements.js";
import { visible } from "./outside-text.js";
import { ServiceError, connection } from "./service.js";

let saidUntil = 0;

/** Shows a message for a while, and has it read out. */
export function say(text) {
  byId("toast").replaceChildren(...visible(text));
  clearTimeout(saidUntil);
  saidUntil = setTimeout(() => byId("toast").replaceChildren(), 8000);
}

/** Shows what went wrong until that is closed, and has it read out at once. */
function complain(text) {
  byId("problem-text").replaceChildren(...visible(text));
  byId("problem").hidden = false;
}

/** Closes what went wrong; returns whether something was shown. */
export function closeProblem() {
  const problem = byId("problem");
  if (problem.hidden) {
    return false;
  }
  const focused = problem.contains(document.activeElement);
  problem.hidden = true;
  byId("problem-text").replaceChildren();
  if (focused) {
    byId("main").focus({ preventScroll: true });
  }
  return true;
}

const NO_RESPONSE = "The service did not respond.";

/** Shows an error of work that nobody has asked for. A lost connection has its own place on the page. */
export function report(error) {
  if (error instanceof ServiceError) {
    complain(error.message);
  } else if (!(error instanceof TypeError && connection.state !== "live")) {
    console.error(error);
    say(NO_RESPONSE);
  }
}

/** A function that does what somebody asks for, and shows why it failed. */
export function attempt(work) {
  return async (...values) => {
    try {
      await work(...values);
    } catch (error) {
      if (!(error instanceof ServiceError)) {
        console.error(error);
      }
      complain(error instanceof ServiceError ? error.message : NO_RESPONSE);
    }
  };
}

/** The same, for what nobody has asked for. */
export function inBackground(work) {
  return async () => {
    try {
      await work();
    } catch (error) {
      report(error);
    }
  };
}
