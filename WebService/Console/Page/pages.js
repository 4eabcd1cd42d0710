import { byId, make, setText } from "./elements.js";

export const PAGE = 100;

/** Pages of a list, each of which begins behind the `next` of the one before. */
export class Pages {
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

  /** A button that cannot be used any more hands the focus on. */
  keepFocus() {
    const focused = document.activeElement;
    if (this.element.contains(focused) && (this.element.hidden || focused.disabled)) {
      const other = [this.previous, this.following].find((button) => !this.element.hidden && !button.disabled);
      (other ?? byId("main")).focus();
    }
  }

  draw(next) {
    this.next = next ?? null;
    this.element.hidden = this.first && this.next === null;
    this.previous.disabled = this.first;
    this.following.disabled = this.next === null;
    setText(this.text, `Page ${this.starts.length}`);
    this.keepFocus();
  }
}
