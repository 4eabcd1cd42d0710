// Files on their way to a computer's queue.

import { byId, make, setText } from "./elements.js";
import { bytesText, plural, rateText } from "./formats.js";
import { say } from "./messages.js";
import { outside, visible } from "./outside-text.js";
import { atNextFrame } from "./scheduling.js";
import { serviceError } from "./service.js";

const AT_ONCE = 3; // the browser has six connections to the service, and the page needs some
const ERRORS_SHOWN = 100;

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

export const uploads = {
  all: [],
  last: Promise.resolve(),

  /** Begins once what was dropped before has been sent, and calls `done` at the end. */
  add(computer, items, done) {
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
      return upload.finished.then(done);
    });
  },

  remove(upload) {
    this.all = this.all.filter((each) => each !== upload);
    const focused = upload.box.contains(document.activeElement);
    upload.box.remove();
    if (focused) {
      byId("queue-heading").focus({ preventScroll: true });
    }
  },

  get running() {
    return this.all.some((upload) => upload.state === "running");
  },
};
