// Where the page is: #view/part/part

import { byId } from "./elements.js";

export const WIDE = matchMedia("(min-width: 60rem)"); // as in the style sheets: lists and details stand side by side

export const route = { view: "queues", parts: [] };

/** The views by their names in the address: `title`, `section`, `tables` of the state that they show, `show(parts)`. */
export const views = {};

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

export const address = (...parts) => `#${parts.map(encodeURIComponent).join("/")}`;

export function go() {
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
export function showDetail(section, detail, shown) {
  section.classList.toggle("with-detail", shown);
  detail.hidden = !shown;
}
