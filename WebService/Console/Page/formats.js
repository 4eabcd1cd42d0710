// Numbers, sizes and times as texts.

import { make } from "./elements.js";

export const count = (number) => Number(number).toLocaleString("en");

export function bytesText(bytes) {
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

export const rateText = (rate) => `${bytesText(rate)}/s`;

export function durationText(milliseconds) {
  if (milliseconds >= 1000) {
    return `${(milliseconds / 1000).toFixed(1)} s`;
  }
  return `${milliseconds < 10 ? milliseconds.toFixed(1) : Math.round(milliseconds)} ms`;
}

const two = (number) => String(number).padStart(2, "0");

/** The local time of day, with the date where that is not today. */
export function timeElement(iso, withMilliseconds = false) {
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

export const plural = (number, one, many = `${one}s`) => `${count(number)} ${number === 1 ? one : many}`;
