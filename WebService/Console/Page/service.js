// Requests to the service.

/** "connecting", "live" or "lost". */
export const connection = { state: "connecting" };

export class ServiceError extends Error {
  constructor(status, code, message) {
    super(message);
    this.status = status;
    this.code = code;
  }
}

/** What an error document says; `text` is the body of a response with `status`. */
export function serviceError(status, text) {
  try {
    const { code, message } = JSON.parse(text).error;
    return new ServiceError(status, code, message || code);
  } catch {
    return new ServiceError(status, "", `The service responded with status ${status}.`);
  }
}

/** Keeps what the page reads out of the list of requests. */
const OWN_FIELD = ["Quenmark-Console", "page"];

export async function call(method, path, body) {
  const response = await fetch(path, { method, body, cache: "no-store", headers: [OWN_FIELD] });
  const text = await response.text();
  if (!response.ok) {
    throw serviceError(response.status, text);
  }
  return text === "" ? {} : JSON.parse(text);
}

export const computerPath = (computer) => `/api/computers/${encodeURIComponent(computer)}`;

export function query(path, parameters) {
  const search = new URLSearchParams();
  for (const [name, value] of Object.entries(parameters)) {
    if (value !== null && value !== undefined && value !== "") {
      search.set(name, value);
    }
  }
  return search.size > 0 ? `${path}?${search}` : path;
}
