// Which tables of the state there are, and their columns.

import { computerColumn, flagColumn, numberColumn, textColumn, timeColumn } from "./columns.js";
import { make } from "./elements.js";
import { brief, outside } from "./outside-text.js";
import { tableView } from "./tables.js";

/** The body of a mail. Addresses of this service that it sends are links. */
function mailBody(cell, { body }) {
  cell.replaceChildren(/^\/(activate|password)\?code=\w+$/.test(body)
    ? make("a", { href: body, target: "_blank", rel: "noreferrer" }, brief(body)) : outside(body));
}

const computersColumns = [
  computerColumn("Computer", "computer"), textColumn("User", "user"), textColumn("Mail", "mail"), textColumn("Folder", "folder"),
  textColumn("Version", "version"), timeColumn("Last seen", "lastSeen"), numberColumn("Pending", (each) => each.pending),
  numberColumn("Acknowledged", (each) => each.acknowledged), numberColumn("Withdrawn", (each) => each.withdrawn),
];

const kindColumn = { label: "Kind", value: (each) => each.isFile ? "File" : "Folder" };

export const tableViews = {
  users: tableView("users", "Users", [textColumn("Id", "id", "number"), textColumn("Mail", "mail"), textColumn("First name", "firstName"),
    textColumn("Last name", "lastName"), textColumn("Nickname", "nickName"), flagColumn("Activated", "activated")], "No user has registered yet."),
  computers: tableView("computers", "Computers", computersColumns, "No computer has registered or has a queue yet.", { key: "computer" }),
  files: tableView("files", "Files", [textColumn("Id", "id", "number"), computerColumn("Computer", "computer"), textColumn("Path", "path", "path"),
    kindColumn, { label: "Size", className: "number", value: (each) => each.size },
    textColumn("Modified", "modified"), flagColumn("Present", "present")], "No computer has reported files yet."),
  "file-requests": tableView("file-requests", "File requests", null, "No content was requested yet."),
  transfers: tableView("transfers", "Transfers", null, "Nothing was shared yet."),
  mails: tableView("mails", "Mails", [timeColumn("Sent", "sentAt"), textColumn("To", "to"), textColumn("Subject", "subject"),
    { label: "Body", className: "path", value: (each) => each.body, fill: mailBody }], "No mail was sent yet.", { order: "newest" }),
  errors: tableView("errors", "Reported errors", [timeColumn("Received", "receivedAt"), computerColumn("Computer", "computer"), textColumn("User", "user"),
    textColumn("Class", "class"), textColumn("Method", "method"), textColumn("Message", "message", "path")], "No error was reported yet.", { order: "newest" }),
};
