// The view of the computers and their queues.

import { confirmed } from "./dialog.js";
import { prepareDrops } from "./drops.js";
import { byId, onEnter, setDisabled, setText } from "./elements.js";
import { count, plural, timeElement } from "./formats.js";
import { attempt, say } from "./messages.js";
import { lastPart, outside } from "./outside-text.js";
import { PAGE, Pages } from "./pages.js";
import { computerColumns, itemColumns } from "./queue-columns.js";
import { WIDE, address, go, route, showDetail } from "./route.js";
import { Rows } from "./rows.js";
import { atNextFrame, together } from "./scheduling.js";
import { call, computerPath, query } from "./service.js";

export const queues = {
  title: "Queues",
  section: byId("view-queues"),
  tables: [],
  computer: null,
  last: null, // the computer whose queue was shown last
  state: "pending",
  computers: new Map(), // of the page that is shown, and the one whose queue is shown
  items: [],
  streams: new Map(), // by item

  start() {
    this.pages = new Pages(byId("queues-pager"), () => this.loadComputers.soon());
    this.itemPages = new Pages(byId("items-pager"), () => this.loadItems.soon());
    this.loadComputers = together(() => this.fetchComputers(), 500);
    this.loadItems = together(() => this.fetchItems(), 500);
    this.rows = new Rows(byId("queues-table"), computerColumns, {
      key: (each) => each.computer,
      decorate: (row, each) => row.toggleAttribute("data-chosen", each.computer === this.computer),
      open: (each) => { location.hash = address("queues", each.computer); },
    });
    this.itemRows = new Rows(byId("items-table"), itemColumns({ withdraw: (item) => this.withdraw(item), offer: (item) => this.offer(item) }), {
      key: (item) => item.id,
      decorate: (row, item) => { row.dataset.state = item.state; },
    });
    for (const radio of byId("item-states").querySelectorAll("input")) {
      radio.addEventListener("change", () => {
        this.state = radio.value;
        this.itemPages.begin();
        this.loadItems.soon();
      });
    }
    const open = () => {
      const computer = byId("open-computer").value.trim();
      if (computer !== "") {
        byId("open-computer").value = "";
        location.hash = address("queues", computer);
      }
    };
    byId("open").addEventListener("click", open);
    onEnter(byId("open-computer"), open);
    byId("clear-queue").addEventListener("click", attempt(() => this.clear()));
    prepareDrops(this);
  },

  show([computer = ""]) {
    const changed = (this.computer ?? "") !== computer;
    this.computer = computer === "" ? null : computer;
    this.last = this.computer ?? this.last;
    showDetail(this.section, byId("queue"), this.computer !== null);
    if (changed && this.computer !== null) {
      this.itemPages.begin();
      this.items = [];
      this.loaded = false;
      byId("queue-heading").replaceChildren("Computer ", outside(this.computer));
      byId("queue-heading").focus({ preventScroll: true });
      this.draw();
    }
    this.load();
  },

  load() {
    this.loadComputers.soon();
    if (this.computer !== null) {
      this.loadItems.soon();
    }
  },

  async fetchComputers() {
    const page = await call("GET", query("/api/computers", { limit: PAGE, after: this.pages.after }));
    this.list = page.computers;
    this.computers = new Map(page.computers.map((each) => [each.computer, each]));
    this.pages.draw(page.next);
    if (this.computer === null && page.computers.length > 0 && WIDE.matches && route.view === "queues") {
      const computer = this.computers.has(this.last) ? this.last : page.computers[0].computer;
      history.replaceState(null, "", address("queues", computer));
      go();
    }
    if (this.computer !== null && !this.computers.has(this.computer) && !(this.pages.first && page.next === null)) {
      await this.fetchCounts(this.computer);
    }
    atNextFrame(this.drawing);
  },

  /** The counts of a computer that is on another page of the list. */
  async fetchCounts(computer) {
    this.computers.set(computer, { computer, ...await call("GET", query("/status", { computer })) });
  },

  async fetchItems() {
    const { computer, state } = this;
    const after = this.itemPages.after;
    const page = await call("GET", query("/api/items", { computer, state, limit: PAGE, after }));
    if (computer === this.computer && state === this.state && after === this.itemPages.after) {
      this.items = page.items;
      this.loaded = true;
      this.itemPages.draw(page.next);
      atNextFrame(this.drawing);
    }
  },

  drawing: () => queues.draw(),

  draw() {
    if (this.list) {
      this.rows.draw(this.list);
      byId("queues-empty").hidden = this.list.length > 0 || !this.pages.first;
    }
    if (this.computer === null) {
      return;
    }
    const counts = this.computers.get(this.computer) ?? {};
    for (const state of ["pending", "acknowledged", "withdrawn"]) {
      setText(byId(`count-${state}`), count(counts[state] ?? 0));
    }
    setDisabled(byId("clear-queue"), !(counts.pending > 0), byId("queue-heading"));
    this.drawAbout(counts);
    this.itemRows.draw(this.items.map((item) => this.withProgress(item)));
    const empty = byId("items-empty");
    empty.hidden = this.items.length > 0 || !this.loaded;
    setText(empty, { pending: "Nothing is pending.", acknowledged: "Nothing was acknowledged yet.",
      withdrawn: "Nothing was withdrawn.", "": "This queue has no items." }[this.state]);
  },

  drawAbout({ mail, folder, version, lastSeen }) {
    const parts = [];
    for (const part of [mail, folder, version && `version ${version}`]) {
      if (part) {
        parts.push(outside(part), " · ");
      }
    }
    parts.push(...(lastSeen ? ["last seen ", timeElement(lastSeen)] : parts.length > 0 ? parts.splice(-1, 0) : []));
    if (parts.at(-1) === " · ") {
      parts.pop();
    }
    byId("queue-about").replaceChildren(...parts);
  },

  /** The downloads of the last event say which pending items are being streamed; the list of items may be older. */
  withProgress(item) {
    if (item.state !== "pending" && item.state !== "streaming") {
      return item;
    }
    const stream = this.streams.get(item.id);
    return stream ? { ...item, state: "streaming", bytes: stream.bytes, size: stream.total, bytesPerSecond: stream.bytesPerSecond }
      : { ...item, state: "pending", bytes: null, bytesPerSecond: null };
  },

  streaming(streams) {
    this.streams = new Map(streams.map((stream) => [stream.item, stream]));
    if (route.view === "queues") {
      atNextFrame(this.drawing);
    }
  },

  changed(computers) {
    if (route.view === "queues") {
      this.loadComputers();
      if (computers.includes(this.computer)) {
        this.loadItems();
      }
    }
  },

  async clear() {
    const { computer } = this;
    if (await confirmed(`Clear the queue of computer ${computer}?`,
      "Every pending item is withdrawn, and its file is removed from the outbox.", "Clear queue")) {
      const { withdrawn } = await call("POST", `${computerPath(computer)}/clear`);
      say(`${plural(withdrawn, "item was", "items were")} withdrawn.`);
      this.load();
    }
  },

  async withdraw(item) {
    const name = lastPart(item.name);
    if (await confirmed(`Withdraw ${name}?`, item.isFile ? "The file is removed from the outbox."
      : "The folder is offered no longer, and removed from the outbox where nothing is in it.", "Withdraw")) {
      await call("POST", `/api/items/${item.id}/withdraw`);
      say(`${name} was withdrawn.`);
      this.load();
    }
  },

  async offer(item) {
    await call("POST", `/api/items/${item.id}/offer`);
    say(`${lastPart(item.name)} is offered again.`);
    this.load();
  },
};
