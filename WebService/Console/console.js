// The console of the development web service: a page that shows what the service holds and does, live.
//
// Everything that comes from the service may be hostile. It becomes text nodes and property values, never markup, and
// characters that could change how the text around them looks are shown as their code points.

// ---------------------------------------------------------------------------------------------------------------------
// Elements

const byId = (id) => document.getElementById(id);

/** A new element with these properties and children: elements, or texts. */
function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

// Control characters, and those that reorder or hide text (Unicode Standard Annex #9; invisible characters).
const UNSEEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b\u200e\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]|[\ud800-\udbff](?![\udc00-\udfff])|(?<![\ud800-\udbff])[\udc00-\udfff]/g;
const UNSEEN_OF_LINES = new RegExp(UNSEEN.source.replace("\\u0000-\\u001f", "\\u0000-\\u0008\\u000b-\\u001f"), "g");
const SHORT = 160;

/** Nodes that show the text: what cannot be seen is a code point in a box. */
function visible(text, unseen = UNSEEN) {
  const nodes = [];
  let from = 0;
  for (const match of text.matchAll(unseen)) {
    const code = match[0].codePointAt(0).toString(16).toUpperCase().padStart(4, "0");
    nodes.push(text.slice(from, match.index), make("span", { className: "code-point" }, `U+${code}`));
    from = match.index + match[0].length;
  }
  nodes.push(text.slice(from));
  return nodes;
}

/** A text from outside, isolated from its surroundings, whose direction it cannot change. Paths and messages are read from
    left to right, whatever letters they begin with. A long text is folded behind a button. */
function outside(text) {
  text = String(text);
  const characters = Array.from(text.length > SHORT ? text : "");
  if (characters.length <= SHORT) {
    return make("bdi", { className: "outside", dir: "ltr" }, ...visible(text));
  }
  const whole = make("bdi", { className: "outside", dir: "ltr" });
  const fold = make("button", { type: "button", className: "fold" });
  const show = (open) => {
    const shown = open ? text : `${characters.slice(0, 100).join("")} … ${characters.slice(-30).join("")}`;
    whole.replaceChildren(...visible(shown));
    fold.textContent = open ? "Show less" : `Show all ${count(characters.length)} characters`;
    fold.setAttribute("aria-expanded", String(open));
  };
  fold.addEventListener("click", (event) => {
    event.stopPropagation();
    show(fold.getAttribute("aria-expanded") !== "true");
  });
  show(false);
  return make("span", {}, whole, " ", fold);
}

/** The same for links, which have no room for a button: a long text is cut. */
function brief(text) {
  const characters = Array.from(String(text));
  const cut = characters.length > SHORT ? `${characters.slice(0, 100).join("")} …` : String(text);
  return make("bdi", { className: "outside", dir: "ltr" }, ...visible(cut));
}

// ---------------------------------------------------------------------------------------------------------------------
// Texts

const count = (number) => Number(number).toLocaleString("en");

function bytesText(bytes) {
  if (bytes === null || bytes === undefined) {
    return "";
  }
  const units = ["B", "KiB", "MiB", "GiB", "TiB"];
  let unit = 0;
  let value = Number(bytes);
  while (value >= 1024 && unit < units.length - 1) {
    value /= 1024;
    unit += 1;
  }
  return `${unit === 0 || value >= 100 ? Math.round(value) : value.toFixed(1)} ${units[unit]}`;
}

const rateText = (rate) => `${bytesText(rate)}/s`;

function durationText(milliseconds) {
  if (milliseconds >= 1000) {
    return `${(milliseconds / 1000).toFixed(1)} s`;
  }
  return `${milliseconds < 10 ? milliseconds.toFixed(1) : Math.round(milliseconds)} ms`;
}

const two = (number) => String(number).padStart(2, "0");

/** The local time of day, with the date where that is not today. */
function timeElement(iso, withMilliseconds = false) {
  const time = new Date(iso);
  if (!iso || Number.isNaN(time.getTime())) {
    return make("span", {}, String(iso ?? ""));
  }
  const day = `${time.getFullYear()}-${two(time.getMonth() + 1)}-${two(time.getDate())}`;
  const clock = `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`;
  const text = clock + (withMilliseconds ? `.${String(time.getMilliseconds()).padStart(3, "0")}` : "");
  const today = time.toDateString() === new Date().toDateString();
  return make("time", { dateTime: iso, title: iso }, today ? text : `${day} ${text}`);
}

const plural = (number, one, many = `${one}s`) => `${count(number)} ${number === 1 ? one : many}`;

let saidUntil = 0;

/** Shows a message for a while, and has it read out. */
function say(text) {
  byId("toast").replaceChildren(...visible(text));
  clearTimeout(saidUntil);
  saidUntil = setTimeout(() => byId("toast").replaceChildren(), 8000);
}

// ---------------------------------------------------------------------------------------------------------------------
// Work that is put together

const drawings = new Set();
let drawingAsked = false;

/** Runs `draw` with the next frame, once however often it was asked for. */
function atNextFrame(draw) {
  drawings.add(draw);
  if (!drawingAsked) {
    drawingAsked = true;
    requestAnimationFrame(() => {
      drawingAsked = false;
      const due = [...drawings];
      drawings.clear();
      due.forEach((each) => each());
    });
  }
}

/** A function that runs `work`: never twice at the same time, nor within `pause` milliseconds, and once more where it was
    asked for meanwhile. `soon()` does not wait for the pause. */
function together(work, pause) {
  let running = false;
  let asked = false;
  let hurried = false;
  let timer = 0;
  const run = async () => {
    clearTimeout(timer);
    running = true;
    asked = false;
    hurried = false;
    try {
      await work();
    } catch (error) {
      report(error);
    }
    running = false;
    timer = setTimeout(() => {
      timer = 0;
      if (asked) {
        run();
      }
    }, hurried ? 0 : pause);
  };
  const ask = () => {
    asked = true;
    if (!running && timer === 0) {
      run();
    }
  };
  ask.soon = () => {
    asked = true;
    hurried = true;
    if (!running) {
      run();
    }
  };
  return ask;
}

// ---------------------------------------------------------------------------------------------------------------------
// The service

class ServiceError extends Error {
  constructor(status, code, message) {
    super(message);
    this.status = status;
    this.code = code;
  }
}

/** What an error document says; `text` is the body of a response with `status`. */
function serviceError(status, text) {
  try {
    const { code, message } = JSON.parse(text).error;
    return new ServiceError(status, code, message || code);
  } catch {
    return new ServiceError(status, "", `The service responded with status ${status}.`);
  }
}

async function call(method, path, body) {
  const response = await fetch(path, { method, body, cache: "no-store" });
  const text = await response.text();
  if (!response.ok) {
    throw serviceError(response.status, text);
  }
  return text === "" ? {} : JSON.parse(text);
}

/** Shows an error, except for a lost connection, which has its own place on the page. */
function report(error) {
  if (error instanceof ServiceError) {
    say(error.message);
  } else if (!(error instanceof TypeError && live.state !== "live")) {
    console.error(error);
    say("The service did not respond.");
  }
}

function attempt(work) {
  return async (...values) => {
    try {
      await work(...values);
    } catch (error) {
      report(error);
    }
  };
}

const computerPath = (computer) => `/api/computers/${encodeURIComponent(computer)}`;

function query(path, parameters) {
  const search = new URLSearchParams();
  for (const [name, value] of Object.entries(parameters)) {
    if (value !== null && value !== undefined && value !== "") {
      search.set(name, value);
    }
  }
  return search.size > 0 ? `${path}?${search}` : path;
}

// ---------------------------------------------------------------------------------------------------------------------
// Tables

/** Rows that stay the same elements as long as their records are shown, so that focus and selection stay too.

    A column has `label`, `value(record)`, which says whether its cell has to be filled anew, and optionally
    `fill(cell, record)` and `className`. */
class Rows {
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
    const kept = new Set(records.map((record) => String(this.key(record))));
    const focused = this.removeOthers(kept);
    let place = this.body.firstElementChild;
    for (const record of records) {
      const row = this.row(record);
      if (row === place) {
        place = place.nextElementSibling;
      } else {
        this.body.insertBefore(row, place);
      }
    }
    if (focused >= 0) {
      const row = this.body.rows[Math.min(focused, this.body.rows.length - 1)];
      (row?.querySelector("a, button") ?? byId("main")).focus();
    }
  }

  /** Removes the rows of other records and returns the index of the one that had the focus, or -1. */
  removeOthers(kept) {
    let focused = -1;
    for (const [key, row] of this.rows) {
      if (!kept.has(key)) {
        if (row.contains(document.activeElement)) {
          focused = row.sectionRowIndex;
        }
        this.rows.delete(key);
        row.remove();
      }
    }
    return focused;
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

/** Pages of a list, each of which begins behind the `next` of the one before. */
class Pages {
  constructor(element, turned) {
    this.element = element;
    this.turned = turned;
    this.previous = make("button", { type: "button" }, "Previous");
    this.following = make("button", { type: "button" }, "Next");
    this.text = make("span");
    this.previous.addEventListener("click", () => this.turn(() => this.starts.pop()));
    this.following.addEventListener("click", () => this.turn(() => this.starts.push(this.next)));
    element.append(this.previous, this.text, this.following);
    this.begin();
  }

  begin() {
    this.starts = [null];
    this.next = null;
  }

  turn(change) {
    change();
    this.turned();
  }

  get after() {
    return this.starts.at(-1);
  }

  get first() {
    return this.starts.length === 1;
  }

  draw(next) {
    this.next = next ?? null;
    this.element.hidden = this.first && this.next === null;
    this.previous.disabled = this.first;
    this.following.disabled = this.next === null;
    setText(this.text, `Page ${this.starts.length}`);
  }
}

const PAGE = 100;
const WIDE = matchMedia("(min-width: 60rem)"); // as in the style sheet: lists and details stand side by side

// ---------------------------------------------------------------------------------------------------------------------
// Where the page is: #view/part/part

const route = { view: "queues", parts: [] };

function readRoute() {
  let parts;
  try {
    parts = location.hash.slice(1).split("/").map(decodeURIComponent);
  } catch {
    parts = [""];
  }
  const view = Object.hasOwn(views, parts[0]) ? parts[0] : "queues";
  return { view, parts: view === parts[0] ? parts.slice(1) : [] };
}

const address = (...parts) => `#${parts.map(encodeURIComponent).join("/")}`;

function go() {
  Object.assign(route, readRoute());
  const { title, section } = views[route.view];
  for (const each of document.querySelectorAll(".view")) {
    each.hidden = each !== section;
  }
  for (const link of byId("views").querySelectorAll("a")) {
    const here = link.hash === address(route.view);
    if (here) {
      link.setAttribute("aria-current", "page");
      link.classList.remove("news");
      link.scrollIntoView({ block: "nearest", inline: "nearest" });
    } else {
      link.removeAttribute("aria-current");
    }
  }
  document.title = `${title} – Quenmark web service`;
  views[route.view].show(route.parts);
}

/** Shows a detail beside its list, or in place of it where the window is narrow. */
function showDetail(section, detail, shown) {
  section.classList.toggle("with-detail", shown);
  detail.hidden = !shown;
}

// ---------------------------------------------------------------------------------------------------------------------
// Queues

const queues = {
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
    this.itemRows = new Rows(byId("items-table"), itemColumns, {
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
    byId("clear-queue").disabled = !(counts.pending > 0);
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
    await call("POST", `/api/items/${item.id}/withdraw`);
    say(`${lastPart(item.name)} was withdrawn.`);
    this.load();
  },

  async offer(item) {
    await call("POST", `/api/items/${item.id}/offer`);
    say(`${lastPart(item.name)} is offered again.`);
    this.load();
  },
};

function lastPart(name) {
  const part = Array.from(name.split("\\").at(-1));
  return part.length > 60 ? `${part.slice(0, 60).join("")}…` : part.join("");
}

const number = (label, value) => ({
  label, className: "number", value,
  fill: (cell, record) => setText(cell, count(value(record) ?? 0)),
});

const computerColumns = [
  {
    label: "Computer", className: "name",
    value: (each) => `${each.computer}\n${each.mail ?? ""}`,
    fill: (cell, each) => cell.replaceChildren(
      make("a", { href: address("queues", each.computer) }, brief(each.computer)),
      ...(each.mail ? [make("small", {}, outside(each.mail))] : [])),
  },
  {
    label: "Pending", className: "number",
    value: (each) => `${each.pending} ${each.streaming}`,
    fill: (cell, each) => cell.replaceChildren(
      ...(each.streaming > 0 ? [make("span", { className: "flow", title: `${each.streaming} streaming` },
        make("span", { className: "unseen" }, `${each.streaming} streaming `))] : []), count(each.pending)),
  },
  number("Done", (each) => each.acknowledged),
];

const STATES = { pending: "Pending", streaming: "Streaming", acknowledged: "Acknowledged", withdrawn: "Withdrawn" };

function itemName(cell, { name, isFile }) {
  const at = name.lastIndexOf("\\");
  const shown = name.length > SHORT ? outside(name) : make("bdi", { className: "outside", dir: "ltr" },
    make("span", { className: "parents" }, ...visible(name.slice(0, at + 1)), make("wbr")), ...visible(name.slice(at + 1)));
  cell.replaceChildren(make("div", { className: "item" },
    make("span", { className: isFile ? "kind file" : "kind folder" },
      make("span", { className: "unseen" }, isFile ? "File " : "Folder ")), shown));
}

function itemState(cell, item) {
  const badge = make("span", { className: `badge ${item.state}` }, STATES[item.state] ?? item.state);
  if (item.state !== "streaming") {
    cell.replaceChildren(badge);
    return;
  }
  const bar = cell.querySelector("progress") ?? make("progress");
  bar.max = Math.max(item.size ?? 0, 1);
  bar.value = item.size === 0 ? 1 : item.bytes ?? 0;
  bar.setAttribute("aria-label", "Progress of the download");
  const text = `${bytesText(item.bytes ?? 0)} of ${bytesText(item.size)} · ${rateText(item.bytesPerSecond ?? 0)}`;
  if (bar.isConnected) {
    setText(cell.querySelector(".progress"), text);
  } else {
    cell.replaceChildren(badge, bar, make("span", { className: "progress" }, text));
  }
}

function itemAction(cell, item) {
  const name = Array.from(item.name).slice(0, 80).join("");
  const button = (label, act) => {
    const made = make("button", { type: "button", ariaLabel: `${label} ${name}` }, label);
    made.addEventListener("click", attempt(() => act.call(queues, item)));
    return made;
  };
  cell.replaceChildren(item.state === "pending" || item.state === "streaming"
    ? button("Withdraw", queues.withdraw) : button("Offer again", queues.offer));
}

const itemColumns = [
  { label: "Item", className: "name", value: (item) => `${item.isFile} ${item.name}`, fill: itemName },
  { label: "Size", className: "number size", value: (item) => item.isFile ? item.size : null,
    fill: (cell, item) => setText(cell, item.isFile ? bytesText(item.size) : "") },
  { label: "State", className: "state", value: (item) => `${item.state} ${item.bytes} ${item.bytesPerSecond}`, fill: itemState },
  { label: "Actions", unseen: true, className: "action",
    value: (item) => item.state === "pending" || item.state === "streaming" ? "withdraw" : "offer", fill: itemAction },
];

// ---------------------------------------------------------------------------------------------------------------------
// Adding files and folders to a queue

const AT_ONCE = 3; // the browser has six connections to the service, and the page needs some
const ERRORS_SHOWN = 100;

/** What was dropped, each folder before what is in it. The walk goes into a folder when `finish` of it was called, and
    leaves out what is in it after `finish(false)`. */
async function* entriesBelow(entries, parent) {
  for (const entry of entries) {
    const path = parent + entry.name;
    if (entry.isFile) {
      yield { path, file: await new Promise((found, failed) => entry.file(found, failed)).catch((error) => error) };
      continue;
    }
    const folder = { path: `${path}/`, file: null };
    const finished = new Promise((finish) => { folder.finish = finish; });
    yield folder;
    if (await finished) {
      const reader = entry.createReader();
      for (;;) {
        const some = await new Promise((found, failed) => reader.readEntries(found, failed));
        if (some.length === 0) {
          break;
        }
        yield* entriesBelow(some, `${path}/`);
      }
    }
  }
}

/** The files that were chosen, each folder of their paths before what is in it. */
async function* chosenFiles(files) {
  const folders = new Map();
  for (const file of files) {
    const path = file.webkitRelativePath || file.name;
    let usable = true;
    for (let at = path.indexOf("/"); at >= 0 && usable; at = path.indexOf("/", at + 1)) {
      const folder = { path: path.slice(0, at + 1), file: null };
      if (!folders.has(folder.path)) {
        const finished = new Promise((finish) => { folder.finish = finish; });
        yield folder;
        folders.set(folder.path, await finished);
      }
      usable = folders.get(folder.path);
    }
    if (usable) {
      yield { path, file };
    }
  }
}

/** One drop: its files on their way to a computer's queue, and the box that shows them. */
class Upload {
  constructor(computer, items) {
    this.computer = computer;
    this.items = items;
    this.done = 0;
    this.failed = 0;
    this.bytes = 0;
    this.active = new Map(); // path to [bytes, total]
    this.requests = new Set();
    this.began = performance.now();
    this.state = "running";
    this.drawing = () => this.draw();
    this.build();
    this.finished = this.run();
  }

  async run() {
    const workers = Array.from({ length: AT_ONCE }, () => this.work());
    try {
      await Promise.all(workers);
    } catch (error) {
      this.fail("", error.message);
    }
    this.state = this.state === "cancelled" ? "cancelled" : "finished";
    this.active.clear();
    this.draw();
    say(this.summary());
    queues.load();
  }

  async work() {
    for await (const item of this.items) {
      const put = this.state === "running" && await this.put(item);
      item.finish?.(put);
      if (this.state !== "running") {
        return;
      }
    }
  }

  async put({ path, file }) {
    try {
      if (file instanceof Error) {
        throw file;
      }
      this.active.set(path, [0, file?.size ?? 0]);
      atNextFrame(this.drawing);
      await this.send(path, file);
      this.done += 1;
      this.bytes += file?.size ?? 0;
      return true;
    } catch (error) {
      if (this.state === "running") {
        this.fail(path, error.message);
      }
      return false;
    } finally {
      this.active.delete(path);
      atNextFrame(this.drawing);
    }
  }

  send(path, file) {
    return new Promise((sent, failed) => {
      const request = new XMLHttpRequest();
      this.requests.add(request);
      request.upload.addEventListener("progress", ({ loaded }) => {
        this.active.get(path)?.splice(0, 1, loaded);
        atNextFrame(this.drawing);
      });
      request.addEventListener("loadend", () => {
        this.requests.delete(request);
        if (request.status >= 200 && request.status < 300) {
          sent();
        } else if (request.status > 0) {
          failed(serviceError(request.status, request.responseText));
        } else {
          failed(new Error("The file cannot be read, or the connection was lost."));
        }
      });
      const parts = [this.computer, ...path.split("/")];
      request.open("PUT", `/outbox/${parts.map(encodeURIComponent).join("/")}`);
      request.setRequestHeader("Content-Type", "application/octet-stream");
      request.send(file ?? "");
    });
  }

  fail(path, message) {
    this.failed += 1;
    if (this.failed <= ERRORS_SHOWN) {
      this.errors.append(make("li", {}, ...(path ? [outside(path), ": "] : []), ...visible(message)));
    } else {
      setText(this.more, `And ${plural(this.failed - ERRORS_SHOWN, "further error")}.`);
    }
  }

  cancel() {
    if (this.state === "running") {
      this.state = "cancelled";
      this.requests.forEach((request) => request.abort());
    } else {
      uploads.remove(this);
    }
  }

  build() {
    this.heading = make("p", { className: "what" });
    this.bar = make("progress", { ariaLabel: "Progress of the upload" });
    this.figures = make("p", { className: "figures" });
    this.list = make("ul", { className: "active" });
    this.errors = make("ul", { className: "errors" });
    this.more = make("p", { className: "errors" });
    this.button = make("button", { type: "button" });
    this.button.addEventListener("click", () => this.cancel());
    this.box = make("div", { className: "upload" },
      make("div", { className: "head" }, this.heading, this.button), this.bar, this.figures, this.list, this.errors, this.more);
    this.draw();
  }

  summary() {
    const failed = this.failed > 0 ? `, ${plural(this.failed, "error")}` : "";
    const cancelled = this.state === "cancelled" ? ", then cancelled" : "";
    return `${plural(this.done, "item")} added to computer ${this.computer}${failed}${cancelled}.`;
  }

  draw() {
    const running = this.state === "running";
    let bytes = this.bytes;
    let total = this.bytes;
    for (const [sent, size] of this.active.values()) {
      bytes += sent;
      total += size;
    }
    this.heading.replaceChildren(...visible(running ? `Adding to computer ${this.computer}` : this.summary()));
    this.bar.hidden = !running;
    this.bar.max = Math.max(total, 1);
    this.bar.value = bytes;
    const rate = bytes / Math.max((performance.now() - this.began) / 1000, 0.1);
    this.figures.hidden = !running;
    setText(this.figures, `${plural(this.done, "item")} added · ${bytesText(bytes)} · ${rateText(rate)}`);
    this.list.replaceChildren(...[...this.active].map(([path, [sent, size]]) =>
      make("li", {}, outside(path), size > 0 ? ` ${Math.floor(100 * sent / size)} %` : "")));
    setText(this.button, running ? "Cancel" : "Dismiss");
    this.box.dataset.state = this.failed > 0 ? "failed" : this.state;
  }
}

const uploads = {
  all: [],
  last: Promise.resolve(),

  /** Begins once what was dropped before has been sent. */
  add(computer, items) {
    if (computer === null) {
      return;
    }
    if (this.running) {
      say("It is added as soon as what was dropped before has been sent.");
    }
    this.all.filter((upload) => upload.state !== "running" && upload.failed === 0).forEach((upload) => this.remove(upload));
    this.last = this.last.then(() => {
      const upload = new Upload(computer, items);
      this.all.push(upload);
      byId("uploads").append(upload.box);
      return upload.finished;
    });
  },

  remove(upload) {
    this.all = this.all.filter((each) => each !== upload);
    upload.box.remove();
    byId("queue-heading").focus({ preventScroll: true });
  },

  get running() {
    return this.all.some((upload) => upload.state === "running");
  },
};

/** Files may be dropped onto the whole panel of a queue and onto the computers of the list. */
function prepareDrops(view) {
  const panel = byId("queue");
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
      uploads.add(found.computer, entries.length > 0 ? entriesBelow(entries, "") : chosenFiles([...event.dataTransfer.files]));
    }
  });
  for (const name of ["files", "folder"]) {
    const input = byId(`${name}-input`);
    byId(`add-${name}`).addEventListener("click", () => input.click());
    input.addEventListener("change", () => {
      uploads.add(view.computer, chosenFiles([...input.files]));
      input.value = "";
    });
  }
  addEventListener("beforeunload", (event) => uploads.running && event.preventDefault());
}

// ---------------------------------------------------------------------------------------------------------------------
// Requests

const KEPT = 1000;

const requests = {
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
    await call("DELETE", "/api/requests");
    this.empty();
    say("The requests were forgotten.");
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

function statusBadge({ status }) {
  const kind = status >= 500 ? "failure" : status >= 400 ? "warning" : "fine";
  return make("span", { className: `badge ${kind}` }, String(status));
}

/** What is special about a request: the fault that was applied to it, and a response that was not sent whole. */
function requestMarks({ fault, complete }) {
  const marks = [];
  if (fault !== null && fault !== undefined) {
    marks.push(make("a", { className: "badge fault", href: "#faults", title: `faults[${fault}] was applied` }, `fault ${fault}`));
  }
  if (!complete) {
    marks.push(make("span", { className: "badge failure", title: "The response was not sent whole" }, "incomplete"));
  }
  return marks;
}

/** "Uploads.svc/GetTopFileUpload", or method and path of what is no operation. */
function requestName({ operation, method, path }) {
  const at = operation ? operation.lastIndexOf("/") + 1 : 0;
  return at > 0 && operation.length <= SHORT
    ? [make("span", { className: "method" }, ...visible(operation.slice(0, at))), make("wbr"), brief(operation.slice(at))]
    : [make("span", { className: "method" }, ...visible(method)), " ", brief(operation ?? path)];
}

const requestColumns = [
  { label: "Time", className: "time", value: (request) => request.time,
    fill: (cell, request) => cell.replaceChildren(timeElement(request.time, true)) },
  {
    label: "Request", className: "name",
    value: (request) => `${request.method} ${request.operation ?? request.path} ${request.fault} ${request.complete}`,
    fill: (cell, request) => cell.replaceChildren(
      make("a", { href: address("requests", request.id) }, ...requestName(request)), ...requestMarks(request).flatMap((mark) => [" ", mark])),
  },
  { label: "Computer", className: "computer wide", value: (request) => request.computer },
  { label: "Status", className: "status", value: (request) => request.status,
    fill: (cell, request) => cell.replaceChildren(statusBadge(request)) },
  { label: "Size", className: "number wide", value: (request) => request.bytes,
    fill: (cell, request) => setText(cell, bytesText(request.bytes)) },
  { label: "Duration", className: "number wide", value: (request) => request.milliseconds,
    fill: (cell, request) => setText(cell, durationText(request.milliseconds)) },
];

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

function requestDetail(detail) {
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

/** Copies where the page has no clipboard too: it has one on loopback and over TLS only. */
async function copyText(text) {
  if (navigator.clipboard) {
    try {
      await navigator.clipboard.writeText(text);
      return;
    } catch {
      // Not allowed: the older way may be.
    }
  }
  const area = make("textarea", { value: text, className: "unseen" });
  const focused = document.activeElement;
  document.body.append(area);
  area.select();
  const copied = document.execCommand("copy");
  area.remove();
  focused?.focus();
  if (!copied) {
    throw new ServiceError(0, "", "The browser does not allow copying.");
  }
}

// ---------------------------------------------------------------------------------------------------------------------
// The fault plan

const STREAM = "Uploads.svc/GetTopFileUploadWithStream";
const EXAMPLES = {
  "Reset a download": { path: STREAM, times: 1, action: { kind: "reset", afterBytes: 1000000 } },
  "Close a download early": { path: STREAM, times: 1, action: { kind: "close", afterBytes: 1000000 } },
  "Stall a download": { path: STREAM, times: 1, action: { kind: "stall", afterBytes: 1000000, seconds: 60 } },
  "Delay every response": { action: { kind: "delay", seconds: 3 } },
  "Throttle downloads": { path: STREAM, action: { kind: "throttle", bytesPerSecond: 100000 } },
  "Respond with a status": { path: "Uploads.svc/*", times: 3, action: { kind: "status", code: 503, body: "busy" } },
  "Replace a body": { path: "Uploads.svc/GetTopFileUpload", times: 1, action: { kind: "body", text: "no JSON" } },
  "Change header fields": { path: STREAM, action: { kind: "headers", set: { "X-Test": "1" }, remove: ["FileUploadID"] } },
  "Corrupt a byte": { path: STREAM, times: 1, action: { kind: "corrupt", atByte: 1000 } },
};

const faults = {
  title: "Faults",
  section: byId("view-faults"),
  tables: ["faults"],
  plan: { faults: [] },
  text: "", // of the plan that is in force

  start() {
    this.load = together(() => this.fetchPlan(), 1000);
    this.rows = new Rows(byId("faults-table"), faultColumns, { key: (fault) => fault.index });
    for (const name of Object.keys(EXAMPLES)) {
      byId("example").append(make("option", { value: name }, name));
    }
    byId("example").addEventListener("change", () => this.insert());
    byId("apply-plan").addEventListener("click", attempt(() => this.apply()));
    byId("clear-plan").addEventListener("click", attempt(() => this.clear()));
    byId("revert-plan").addEventListener("click", () => this.fill());
    const plan = byId("plan");
    plan.addEventListener("input", () => {
      this.showError(null);
      this.drawEditor();
    });
    plan.addEventListener("scroll", () => { byId("gutter").scrollTop = plan.scrollTop; });
    plan.addEventListener("keydown", (event) => {
      if (event.key === "Enter" && (event.ctrlKey || event.metaKey)) {
        event.preventDefault();
        attempt(() => this.apply())();
      }
    });
    this.drawEditor();
  },

  show() {
    this.load.soon();
  },

  async fetchPlan() {
    this.take(await call("GET", "/faults"));
  },

  /** The plan that the service has now. A text that somebody is at work on stays. */
  take(plan, replace = false) {
    const untouched = byId("plan").value === this.text;
    this.plan = plan;
    this.text = planText(plan);
    if (replace || untouched) {
      this.fill();
    }
    this.rows.draw(plan.faults.map((fault, index) => ({ ...fault, index })));
    byId("faults-empty").hidden = plan.faults.length > 0;
    this.drawEditor();
  },

  fill() {
    byId("plan").value = this.text;
    this.showError(null);
    this.drawEditor();
  },

  async apply() {
    const text = byId("plan").value;
    try {
      const plan = await call("PUT", "/faults", text);
      this.take(plan, true);
      say(`${plural(plan.faults.length, "fault is", "faults are")} in force.`);
    } catch (error) {
      if (!(error instanceof ServiceError)) {
        throw error;
      }
      this.showError(error.message);
    }
  },

  async clear() {
    this.take(await call("DELETE", "/faults"), true);
    say("The fault plan is empty.");
  },

  /** Adds an example to the text where that is a plan, in front of the others, so that it is carried out. */
  insert() {
    const example = EXAMPLES[byId("example").value];
    byId("example").value = "";
    if (!example) {
      return;
    }
    let plan;
    try {
      plan = JSON.parse(byId("plan").value || '{"faults":[]}');
      plan.faults.unshift(example);
    } catch {
      this.showError("The text is not a plan that a fault could be added to.");
      return;
    }
    byId("plan").value = planText(plan);
    this.showError(null);
    this.drawEditor();
    byId("plan").focus();
  },

  /** Shows the service's message, and selects the place that it begins with. */
  showError(message) {
    const box = byId("plan-error");
    const plan = byId("plan");
    box.hidden = message === null;
    plan.toggleAttribute("aria-invalid", message !== null);
    this.errorLine = null;
    if (message !== null) {
      const place = placeOf(message, plan.value);
      const where = place ? `Line ${lineOf(plan.value, place[0])}: ` : "";
      box.replaceChildren(...visible(message.startsWith("line ") ? message : where + message));
      if (place) {
        this.errorLine = lineOf(plan.value, place[0]);
        plan.focus();
        plan.setSelectionRange(...place);
        const height = plan.scrollHeight / Math.max(plan.value.split("\n").length, 1);
        plan.scrollTop = Math.max(0, (this.errorLine - 4) * height);
      }
    }
    this.drawEditor();
  },

  drawEditor() {
    const text = byId("plan").value;
    const lines = Math.min(text.split("\n").length, 20000);
    const gutter = byId("gutter");
    if (gutter.childElementCount !== lines) {
      gutter.replaceChildren(...Array.from({ length: lines }, (_, index) => make("span", {}, String(index + 1))));
    }
    gutter.querySelector(".wrong")?.classList.remove("wrong");
    gutter.children[(this.errorLine ?? 0) - 1]?.classList.add("wrong");
    gutter.scrollTop = byId("plan").scrollTop;
    const changed = text !== this.text;
    setText(byId("plan-state"), changed ? "The text is not applied." : "");
    byId("revert-plan").disabled = !changed;
    byId("clear-plan").disabled = this.plan.faults.length === 0;
  },
};

/** A plan as it is edited: one fault a paragraph, short objects on one line, without the counters. */
function planText(plan) {
  const list = plan.faults.map(({ seen, applied, ...fault }) => {
    const members = Object.entries(fault).map(([name, value]) =>
      `      ${JSON.stringify(name)}: ${JSON.stringify(value, null, 1).replace(/\n\s*/g, " ")}`);
    return `    {\n${members.join(",\n")}\n    }`;
  });
  return list.length === 0 ? '{\n  "faults": []\n}' : `{\n  "faults": [\n${list.join(",\n")}\n  ]\n}`;
}

const lineOf = (text, offset) => text.slice(0, offset).split("\n").length;

/** The range of the text that a message of the service begins with: "line 3, column 5" or "faults[0].action.kind". */
function placeOf(message, text) {
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

const faultColumns = [
  { label: "#", className: "number", value: (fault) => fault.index },
  { label: "Requests", className: "name", value: (fault) => `${fault.path ?? ""}\n${fault.computer ?? ""}`,
    fill: (cell, fault) => cell.replaceChildren(outside(fault.path ?? "Every operation"),
      ...(fault.computer ? [make("small", {}, "of computer ", outside(fault.computer))] : [])) },
  { label: "Action", className: "name", value: (fault) => JSON.stringify(fault.action),
    fill: (cell, { action: { kind, ...others } }) => cell.replaceChildren(make("span", { className: "badge fault" }, ...visible(String(kind))),
      " ", outside(Object.entries(others).map(([name, value]) => `${name} ${typeof value === "string" ? value : JSON.stringify(value)}`).join(", "))) },
  { label: "Skip", className: "number", value: (fault) => fault.skip ?? 0 },
  { label: "Times", className: "number", value: (fault) => fault.times ?? "all" },
  { label: "Seen", className: "number", value: (fault) => fault.seen ?? 0 },
  { label: "Applied", className: "number strong", value: (fault) => fault.applied ?? 0 },
];

// ---------------------------------------------------------------------------------------------------------------------
// The tables of the state

const yesNo = (label, name) => ({ label, value: (each) => each[name] ? "Yes" : "No" });
const text = (label, name, className = "") => ({ label, className, value: (each) => each[name], name });
const time = (label, name) => ({
  label, className: "time", name, value: (each) => each[name],
  fill: (cell, each) => cell.replaceChildren(each[name] ? timeElement(each[name]) : ""),
});
const computerLink = (label, name) => ({
  label, name, value: (each) => each[name],
  fill: (cell, each) => cell.replaceChildren(each[name] === null || each[name] === undefined ? ""
    : make("a", { href: address("queues", each[name]) }, brief(each[name]))),
});

/** The body of a mail. Addresses of this service that it sends are links. */
function mailBody(cell, { body }) {
  cell.replaceChildren(/^\/(activate|password)\?code=\w+$/.test(body)
    ? make("a", { href: body, target: "_blank", rel: "noreferrer" }, brief(body)) : outside(body));
}

const computersColumns = [
  computerLink("Computer", "computer"), text("User", "user"), text("Mail", "mail"), text("Folder", "folder", "path"),
  text("Version", "version"), time("Last seen", "lastSeen"), number("Pending", (each) => each.pending),
  number("Acknowledged", (each) => each.acknowledged), number("Withdrawn", (each) => each.withdrawn),
];
const kind = { label: "Kind", value: (each) => each.isFile ? "File" : "Folder" };

/** The table `name` of the state; without columns it has one for each member of its records. */
function records(name, title, columns, empty, key = "id") {
  return { name, title, columns, empty, key, section: byId("view-records"), tables: [name], ...recordsView };
}

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

const recordsShown = {
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
      { limit: PAGE, after, computer: view.name === "files" ? computer : null }));
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
    setText(byId("records-about"), this.pages.first && next === null ? plural(list.length, "entry", "entries") : "");
  },
};

/** A column for each member: "fromComputer" is "From computer". */
function derivedColumns(record) {
  return Object.keys(record).map((name) => {
    const label = name.replace(/([a-z])([A-Z])/g, (_, before, after) => `${before} ${after.toLowerCase()}`)
      .replace(/^./, (first) => first.toUpperCase());
    if (/computer$/i.test(name)) {
      return computerLink(label, name);
    }
    if (typeof record[name] === "boolean") {
      return yesNo(label, name);
    }
    return /(At|modified|lastSeen)$/.test(name) ? time(label, name) : text(label, name, /path$/i.test(name) ? "path" : "");
  });
}

const views = {
  queues,
  requests,
  faults,
  users: records("users", "Users", [text("Id", "id", "number"), text("Mail", "mail"), text("First name", "firstName"),
    text("Last name", "lastName"), text("Nickname", "nickName"), yesNo("Activated", "activated")], "No user has registered yet."),
  computers: records("computers", "Computers", computersColumns, "No computer has registered or has a queue yet.", "computer"),
  files: records("files", "Files", [text("Id", "id", "number"), computerLink("Computer", "computer"), text("Path", "path", "path"),
    kind, { label: "Size", className: "number", value: (each) => each.size },
    text("Modified", "modified"), yesNo("Present", "present")], "No computer has reported files yet."),
  "file-requests": records("file-requests", "File requests", null, "No content was requested yet."),
  transfers: records("transfers", "Transfers", null, "Nothing was shared yet."),
  mails: records("mails", "Mails", [time("Sent", "sentAt"), text("To", "to"), text("Subject", "subject"),
    { label: "Body", className: "path", value: (each) => each.body, fill: mailBody }], "No mail was sent yet."),
  errors: records("errors", "Reported errors", [time("Received", "receivedAt"), computerLink("Computer", "computer"), text("User", "user"),
    text("Class", "class"), text("Method", "method"), text("Message", "message", "path")], "No error was reported yet."),
};

// ---------------------------------------------------------------------------------------------------------------------
// Live

const RETRY_SECONDS = [1, 2, 3, 5];

const live = {
  state: "connecting",
  failures: 0,

  connect() {
    clearTimeout(this.timer);
    this.source?.close();
    this.source = new EventSource("/api/events");
    const on = (name, handle) => this.source.addEventListener(name, (event) => handle(JSON.parse(event.data)));
    on("hello", () => this.connected());
    on("request", (request) => requests.add(request));
    on("streams", ({ streams }) => queues.streaming(streams));
    on("computers", ({ computers }) => {
      queues.changed(computers);
      if (route.view === "computers") {
        recordsShown.load();
      }
    });
    on("changed", ({ tables }) => this.changed(tables));
    on("reset", () => {
      requests.empty();
      loadAll();
    });
    on("lost", () => loadAll());
    this.source.addEventListener("error", () => this.lost());
  },

  disconnect() {
    clearTimeout(this.timer);
    this.source?.close();
    this.show("connecting", "Connecting");
  },

  connected() {
    requests.empty(); // the service may have started anew, and counts from 1 then
    this.failures = 0;
    this.show("live", "Live");
    byId("banner").hidden = true;
    loadAll();
  },

  lost() {
    this.source.close();
    const seconds = RETRY_SECONDS[Math.min(this.failures, RETRY_SECONDS.length - 1)];
    this.failures += 1;
    this.show("lost", "Not connected");
    byId("banner").hidden = false;
    setText(byId("banner-text"), "The connection to the service is lost. What is shown may be out of date.");
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.connect(), 1000 * seconds);
  },

  show(state, words) {
    this.state = state;
    byId("connection").dataset.state = state;
    setText(byId("connection-text"), words);
  },

  changed(tables) {
    if (views[route.view].tables.some((table) => tables.includes(table))) {
      (route.view === "faults" ? faults : recordsShown).load();
    }
    for (const name of ["mails", "errors"]) {
      if (tables.includes(name) && route.view !== name) {
        byId("views").querySelector(`[href="#${name}"]`).classList.add("news");
      }
    }
    if (tables.includes("computers")) {
      queues.changed([]);
    }
  },
};

const loadService = attempt(async () => {
  const { version, address: own } = await call("GET", "/api/service");
  byId("service-address").replaceChildren(...visible(own));
  byId("service-version").replaceChildren(...visible(version));
});

/** Everything that is shown may have changed. */
function loadAll() {
  loadService();
  requests.load();
  attempt(async () => queues.streaming((await call("GET", "/api/streams")).streams))();
  if (route.view === "queues") {
    queues.loadComputers();
    if (queues.computer !== null) {
      queues.loadItems();
    }
  } else if (route.view === "faults") {
    faults.load();
  } else if (route.view !== "requests") {
    recordsShown.load();
  }
}

// ---------------------------------------------------------------------------------------------------------------------
// The page

function onEnter(input, act) {
  input.addEventListener("keydown", (event) => event.key === "Enter" && act());
}

/** Asks in a dialog. */
function confirmed(question, text, yes) {
  const dialog = byId("confirm");
  byId("confirm-heading").replaceChildren(...visible(question));
  setText(byId("confirm-text"), text);
  setText(byId("confirm-yes"), yes);
  dialog.returnValue = "";
  dialog.showModal();
  byId("confirm-no").focus();
  return new Promise((answer) =>
    dialog.addEventListener("close", () => answer(dialog.returnValue === "yes"), { once: true }));
}

async function resetEverything() {
  if (await confirmed("Reset everything?", "All items and their files, users, computers, tables, mails, errors, the fault plan and " +
    "the list of requests are removed. This cannot be undone.", "Reset everything")) {
    await call("POST", "/api/reset");
    say("Everything was reset.");
  }
}

function start() {
  byId("reset").addEventListener("click", attempt(resetEverything));
  byId("confirm-no").addEventListener("click", () => byId("confirm").close("no"));
  byId("confirm-yes").addEventListener("click", () => byId("confirm").close("yes"));
  byId("retry").addEventListener("click", () => live.connect());
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
    } else if (event.key === "Escape" && route.view === "requests" && requests.chosen !== null) {
      const row = requests.rows.rows.get(String(requests.chosen));
      location.hash = "#requests";
      go();
      (row?.querySelector("a") ?? byId("search")).focus();
    }
  });
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
