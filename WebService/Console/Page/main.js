// The console of the development web service: a page that shows what the service holds and does, live.

import { confirmed } from "./dialog.js";
import { byId } from "./elements.js";
import { live } from "./event-stream.js";
import { faults } from "./faults.js";
import { listenForShortcuts } from "./keyboard.js";
import { attempt, closeProblem, say } from "./messages.js";
import { queues } from "./queues.js";
import { requests } from "./requests.js";
import { go, views } from "./route.js";
import { call } from "./service.js";
import { tableViews } from "./table-views.js";
import { recordsShown } from "./tables.js";

async function resetEverything() {
  if (await confirmed("Reset everything?", "All items and their files, users, computers, tables, mails, errors, the fault plan and " +
    "the list of requests are removed. This cannot be undone.", "Reset everything")) {
    await call("POST", "/api/reset");
    say("Everything was reset.");
  }
}

function start() {
  byId("starting").remove();
  Object.assign(views, { queues, requests, faults }, tableViews);
  listenForShortcuts();
  byId("reset").addEventListener("click", attempt(resetEverything));
  byId("confirm-no").addEventListener("click", () => byId("confirm").close("no"));
  byId("confirm-yes").addEventListener("click", () => byId("confirm").close("yes"));
  byId("problem-close").addEventListener("click", closeProblem);
  for (const view of [queues, requests, faults, recordsShown]) {
    view.start();
  }
  addEventListener("hashchange", go);
  go();
  // A browser has six connections to a service for all its pages: one that nobody sees leaves its own to the others.
  document.addEventListener("visibilitychange", () => document.hidden ? live.disconnect() : live.connect());
  if (!document.hidden) {
    live.connect();
  }
}

start();
