// The events of the service, and the connection to it.

import { hideBanner, showBanner } from "./banner.js";
import { byId, setText } from "./elements.js";
import { faults } from "./faults.js";
import { inBackground } from "./messages.js";
import { visible } from "./outside-text.js";
import { queues } from "./queues.js";
import { requests } from "./requests.js";
import { route, views } from "./route.js";
import { call, connection } from "./service.js";
import { recordsShown } from "./tables.js";

const RETRY_SECONDS = [1, 2, 3, 5];

export const live = {
  failures: 0,
  wasLive: false,

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
    on("forgotten", () => requests.forgotten());
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
    if (this.wasLive) {
      checkVersion();
    }
    this.wasLive = true;
    requests.empty(); // the service may have started anew, and counts from 1 then
    this.failures = 0;
    this.show("live", "Live");
    hideBanner();
    loadAll();
  },

  lost() {
    this.source.close();
    const seconds = RETRY_SECONDS[Math.min(this.failures, RETRY_SECONDS.length - 1)];
    this.failures += 1;
    this.show("lost", "Not connected");
    showBanner("The connection to the service is lost. What is shown may be out of date.", "Try now", () => this.connect());
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.connect(), 1000 * seconds);
  },

  show(state, words) {
    connection.state = state;
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

const loadService = inBackground(async () => {
  const { version, address: own } = await call("GET", "/api/service");
  byId("service-address").replaceChildren(...visible(own));
  byId("service-version").replaceChildren(...visible(version));
});

const loadStreams = inBackground(async () => queues.streaming((await call("GET", "/api/streams")).streams));

/** The version that this script came with, a part of its path. */
const VERSION = new URL(import.meta.url).pathname.split("/").at(-2);

/** After a disconnection the service may be another program, with another page. */
const checkVersion = inBackground(async () => {
  const page = await (await fetch("/", { cache: "no-store" })).text();
  if (!page.includes(`/${VERSION}/`)) {
    showBanner("The service is another version now, and this page is not made for it.", "Reload the page", () => location.reload());
  }
});

/** Everything that is shown may have changed. */
function loadAll() {
  loadService();
  requests.load();
  loadStreams();
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
