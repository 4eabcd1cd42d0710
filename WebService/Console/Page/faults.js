// The view of the fault plan.

import { confirmed } from "./dialog.js";
import { byId, make, setDisabled, setText } from "./elements.js";
import { faultColumns } from "./fault-columns.js";
import { EXAMPLES } from "./fault-examples.js";
import { plural } from "./formats.js";
import { attempt, say } from "./messages.js";
import { visible } from "./outside-text.js";
import { lineOf, placeOf, planText } from "./plan-text.js";
import { Rows } from "./rows.js";
import { together } from "./scheduling.js";
import { ServiceError, call } from "./service.js";

export const faults = {
  title: "Faults",
  section: byId("view-faults"),
  tables: ["faults"],
  plan: { faults: [] },
  text: "", // of the plan that is in force

  start() {
    this.load = together(() => this.fetchPlan(), 1000);
    this.rows = new Rows(byId("faults-table"), faultColumns, { key: (fault) => fault.index });
    for (const name of Object.keys(EXAMPLES)) {
      byId("example").append(make("option", { value: name }, name));
    }
    byId("example").addEventListener("change", () => this.insert());
    byId("apply-plan").addEventListener("click", attempt(() => this.apply()));
    byId("clear-plan").addEventListener("click", attempt(() => this.clear()));
    byId("revert-plan").addEventListener("click", () => this.fill());
    const plan = byId("plan");
    plan.addEventListener("input", () => {
      this.showError(null);
      this.drawEditor();
    });
    plan.addEventListener("scroll", () => { byId("gutter").scrollTop = plan.scrollTop; });
    plan.addEventListener("keydown", (event) => {
      if (event.key === "Enter" && (event.ctrlKey || event.metaKey)) {
        event.preventDefault();
        attempt(() => this.apply())();
      }
    });
    this.drawEditor();
  },

  show() {
    this.load.soon();
  },

  async fetchPlan() {
    this.take(await call("GET", "/faults"));
  },

  /** The plan that the service has now. A text that somebody is at work on stays. */
  take(plan, replace = false) {
    const untouched = byId("plan").value === this.text;
    this.plan = plan;
    this.text = planText(plan);
    if (replace || untouched) {
      this.fill();
    }
    this.rows.draw(plan.faults.map((fault, index) => ({ ...fault, index })));
    byId("faults-empty").hidden = plan.faults.length > 0;
    this.drawEditor();
  },

  fill() {
    byId("plan").value = this.text;
    this.showError(null);
    this.drawEditor();
  },

  async apply() {
    const text = byId("plan").value;
    try {
      const plan = await call("PUT", "/faults", text);
      this.take(plan, true);
      say(`${plural(plan.faults.length, "fault is", "faults are")} in force.`);
    } catch (error) {
      if (!(error instanceof ServiceError)) {
        throw error;
      }
      this.showError(error.message);
    }
  },

  async clear() {
    if (await confirmed("Clear the fault plan?", "Its faults and their counters are removed, and the text of the plan with them.",
      "Clear plan")) {
      this.take(await call("DELETE", "/faults"), true);
      say("The fault plan is empty.");
    }
  },

  /** Adds an example to the text where that is a plan, in front of the others, so that it is carried out. */
  insert() {
    const example = EXAMPLES[byId("example").value];
    byId("example").value = "";
    if (!example) {
      return;
    }
    let plan;
    try {
      plan = JSON.parse(byId("plan").value || '{"faults":[]}');
      plan.faults.unshift(example);
    } catch {
      this.showError("The text is not a plan that a fault could be added to.");
      return;
    }
    byId("plan").value = planText(plan);
    this.showError(null);
    this.drawEditor();
    byId("plan").focus();
  },

  /** Shows the service's message, and selects the place that it begins with. */
  showError(message) {
    const box = byId("plan-error");
    const plan = byId("plan");
    box.hidden = message === null;
    plan.toggleAttribute("aria-invalid", message !== null);
    this.errorLine = null;
    if (message !== null) {
      const place = placeOf(message, plan.value);
      const where = place ? `Line ${lineOf(plan.value, place[0])}: ` : "";
      box.replaceChildren(...visible(message.startsWith("line ") ? message : where + message));
      if (place) {
        this.errorLine = lineOf(plan.value, place[0]);
        plan.focus();
        plan.setSelectionRange(...place);
        const height = plan.scrollHeight / Math.max(plan.value.split("\n").length, 1);
        plan.scrollTop = Math.max(0, (this.errorLine - 4) * height);
      }
    }
    this.drawEditor();
  },

  drawEditor() {
    const text = byId("plan").value;
    const lines = Math.min(text.split("\n").length, 20000);
    const gutter = byId("gutter");
    if (gutter.childElementCount !== lines) {
      gutter.replaceChildren(...Array.from({ length: lines }, (_, index) => make("span", {}, String(index + 1))));
    }
    gutter.querySelector(".wrong")?.classList.remove("wrong");
    gutter.children[(this.errorLine ?? 0) - 1]?.classList.add("wrong");
    gutter.scrollTop = byId("plan").scrollTop;
    const changed = text !== this.text;
    setText(byId("plan-state"), changed ? "The text is not applied." : "");
    setDisabled(byId("revert-plan"), !changed, byId("plan"));
    setDisabled(byId("clear-plan"), this.plan.faults.length === 0, byId("plan"));
  },
};
