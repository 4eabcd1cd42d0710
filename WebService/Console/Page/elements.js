// Elements of the page.

export const byId = (id) => document.getElementById(id);

/** A new element with these properties and children: elements, or texts. */
export function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

export function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

/** Disables a button, or enables it. The focus goes on to `next` where a disabled button had it. */
export function setDisabled(button, disabled, next) {
  const focused = document.activeElement === button;
  button.disabled = disabled;
  if (disabled && focused) {
    next.focus({ preventScroll: true });
  }
}

/** Calls `act` when Enter is pressed in the field. */
export function onEnter(input, act) {
  input.addEventListener("keydown", (event) => event.key === "Enter" && act());
}
