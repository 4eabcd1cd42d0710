// What the keyboard does on the whole page.

import { byId } from "./elements.js";
import { closeProblem } from "./messages.js";
import { requests } from "./requests.js";
import { go, route } from "./route.js";

export function listenForShortcuts() {
  byId("skip").addEventListener("click", (event) => {
    event.preventDefault();
    byId("main").focus();
  });
  document.addEventListener("keydown", (event) => {
    if (byId("confirm").open || event.ctrlKey || event.metaKey || event.altKey) {
      return;
    }
    if (event.key === "/" && !event.target.closest("input, textarea, select")) {
      event.preventDefault();
      location.hash = "#requests";
      go();
      byId("search").focus();
    } else if (event.key === "Escape" && closeProblem()) {
      event.preventDefault();
    } else if (event.key === "Escape" && route.view === "requests" && requests.chosen !== null) {
      const row = requests.rows.rows.get(String(requests.chosen));
      location.hash = "#requests";
      go();
      (row?.querySelector("a") ?? byId("search")).focus();
    }
  });
}
