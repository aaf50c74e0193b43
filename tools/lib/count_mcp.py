"""Prints the size of each tool of a varkel-mcp and of all of them."""

import json
import subprocess
import sys

META = {"io.modelcontextprotocol/protocolVersion": "2026-07-28", "io.modelcontextprotocol/clientCapabilities": {}}
LIMIT = 4000


def characters(value):
    return len(json.dumps(value, ensure_ascii=False, separators=(",", ":")))


def main():
    request = {"jsonrpc": "2.0", "id": 1, "method": "tools/list", "params": {"_meta": META}}
    done = subprocess.run([sys.argv[1]], input=json.dumps(request), capture_output=True, text=True, check=True)
    tools = json.loads(done.stdout)["result"]["tools"]
    for tool in tools:
        print(f"{tool['name']:<16} {characters(tool) / 4:6.0f} tokens")
    total = characters(tools) / 4
    print(f"{len(tools)} tools {total:13.0f} tokens of at most {LIMIT}")
    return 0 if total < LIMIT else 1


if __name__ == "__main__":
    sys.exit(main())
