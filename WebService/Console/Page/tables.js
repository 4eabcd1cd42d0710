// The views of the tables of the state, which share one part of the page.

import { computerColumn, flagColumn, textColumn, timeColumn } from "./columns.js";
import { byId, setText } from "./elements.js";
import { plural } from "./formats.js";
import { PAGE, Pages } from "./pages.js";
import { route, views } from "./route.js";
import { Rows } from "./rows.js";
import { atNextFrame, together } from "./scheduling.js";
import { call, query } from "./service.js";

export const recordsShown = {
  view: null,
  rows: null,
  computer: "", // whose files are shown

  start() {
    this.pages = new Pages(byId("records-pager"), () => this.load.soon());
    this.load = together(() => this.fetch(), 500);
    this.rows = new Rows(byId("records-table"), [], { key: (each) => each[this.view.key] });
    byId("records-computer").addEventListener("input", () => {
      this.computer = byId("records-computer").value.trim();
      this.pages.begin();
      this.load.soon();
    });
  },

  async fetch() {
    const { view, computer } = this;
    const after = this.pages.after;
    const page = await call("GET", query(`/api/${view.name}`,
      { limit: PAGE, after, order: view.order, computer: view.name === "files" ? computer : null }));
    if (view !== this.view || view !== views[route.view] || after !== this.pages.after || computer !== this.computer) {
      return;
    }
    const list = Object.values(page).find(Array.isArray) ?? [];
    atNextFrame(() => this.draw(view, list, page.next));
  },

  draw(view, list, next) {
    if (view !== this.view) {
      return;
    }
    const columns = view.columns ?? derivedColumns(list[0] ?? {});
    const labels = columns.map((column) => column.label).join();
    if (this.columns !== labels) {
      this.columns = labels;
      this.rows.setColumns(columns);
    }
    this.rows.draw(list);
    this.pages.draw(next);
    byId("records-empty").hidden = list.length > 0;
    setText(byId("records-empty"), view.empty);
    const number = this.pages.first && next === null ? plural(list.length, "entry", "entries") : "";
    const order = view.order === "newest" && list.length > 1 ? "the newest first" : "";
    setText(byId("records-about"), [number, order].filter(Boolean).join(", "));
  },
};

const recordsView = {
  show() {
    const { computer } = recordsShown;
    recordsShown.view = this;
    recordsShown.pages.begin();
    recordsShown.rows?.setColumns([]);
    recordsShown.columns = null;
    byId("records-table").hidden = true;
    byId("records-empty").hidden = true;
    setText(byId("records-heading"), this.title);
    setText(byId("records-table").caption, this.title);
    byId("records-tools").hidden = this.name !== "files";
    byId("records-computer").value = computer;
    recordsShown.load.soon();
  },
};

/** The table `name` of the state; without columns it has one for each member of its records. */
export function tableView(name, title, columns, empty, { key = "id", order = "" } = {}) {
  return { name, title, columns, empty, key, order, section: byId("view-records"), tables: [name], ...recordsView };
}

/** A column for each member: "fromComputer" is "From computer". */
function derivedColumns(record) {
  return Object.keys(record).map((name) => {
    const label = name.replace(/([a-z])([A-Z])/g, (_, before, after) => `${before} ${after.toLowerCase()}`)
      .replace(/^./, (first) => first.toUpperCase());
    if (/computer$/i.test(name)) {
      return computerColumn(label, name);
    }
    if (typeof record[name] === "boolean") {
      return flagColumn(label, name);
    }
    return /(At|modified|lastSeen)$/.test(name) ? timeColumn(label, name) : textColumn(label, name, /path$/i.test(name) ? "path" : "text");
  });
}
