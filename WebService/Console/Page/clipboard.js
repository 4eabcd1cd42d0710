import { make } from "./elements.js";
import { ServiceError } from "./service.js";

/** Copies where the page has no clipboard too: it has one on loopback and over TLS only. */
export async function copyText(text) {
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
