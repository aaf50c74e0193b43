// Puts the page together: what is read, what is selected, and who is told.

import {Acts, untilFresh} from "./acts.js";
import {agent, failureOf, onRequest, request} from "./agent.js";
import {Details} from "./details.js";
import {Model} from "./model.js";
import {ImageView} from "./image.js";
import {Search} from "./search.js";
import {TreeView} from "./tree.js";

const longestChoice = 30000;
const mostLogged = 200;
const mostAttempts = 3;
const ownBatch = `inspector-${crypto.randomUUID()}`;
const $ = (id) => document.getElementById(id);

const state = {
  model: null,
  selected: null,
  name: "",
  /// The batch that holds the chosen application; null follows the one in front.
  batch: null,
  /// The id of that application's first element.
  chosen: null,
  agentPort: 0,
  target() {
    return this.batch ? {batch_id: this.batch} : {};
  },
};

function pause(milliseconds) {
  return new Promise((resume) => setTimeout(resume, milliseconds));
}

function say(text) {
  $("status").textContent = text;
}

// -- selection

const tree = new TreeView($("tree"), {select, hover: (item) => image.show({hovered: item})});
const image = new ImageView($("image"), {
  pick: (x, y) => state.model && select(state.model.smallestAt(x, y)),
  hover: (x, y) => image.show({hovered: state.model && state.model.smallestAt(x, y)}),
  leave: () => image.show({hovered: null}),
});
const details = new Details($("details"), state, say);
const search = new Search($("search"), state, {
  mark(items) {
    tree.mark(items);
    image.show({marked: items});
  },
  select,
});
new Acts($("act"), state, refresh, say);

function select(item) {
  state.selected = item;
  tree.select(item);
  image.show({selected: item});
  details.show(item);
}

// -- reading

/// Of a batch's application there is no tree, but its first element passes a search without filters. The agent keeps
/// what was read last for a second, by the application in front: when another caller has read that one meanwhile, its
/// tree is what comes, and the next reading has to wait.
async function readTree() {
  if (!state.batch) {
    const answer = await agent("/ax/tree", {});
    return {answer, root: answer.json.tree};
  }
  for (let attempt = 1; ; ++attempt) {
    const answer = await agent("/ax/find", {maxResults: 1, ...state.target()});
    const root = answer.ok ? answer.json.matches[0] : undefined;
    if (!root || !state.chosen || root.id === state.chosen || attempt === mostAttempts) return {answer, root};
    await pause(untilFresh);
  }
}

/// Whether what was read is the browser that shows this page.
function isThisBrowser(model) {
  return model.items.some(({element, depth}) => depth <= 2 && (element.label || "").startsWith(document.title));
}

function showTree(root, answer) {
  const began = performance.now();
  const model = new Model(root);
  state.model = model;
  tree.setModel(model);
  state.selected = state.selected && model.counterpart(state.selected);
  image.show({items: model.items, selected: state.selected, hovered: null});
  details.show(state.selected);
  search.search();
  const name = model.root.element.label || model.root.element.role;
  if (name !== state.name) $("keys-application").value = model.root.element.label || "";
  state.name = name;
  $("application").textContent = `${name}${state.batch ? ", chosen" : ", in front"}`;
  const drawn = performance.now() - began;
  if (isThisBrowser(model)) {
    say("This is the browser that shows this page: press Choose, and bring another application to the front.");
  } else {
    say(`${model.items.length} elements, read in ${answer.ms.toFixed(0)} ms, shown in ${drawn.toFixed(0)} ms`);
  }
}

async function takeImage() {
  const answer = await request("POST", "screen", {});
  if (!answer.ok) return failureOf(answer);
  const [x, y, width, height] = answer.headers.get("X-Varkel-Area").split(" ").map(Number);
  await image.setImage(answer.blob, {x, y, width, height});
  return "";
}

let reading = Promise.resolve();

/// One reading at a time: who asks meanwhile gets one that begins after it.
function refresh() {
  reading = reading.then(readAnew).catch((error) => say(`It could not be shown: ${error.message}`));
  return reading;
}

async function readAnew() {
  const [{answer, root}, failure] = await Promise.all([readTree(), takeImage()]);
  if (root) showTree(root, answer);
  else say(`No tree: ${failureOf(answer)}`);
  if (failure) say(`No image: ${failure}`);
}

let every = 0;

function readEverySecond() {
  clearTimeout(every);
  if (!$("every").checked) return;
  every = setTimeout(async () => {
    await refresh();
    readEverySecond();
  }, 1000);
}

// -- choosing the application

/// Takes the application in front; while that is this browser, waits until another one takes the focus from it.
async function choose() {
  const end = performance.now() + longestChoice;
  $("choose").disabled = true;
  for (;;) {
    const answer = await agent("/batch/begin", {batch_id: ownBatch});
    if (!answer.ok) {
      say(`Nothing was chosen: ${failureOf(answer)}`);
      break;
    }
    state.batch = ownBatch;
    state.chosen = null;
    await refresh();
    state.chosen = state.model && state.model.root.element.id;
    if (!state.model || !isThisBrowser(state.model) || performance.now() > end) break;
    say("Bring the application to the front.");
    do await pause(300); while (document.hasFocus() && performance.now() < end);
  }
  $("choose").disabled = false;
  $("follow").disabled = !state.batch;
}

async function follow() {
  state.batch = null;
  $("follow").disabled = true;
  await agent("/batch/end", {batch_id: ownBatch});
  await refresh();
}

// -- recognition

function showFound(results, answer) {
  const [left, top] = (answer.headers.get("X-Varkel-Area") || "0 0").split(" ").map(Number);
  const frames = [];
  const lines = results.map(({text, boundingBox, matchScore, confidence, type}) => {
    const frame = {...boundingBox, x: boundingBox.x + left, y: boundingBox.y + top};
    const score = matchScore === undefined ? `confidence ${confidence.toFixed(2)}` : `score ${matchScore.toFixed(2)}`;
    const entry = document.createElement("li");
    entry.textContent = `${type === "icon" ? "barcode " : ""}${text} (${score})`;
    entry.tabIndex = 0;
    for (const event of ["mouseenter", "focus"]) entry.addEventListener(event, () => image.show({found: [frame]}));
    for (const event of ["mouseleave", "blur"]) entry.addEventListener(event, () => image.show({found: frames}));
    frames.push(frame);
    return entry;
  });
  $("found").replaceChildren(...lines);
  $("found-count").textContent = `${results.length} found`;
  image.show({found: frames});
}

async function recognise() {
  $("found-count").textContent = "recognising…";
  const lines = await request("POST", "screen/lines", {});
  // Any barcode matches this word.
  const codes = await request("POST", "screen/find", {query: "barcode"});
  const failed = [lines, codes].find((answer) => !answer.ok);
  if (failed) $("found-count").textContent = failureOf(failed);
  else showFound([...lines.json.results, ...codes.json.results.filter(({type}) => type === "icon")], lines);
}

async function findInImage(event) {
  event.preventDefault();
  const answer = await request("POST", "screen/find", {query: $("query").value});
  if (answer.ok) showFound(answer.json.results, answer);
  else $("found-count").textContent = failureOf(answer);
}

function forgetFound() {
  $("found").replaceChildren();
  $("found-count").textContent = "";
  image.show({found: []});
}

// -- log

onRequest((answer) => {
  const row = document.createElement("tr");
  const size = answer.blob ? answer.blob.size : answer.text.length;
  const cells = [new Date().toLocaleTimeString(), `${answer.method} ${answer.path.replace(/^agent/, "")}`,
    answer.status || "–", `${answer.ms.toFixed(0)} ms`, answer.cache || "–", size];
  for (const text of cells) {
    const cell = document.createElement("td");
    cell.textContent = text;
    row.append(cell);
  }
  row.title = (answer.sent || "").slice(0, 500);
  row.classList.toggle("failed", !answer.ok);
  $("log").prepend(row);
  while ($("log").children.length > mostLogged) $("log").lastElementChild.remove();
});

// -- keyboard

const shortcuts = {
  r: () => refresh(),
  "/": () => $("search-label").focus(),
  t: () => $("tree").focus(),
  c: () => $("click").click(),
};

document.addEventListener("keydown", (event) => {
  const isTyping = event.target.matches("input, select, textarea");
  if (event.key === "Escape" && isTyping) $("tree").focus();
  if (isTyping || event.ctrlKey || event.altKey || event.metaKey || !shortcuts[event.key]) return;
  event.preventDefault();
  shortcuts[event.key]();
});

$("refresh").addEventListener("click", refresh);
$("every").addEventListener("change", readEverySecond);
$("frames").addEventListener("change", () => image.show({showsFrames: $("frames").checked}));
$("choose").addEventListener("click", choose);
$("follow").addEventListener("click", follow);
$("recognise").addEventListener("click", recognise);
$("forget").addEventListener("click", forgetFound);
$("visual").addEventListener("submit", findInImage);
window.addEventListener("pagehide", () => {
  // A batch that is left behind would stay with the agent.
  if (state.batch) fetch("agent/batch/end", {method: "POST", keepalive: true, body: JSON.stringify(state.target())});
});

request("GET", "about").then((answer) => {
  state.agentPort = answer.json.agentPort;
  refresh();
});
