import { byId, make } from "./elements.js";
import { outside } from "./outside-text.js";

/** Rows that stay the same elements as long as their records are shown, so that focus and selection stay too.

    A column has `label`, `value(record)`, which says whether its cell has to be filled anew, and optionally
    `fill(cell, record)` and `className`. */
export class Rows {
  constructor(table, columns, { key, decorate = () => {}, open = null }) {
    this.table = table;
    this.body = table.tBodies[0];
    this.key = key;
    this.decorate = decorate;
    this.open = open;
    this.rows = new Map();
    this.setColumns(columns);
  }

  setColumns(columns) {
    this.columns = columns;
    this.rows.clear();
    this.body.replaceChildren();
    this.table.tHead.replaceChildren(make("tr", {}, ...columns.map(({ label, className = "", unseen }) =>
      make("th", { scope: "col", className }, unseen ? make("span", { className: "unseen" }, label) : label))));
  }

  draw(records) {
    this.table.hidden = records.length === 0;
    const focus = this.focus();
    this.removeOthers(new Set(records.map((record) => String(this.key(record)))));
    let place = this.body.firstElementChild;
    for (const record of records) {
      const row = this.row(record);
      if (row === place) {
        place = place.nextElementSibling;
      } else {
        this.body.insertBefore(row, place);
      }
    }
    if (focus && document.activeElement !== focus.element) {
      this.focusAgain(focus);
    }
  }

  /** What has the focus, and where that is; null where it is not among the rows. */
  focus() {
    const element = document.activeElement;
    const cell = this.body.contains(element) ? element.closest("td") : null;
    return cell && { element, row: cell.parentElement, column: cell.cellIndex, index: cell.parentElement.sectionRowIndex };
  }

  /** Gives the focus back to what had it, or to what has taken its place. */
  focusAgain({ element, row, column, index }) {
    const place = row.isConnected ? row : this.body.rows[Math.min(index, this.body.rows.length - 1)];
    const next = element.isConnected ? element
      : place?.cells[column].querySelector("a, button") ?? place?.querySelector("a, button") ?? byId("main");
    next.focus({ preventScroll: element.isConnected });
  }

  removeOthers(kept) {
    for (const [key, row] of this.rows) {
      if (!kept.has(key)) {
        this.rows.delete(key);
        row.remove();
      }
    }
  }

  row(record) {
    const key = String(this.key(record));
    let row = this.rows.get(key);
    if (!row) {
      row = make("tr", {}, ...this.columns.map(({ className = "" }) => make("td", { className })));
      row.values = [];
      if (this.open) {
        row.addEventListener("click", (event) => {
          if (!event.target.closest("a, button") && String(getSelection()) === "") {
            this.open(row.record);
          }
        });
      }
      this.rows.set(key, row);
    }
    row.record = record;
    this.columns.forEach((column, index) => {
      const value = column.value(record);
      if (row.values[index] !== value) {
        row.values[index] = value;
        if (column.fill) {
          column.fill(row.cells[index], record);
        } else {
          row.cells[index].replaceChildren(value === null || value === undefined ? "" : outside(value));
        }
      }
    });
    this.decorate(row, record);
    return row;
  }
}
