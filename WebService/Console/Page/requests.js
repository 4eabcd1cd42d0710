// The view of the last requests.

import { confirmed } from "./dialog.js";
import { byId, make, setText } from "./elements.js";
import { count, plural } from "./formats.js";
import { attempt, say } from "./messages.js";
import { PAGE, Pages } from "./pages.js";
import { requestColumns } from "./request-columns.js";
import { requestDetail } from "./request-detail.js";
import { address, route, showDetail } from "./route.js";
import { Rows } from "./rows.js";
import { atNextFrame, together } from "./scheduling.js";
import { call, query } from "./service.js";

const KEPT = 1000;

export const requests = {
  title: "Requests",
  section: byId("view-requests"),
  tables: [],
  kept: [], // the last requests, the latest first
  arrived: [], // since they were drawn, the latest last
  meanwhile: [], // since the list was asked for, the latest last
  missed: 0, // while the list stands still
  found: null, // what the search has found, or null without a search
  page: 0,
  paused: false,
  chosen: null,

  start() {
    this.rows = new Rows(byId("requests-table"), requestColumns, {
      key: (request) => request.id,
      decorate: (row, request) => row.toggleAttribute("data-chosen", request.id === this.chosen),
      open: (request) => { location.hash = address("requests", request.id); },
    });
    this.pages = new Pages(byId("requests-pager"), () => this.draw());
    this.reload = together(() => this.fetchAll(), 1000);
    this.find = together(() => this.fetchFound(), 1000);
    this.drawSoon = together(() => new Promise((drawn) => atNextFrame(() => drawn(this.takeArrived()))), 250);
    byId("search").addEventListener("input", () => this.search());
    byId("pause").addEventListener("click", () => this.pause(!this.paused));
    byId("forget").addEventListener("click", attempt(() => this.forget()));
  },

  show([id = ""]) {
    const chosen = /^\d+$/.test(id) ? Number(id) : null;
    showDetail(this.section, byId("request"), chosen !== null);
    if (chosen !== this.chosen) {
      this.chosen = chosen;
      if (chosen !== null) {
        attempt(() => this.open(chosen))();
      }
    }
    this.takeArrived();
  },

  load() {
    if (!this.paused) {
      this.reload();
      if (this.found !== null) {
        this.find();
      }
    }
  },

  async fetchAll() {
    this.meanwhile = [];
    const page = await call("GET", query("/api/requests", { limit: KEPT }));
    this.kept = page.requests;
    this.arrived = this.meanwhile;
    this.takeArrived();
  },

  add(request) {
    if (this.paused) {
      this.missed += 1;
    } else {
      for (const list of [this.arrived, this.meanwhile]) {
        list.push(request);
        if (list.length > 2 * KEPT) {
          list.splice(0, KEPT);
        }
      }
    }
    if (route.view === "requests") {
      this.drawSoon();
      if (this.found !== null && !this.paused) {
        this.find();
      }
    }
  },

  takeArrived() {
    if (this.arrived.length > 0) {
      const newest = this.kept[0]?.id ?? 0;
      const added = this.arrived.filter((request) => request.id > newest).slice(-KEPT).reverse();
      this.kept = [...added, ...this.kept].slice(0, KEPT);
      this.arrived = [];
    }
    this.draw();
  },

  search() {
    const text = byId("search").value.trim();
    this.pages.begin();
    if (text === "") {
      this.found = null;
      this.draw();
    } else {
      this.find.soon();
    }
  },

  async fetchFound() {
    const search = byId("search").value.trim();
    if (search === "") {
      return;
    }
    const page = await call("GET", query("/api/requests", { search, limit: KEPT }));
    if (search === byId("search").value.trim()) {
      this.found = page.requests;
      this.draw();
    } else {
      this.find();
    }
  },

  draw() {
    if (route.view !== "requests") {
      return;
    }
    const all = this.found ?? this.kept;
    // The pages are numbers: what is shown are the last requests, of which new ones push the others on.
    const start = this.pages.after ?? 0;
    this.rows.draw(all.slice(start, start + PAGE));
    this.pages.draw(start + PAGE < all.length ? start + PAGE : null);
    const waiting = this.missed > 0 ? `, ${plural(this.missed, "new one")} not shown` : "";
    setText(byId("requests-about"), this.found ? `${count(all.length)} of the last ${count(KEPT)} found${waiting}`
      : `${all.length < KEPT ? count(all.length) : `the last ${count(KEPT)}`}${waiting}`);
    byId("requests-empty").hidden = all.length > 0;
    setText(byId("requests-empty"), this.found ? "No request has this text." : "No requests yet. They appear here as they are answered.");
  },

  pause(paused) {
    this.paused = paused;
    byId("pause").setAttribute("aria-pressed", String(paused));
    setText(byId("pause"), paused ? "Resume" : "Pause");
    this.missed = 0;
    this.load();
    this.draw();
  },

  async forget() {
    if (await confirmed("Forget all requests?", "Their responses and bodies are forgotten with them.", "Forget all")) {
      await call("DELETE", "/api/requests");
      this.forgotten();
      say("The requests were forgotten.");
    }
  },

  /** A list that was asked for before has them still: it is asked for again. */
  forgotten() {
    this.empty();
    this.load();
  },

  empty() {
    this.kept = [];
    this.arrived = [];
    this.meanwhile = [];
    this.missed = 0;
    this.found = this.found === null ? null : [];
    this.pages.begin();
    this.draw();
  },

  async open(id) {
    const heading = byId("request-heading");
    heading.replaceChildren(`Request ${id}`);
    byId("request-content").replaceChildren();
    heading.focus({ preventScroll: true });
    try {
      const detail = await call("GET", `/api/requests/${id}`);
      if (id === this.chosen) {
        byId("request-content").replaceChildren(...requestDetail(detail));
      }
    } catch (error) {
      if (id === this.chosen) {
        byId("request-content").replaceChildren(make("p", { className: "empty" },
          error.status === 404 ? "This request is no longer kept." : error.message));
      }
    }
  },
};
