import { byId, setText } from "./elements.js";
import { visible } from "./outside-text.js";

/** Asks in a dialog. */
export function confirmed(question, text, yes) {
  const dialog = byId("confirm");
  byId("confirm-heading").replaceChildren(...visible(question));
  setText(byId("confirm-text"), text);
  setText(byId("confirm-yes"), yes);
  dialog.returnValue = "";
  dialog.showModal();
  byId("confirm-no").focus();
  return new Promise((answer) =>
    dialog.addEventListener("close", () => {
      if (document.activeElement === document.body) {
        byId("main").focus({ preventScroll: true }); // what had the focus has gone meanwhile
      }
      answer(dialog.returnValue === "yes");
    }, { once: true }));
}
