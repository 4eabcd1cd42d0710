// The line above the page that says what is wrong with the connection.

import { byId, setText } from "./elements.js";

let bannerAction = () => {};

/** Shows a text, and a button that does something about it. */
export function showBanner(text, label, action) {
  bannerAction = action;
  byId("banner").hidden = false;
  setText(byId("banner-text"), text);
  setText(byId("banner-button"), label);
}

export function hideBanner() {
  const focused = byId("banner").contains(document.activeElement);
  byId("banner").hidden = true;
  if (focused) {
    byId("main").focus({ preventScroll: true });
  }
}

byId("banner-button").addEventListener("click", () => bannerAction());
