// Where files are dropped or chosen.

import { chosenFiles, entriesBelow } from "./dropped-files.js";
import { byId } from "./elements.js";
import { uploads } from "./uploads.js";

/** Files may be dropped onto the whole panel of a queue and onto the computers of the list. */
export function prepareDrops(view) {
  const panel = byId("queue");
  const add = (computer, items) => uploads.add(computer, items, () => view.load());
  const target = (event) => {
    const row = event.target.closest?.("#queues-table tbody tr");
    return row ? { element: row, computer: row.record.computer }
      : panel.contains(event.target) ? { element: panel, computer: view.computer } : null;
  };
  const mark = (element) => {
    for (const each of document.querySelectorAll("[data-over]")) {
      each.toggleAttribute("data-over", each === element);
    }
    element?.toggleAttribute("data-over", true);
  };
  document.addEventListener("dragover", (event) => {
    event.preventDefault(); // a file that misses must not replace the page
    const found = target(event);
    event.dataTransfer.dropEffect = found ? "copy" : "none";
    mark(found?.element ?? null);
  });
  document.addEventListener("dragleave", (event) => event.relatedTarget === null && mark(null));
  document.addEventListener("drop", (event) => {
    event.preventDefault();
    mark(null);
    const found = target(event);
    if (found) {
      // The list of items is empty once this handler has returned.
      const entries = [...event.dataTransfer.items].map((item) => item.webkitGetAsEntry?.()).filter(Boolean);
      add(found.computer, entries.length > 0 ? entriesBelow(entries, "") : chosenFiles([...event.dataTransfer.files]));
    }
  });
  for (const name of ["files", "folder"]) {
    const input = byId(`${name}-input`);
    byId(`add-${name}`).addEventListener("click", () => input.click());
    input.addEventListener("change", () => {
      add(view.computer, chosenFiles([...input.files]));
      input.value = "";
    });
  }
  addEventListener("beforeunload", (event) => uploads.running && event.preventDefault());
}
