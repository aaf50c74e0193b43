// A tour of varkel-mcp with one of the protocol's official clients, which check every message against the schema.
// Usage: node tour.mjs CLIENT MODE BINARY [ARGUMENTS]; CLIENT is sdk (1.x) or client (2.x), MODE is of the latter.
import assert from "node:assert/strict";

const [name, mode, command, ...args] = process.argv.slice(2);
const REVISIONS = { legacy: "2025-11-25", auto: "2026-07-28", "2026-07-28": "2026-07-28" };

async function connect() {
    const options = { capabilities: {} };
    if (name === "sdk") {
        const { Client } = await import("@modelcontextprotocol/sdk/client/index.js");
        const { StdioClientTransport } = await import("@modelcontextprotocol/sdk/client/stdio.js");
        const client = new Client({ name: "tour", version: "1" }, options);
        client.onerror = fail;
        await client.connect(new StdioClientTransport({ command, args, env: process.env }));
        return { client, call: (params, more) => client.callTool(params, undefined, more) };
    }
    const { Client } = await import("@modelcontextprotocol/client");
    const { StdioClientTransport } = await import("@modelcontextprotocol/client/stdio");
    const wanted = mode === "legacy" || mode === "auto" ? mode : { pin: mode };
    const client = new Client({ name: "tour", version: "1" }, { ...options, versionNegotiation: { mode: wanted } });
    client.onerror = fail;
    await client.connect(new StdioClientTransport({ command, args, env: process.env }));
    assert.equal(client.getNegotiatedProtocolVersion(), REVISIONS[mode]);
    return { client, call: (params, more) => client.callTool(params, more) };
}

// Messages that the client takes exception to reach it here and nowhere else.
function fail(error) {
    console.error(`the client reports: ${error}`);
    process.exit(1);
}

const { client, call } = await connect();
assert.equal(client.getServerVersion().name, "varkel-mcp");
if (mode === "legacy") await client.ping();
const { tools } = await client.listTools();
assert.equal(tools.length, 15);

async function use(tool, input = {}, more = undefined) {
    const result = await call({ name: tool, arguments: input }, more);
    assert.ok(!result.isError, `${tool}: ${JSON.stringify(result.content)}`);
    return result;
}

const snapshot = await use("snapshot");
assert.match(snapshot.content[0].text, /AXButton "Count me"/);
const button = (await use("find", { label: "Count me" })).structuredContent.matches[0];
const entry = (await use("find", { identifier: "entry" })).structuredContent.matches[0];
const typed = await use("type_text", { elementId: entry.id, text: `from ${name}` });
assert.match(typed.structuredContent.changes.join("\n"), new RegExp(`from ${name}`));
assert.equal((await use("click", { elementId: button.id, timeoutMs: 0 })).structuredContent.method, "ax_press");
await use("press_keys", { keys: ["tab"], timeoutMs: 0 });
const list = (await use("find", { role: "AXScrollArea" })).structuredContent.matches[0];
await use("scroll", { elementId: list.id, direction: "down", timeoutMs: 0 });
assert.equal((await use("wait_for", { text: `from ${name}` })).structuredContent.met, true);
assert.equal((await use("screenshot")).content[0].mimeType, "image/png");
await use("read_screen", { elementId: button.id });
await use("find_on_screen", { query: "Count me" });
await use("begin_batch", { batch_id: "tour" });
await use("snapshot", { batch_id: "tour", maxCharacters: 500 });
await use("end_batch", { batch_id: "tour" });
assert.equal((await use("run_applescript", { script: 'return "a" & "b"' })).structuredContent.output, "ab");
assert.deepEqual((await use("list_shortcuts")).structuredContent.shortcuts, ["Shout"]);
assert.equal((await use("run_shortcut", { name: "Shout", input: "a" })).structuredContent.output, "A");

const refused = await call({ name: "click", arguments: { elementId: "0000000000000000" } });
assert.match(refused.content[0].text, /new snapshot/);
assert.equal(refused.isError, true);
await assert.rejects(call({ name: "delete_everything", arguments: {} }), (error) => error.code === -32602);

const progress = [];
await use("wait_for", { label: "never", timeoutMs: 2500 }, { onprogress: (each) => progress.push(each.progress) });
assert.deepEqual(progress, [1, 2]);
const stop = new AbortController();
const waiting = call({ name: "wait_for", arguments: { label: "never", timeoutMs: 60000 } }, { signal: stop.signal });
setTimeout(() => stop.abort(), 300);
await assert.rejects(waiting);
await use("find", { label: "Count me" });
await client.close();
console.log(`${name} ${mode}: all went well`);
