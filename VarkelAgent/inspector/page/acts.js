// What the person has the agent do, and what came of it.

import {agent} from "./agent.js";
import {compare} from "./model.js";

const mostActs = 20;
const mostLines = 30;
/// The agent reads an application anew when its last reading is a second old.
export const untilFresh = 1050;

function line(className, text) {
  const element = document.createElement("div");
  element.className = className;
  element.textContent = text;
  return element;
}

export class Acts {
  /// `state`: model, selected, target(); `refresh` reads the tree and the image anew.
  constructor(section, state, refresh, say) {
    this.history = section.querySelector("#acts");
    this.state = state;
    this.refresh = refresh;
    this.say = say;
    const value = (id) => section.querySelector(id).value;
    const on = (id, act) => section.querySelector(id).addEventListener("submit", (event) => {
      event.preventDefault();
      act();
    });
    section.querySelector("#click").addEventListener("click", () => this.onElement("/ax/click", {}));
    on("#type-form", () => this.onElement("/ax/type", {text: value("#type-text")}));
    on("#scroll-form", () => this.onElement("/ax/scroll",
      {direction: value("#direction"), amount: Number(value("#amount")) || 100}));
    on("#keys-form", () => {
      const keys = value("#keys").split(/[\s,]+/).filter(Boolean);
      const application = value("#keys-application").trim();
      this.act("/keystrokes", application ? {keys, app_name: application} : {keys});
    });
  }

  onElement(path, body) {
    const {selected} = this.state;
    if (!selected) {
      this.say("Select an element first.");
      return;
    }
    this.act(path, {elementId: selected.element.id, ...body, ...this.state.target()});
  }

  async act(path, body) {
    const before = this.state.model;
    const answer = await agent(path, body);
    const entry = document.createElement("li");
    const changes = line("changes", "…");
    entry.append(line("request", `POST ${path} ${answer.sent}`),
      line(answer.ok ? "answer" : "answer failed", `${answer.status} in ${answer.ms.toFixed(0)} ms: ${answer.text}`),
      changes);
    this.history.prepend(entry);
    while (this.history.children.length > mostActs) this.history.lastElementChild.remove();
    // At once, and once more for what comes a little later.
    await this.tell(before, changes);
    await new Promise((resume) => setTimeout(resume, untilFresh));
    await this.tell(before, changes);
  }

  async tell(before, changes) {
    await this.refresh();
    const {model} = this.state;
    if (!before || !model) return;
    const lines = compare(before, model);
    const shown = lines.slice(0, mostLines);
    if (lines.length > mostLines) shown.push(`and ${lines.length - mostLines} more`);
    changes.textContent = shown.join("\n") || "The tree is as it was.";
  }
}
