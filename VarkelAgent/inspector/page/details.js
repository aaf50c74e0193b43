// What there is to know of the selected element.

import {agent, failureOf} from "./agent.js";

function quoteForShell(text) {
  return `'${text.replace(/'/g, "'\\''")}'`;
}

async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch (error) {
    return false;
  }
}

export class Details {
  /// `state`: model, batch and agentPort. `say` tells the person something.
  constructor(section, state, say) {
    this.list = section.querySelector("dl");
    this.body = section.querySelector("#find-body");
    this.verdict = section.querySelector("#find-verdict");
    this.buttons = [...section.querySelectorAll("button")];
    this.state = state;
    this.say = say;
    const bind = (id, action) => section.querySelector(id).addEventListener("click", action);
    bind("#copy-id", () => this.copied("id", this.item.element.id));
    bind("#copy-find", async () => {
      const isGood = await this.check();
      if (isGood) this.copied("search", this.body.textContent);
    });
    bind("#copy-curl", () => this.copied("curl line", this.curl()));
    this.show(null);
  }

  show(item) {
    this.item = item;
    for (const button of this.buttons) button.disabled = !item;
    this.list.replaceChildren();
    this.body.textContent = this.verdict.textContent = "";
    if (!item) return;
    const {element} = item;
    const {id, role, label, value, identifier, enabled, focused, frame} = element;
    const able = enabled === false ? "disabled" : enabled && "enabled";
    const rows = {id, path: item.path, role, label, value, identifier,
      states: [able, focused && "focused"].filter(Boolean).join(", "),
      frame: frame && `${frame.x}, ${frame.y}; ${frame.width} × ${frame.height}`,
      inside: `${item.end - item.index - 1} elements`};
    for (const name of Object.keys(rows)) {
      const term = document.createElement("dt");
      const text = document.createElement("dd");
      term.textContent = name;
      text.textContent = rows[name] || "–";
      text.classList.toggle("absent", !rows[name]);
      this.list.append(term, text);
    }
    const search = this.state.model.shortestSearch(item);
    this.body.textContent = JSON.stringify(search.query);
    this.verdict.textContent = search.count === 1 ? "finds it alone in this tree"
      : `finds ${search.count}, of which it is number ${search.position}: nothing finds it alone`;
  }

  /// Asks the agent whether the search finds this element first, and no other when that can be.
  async check() {
    const {item} = this;
    const search = this.state.model.shortestSearch(item);
    const answer = await agent("/ax/find", {...search.query, maxResults: search.count + 1, ...this.state.target()});
    if (this.item !== item) return false;
    const ids = answer.ok ? answer.json.matches.map((match) => match.id) : [];
    const isRight = ids.length === search.count && ids[search.position - 1] === item.element.id;
    let verdict = "finds it alone";
    if (!answer.ok) verdict = `failed: ${failureOf(answer)}`;
    else if (!isRight) verdict = `finds ${ids.length} now, and not as it was: refresh`;
    else if (search.count > 1) verdict = `it is number ${search.position} of ${search.count}; nothing finds it alone`;
    this.verdict.textContent = `checked: ${verdict}`;
    return isRight;
  }

  curl() {
    const address = `http://127.0.0.1:${this.state.agentPort}`;
    return `curl -H @$header -d ${quoteForShell(this.body.textContent)} ${address}/ax/find`;
  }

  async copied(what, text) {
    this.say(await copy(text) ? `Copied the ${what}.` : `The browser does not let the ${what} be copied: ${text}`);
  }
}
