// The search line: what it finds is counted and marked while one types.

import {agent, failureOf} from "./agent.js";

const pause = 150;
const most = 10000;

export class Search {
  /// `state`: model, target(); `events`: mark(items), select(item).
  constructor(form, state, events) {
    this.inputs = [...form.querySelectorAll("input")];
    this.count = form.querySelector("output");
    this.state = state;
    this.events = events;
    this.found = [];
    this.turn = 0;
    for (const event of ["input", "reset"]) {
      form.addEventListener(event, () => {
        clearTimeout(this.timer);
        this.timer = setTimeout(() => this.search(), pause);
      });
    }
    form.addEventListener("submit", (event) => {
      event.preventDefault();
      this.step(event.submitter && event.submitter.id === "previous" ? -1 : 1);
    });
  }

  query() {
    const query = {};
    for (const input of this.inputs) if (input.value) query[input.name] = input.value;
    return query;
  }

  /// Only what a pattern finds is asked of the agent: it has a language of its own for them.
  async search() {
    const query = this.query();
    const turn = ++this.turn;
    const {model} = this.state;
    let note = "";
    if (!model || Object.keys(query).length === 0) {
      this.found = [];
    } else if (query.valueRegex) {
      const answer = await agent("/ax/find", {...query, maxResults: most, ...this.state.target()});
      if (turn !== this.turn) return;
      this.found = answer.ok ? answer.json.matches.map(({id}) => this.state.model.byId.get(id)).filter(Boolean) : [];
      if (!answer.ok) note = failureOf(answer);
      else if (answer.json.matches.length > this.found.length) note = "some have changed: refresh";
    } else {
      this.found = model.find(query);
    }
    const isEmpty = Object.keys(query).length === 0;
    this.count.textContent = isEmpty ? "" : `${this.found.length} found${note && ` (${note})`}`;
    this.events.mark(this.found);
  }

  /// Selects the next match, or the one before.
  async step(by) {
    clearTimeout(this.timer);
    await this.search();
    if (this.found.length === 0) return;
    const at = this.found.indexOf(this.state.selected);
    const next = at < 0 ? (by > 0 ? 0 : -1) : at + by;
    this.events.select(this.found[(next + this.found.length) % this.found.length]);
  }
}
