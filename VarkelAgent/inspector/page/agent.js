// Requests of the page, each of which the log hears of. The program behind it adds the token.

const listeners = [];
export function onRequest(listener) {
  listeners.push(listener);
}

function textOf(error) {
  return error instanceof Error ? error.message : String(error);
}

async function read(response, isImage) {
  if (isImage && response.ok) return {blob: await response.blob()};
  const text = await response.text();
  try {
    return {text, json: JSON.parse(text)};
  } catch (error) {
    return {text, json: {error: text.trim() || textOf(error)}};
  }
}

/// Sends a request below the page's own path. Never rejects: without an answer the status is 0.
export async function request(method, path, body) {
  const began = performance.now();
  const sent = body === undefined ? undefined : JSON.stringify(body);
  const answer = {method, path, sent, status: 0, headers: null, text: "", json: {}};
  try {
    const response = await fetch(path, {method, body: sent, headers: sent ? {"Content-Type": "application/json"} : {}});
    answer.status = response.status;
    answer.headers = response.headers;
    Object.assign(answer, await read(response, path === "screen"));
  } catch (error) {
    answer.text = textOf(error);
    answer.json = {error: `varkel-inspector does not answer: ${answer.text}`};
  }
  answer.ok = answer.status === 200;
  answer.ms = performance.now() - began;
  answer.cache = (answer.headers && answer.headers.get("X-Varkel-Cache")) || "";
  for (const listener of listeners) listener(answer);
  return answer;
}

/// A request to one of the agent's own routes.
export function agent(path, body) {
  return request("POST", `agent${path}`, body);
}

/// Why an answer is none, for the person.
export function failureOf(answer) {
  const {error, message, hint} = answer.json;
  return [answer.status || "", error, message || hint].filter(Boolean).join(" ");
}
