#!/usr/bin/env python3
"""A scripted model service on the loopback interface, for driving the real agent CLIs without an account.

It speaks as much of the Anthropic Messages API and of the OpenAI Responses API as the two CLIs use. What it
answers is chosen by directives in the user's prompt, "SCENARIO=read FILE=README.md"; without any it answers
TEXT. Every request is kept in `ModelServer.requests` (and in a file of JSON lines) in one form for both APIs.

Scenarios: text, think, read (FILE: answers with its "marker is N"), write (FILE, CONTENT), command (RUN, "+"
for a space), remember (the last "number N" of the conversation), error (STATUS), slow (never ends), cut (KEY:
the first stream breaks off), mismatch (breaks the schema), prose (knows no schema), lookup (FILE: reads it
if it has tools). PACE is the pause between two deltas in seconds. Where the request carries an output schema,
the last answer fills it, its strings with the scenario's text, or is what the server's `structured` makes of
the request; that of prose and slow does not.
"""
import argparse
import http.server
import json
import re
import socketserver
import sys
import threading
import time
import uuid

TEXT = "The quick brown fox jumps over the lazy dog."
THOUGHT = "First I weigh the request, then I answer."


def fill(schema, text):
    """The smallest value that satisfies the parts of JSON Schema that the tests use."""
    kind = schema.get("type")
    if "enum" in schema:
        return schema["enum"][0]
    if kind == "object" or "properties" in schema:
        return {name: fill(value, text) for name, value in schema.get("properties", {}).items()}
    if kind == "array":
        return [fill(schema.get("items", {}), text)] * max(1, schema.get("minItems", 1))
    return {"string": text, "integer": 1, "number": 1, "boolean": True}.get(kind)


def fresh(kind):
    return f"{kind}_{uuid.uuid4().hex[:16]}"


def parts(content, *kinds):
    content = [{"type": "text", "text": content}] if isinstance(content, str) else content or []
    return [part for part in content if part.get("type") in kinds]


def joined(content):
    return "\n".join(part["text"] for part in parts(content, "text", "input_text", "output_text"))


def messages_request(body):
    """A request of the Messages API in the common form."""
    system, user, images, results = [joined(body.get("system"))], [], [], []
    for message in body.get("messages", []):
        if message["role"] == "system":
            system.append(joined(message["content"]))
        elif message["role"] == "user":
            for part in parts(message["content"], "text", "image", "tool_result"):
                if part["type"] == "text":
                    user.append(part["text"])
                    results = results if part["text"].startswith("<system-reminder>") else []
                elif part["type"] == "image":
                    images.append({"type": part["source"]["media_type"], "data": part["source"]["data"]})
                else:
                    results.append(joined(part.get("content")))
    tools = {tool["name"]: tool for tool in body.get("tools", [])}
    return {
        "system": "\n".join(system), "user": user, "images": images, "results": results,
        "tools": sorted(tools), "effort": body.get("output_config", {}).get("effort"),
        "schema": tools.get("StructuredOutput", {}).get("input_schema"),
    }


def responses_request(body):
    """A request of the Responses API in the common form. Tools may come inside the input, in namespaces."""
    system, user, images, results, tools = [body.get("instructions") or ""], [], [], [], []
    offered, code_mode = list(body.get("tools", [])), None
    for item in body.get("input", []):
        if item["type"] == "additional_tools":
            offered += item["tools"]
        elif item["type"].endswith("_call_output"):
            results.append(item["output"] if isinstance(item["output"], str) else joined(item["output"]))
        elif item["type"] == "message" and item["role"] == "user":
            user.append(joined(item["content"]))
            results = []
            for part in parts(item["content"], "input_image"):
                head, _, data = part["image_url"].partition(";base64,")
                images.append({"type": head.removeprefix("data:"), "data": data})
        elif item["type"] == "message" and item["role"] == "developer":
            system.append(joined(item["content"]))
    for tool in offered:
        for one in tool.get("tools", [tool]):
            tools.append(one.get("name") or one["type"])
            # The code mode tool names the nested tools only in its description.
            tools += re.findall(r"^### `(\w+)`", one.get("description", ""), re.M)
            if one.get("name") == "exec":
                code_mode = {"namespace": tool["name"]} if "tools" in tool else {}
    return {
        "system": "\n".join(system), "user": user, "images": images, "results": results,
        "tools": sorted(tools), "effort": (body.get("reasoning") or {}).get("effort"),
        "schema": (body.get("text", {}).get("format") or {}).get("schema"), "code_mode": code_mode,
    }


def directives(texts):
    """The directives of the last user text that has any."""
    for text in reversed(texts):
        found = dict(re.findall(r"\b([A-Z]+)=(\S+)", text))
        if "SCENARIO" in found:
            return found
    return {"SCENARIO": "text"}


def claude_call(kind, said):
    if kind == "read":
        return "Read", {"file_path": said["FILE"]}
    if kind == "write":
        return "Write", {"file_path": said["FILE"], "content": said["CONTENT"] + "\n"}
    return "Bash", {"command": said["RUN"].replace("+", " "), "description": "Runs a command"}


def codex_call(kind, said):
    """The JavaScript of one "exec" call: nested tools are functions of `tools`."""
    if kind == "write":
        patch = f"*** Begin Patch\n*** Add File: {said['FILE']}\n+{said['CONTENT']}\n*** End Patch\n"
        return "apply_patch", f"text(await tools.apply_patch({json.dumps(patch)}))", {"input": patch}
    arguments = {"cmd": f"cat {said['FILE']}" if kind == "read" else said["RUN"].replace("+", " ")}
    return "exec_command", f"text((await tools.exec_command({json.dumps(arguments)})).output)", arguments


def answer(request, said):
    """The blocks of the next message: ("thinking" | "text", text) or ("call", kind)."""
    scenario, results = said["SCENARIO"], request["results"]
    if scenario == "lookup" and not results and {"Read", "exec_command"} & set(request["tools"]):
        return [("text", "I will read first."), ("call", "read")]
    if scenario == "think":
        return [("thinking", THOUGHT), ("text", TEXT)]
    if scenario in ("read", "write", "command"):
        if not results:
            return [("text", f"I will {scenario} first."), ("call", scenario)]
        if scenario == "read":
            marker = re.search(r"marker is \d+", results[-1])
            return [("text", f"The {marker[0]}." if marker else "The file holds no marker.")]
        return [("text", "Finished.")]
    if scenario == "remember":
        numbers = re.findall(r"number (\d+)", "\n".join(request["user"]))
        return [("text", f"The number was {numbers[-1]}." if numbers else "I know no number.")]
    return [("text", TEXT)]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def reply(self, status, body, **headers):
        data = json.dumps(body).encode()
        self.send_response(status)
        headers = {"content_type": "application/json", "content_length": len(data), **headers}
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), str(value))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(data)

    def do_HEAD(self):
        self.reply(200, {})

    def do_GET(self):
        if self.path.startswith("/v1/responses"):
            self.reply(426, {"error": {"message": "No WebSocket here."}})  # at once over to plain HTTP
        else:
            self.reply(200, {"object": "list", "data": [], "models": []})

    def do_POST(self):
        body = json.loads(self.rfile.read(int(self.headers.get("content-length") or 0)) or b"{}")
        path = self.path.partition("?")[0]
        if path.endswith("/count_tokens"):
            return self.reply(200, {"input_tokens": 100})
        if path not in ("/v1/messages", "/v1/responses"):
            return self.reply(404, {"error": {"type": "not_found_error", "message": "no such address"}})
        claude = path == "/v1/messages"
        request = messages_request(body) if claude else responses_request(body)
        said = directives(request["user"])
        scenario, pace = said["SCENARIO"], float(said.get("PACE", 0))
        request |= {"method": self.command, "path": path, "model": body["model"], "scenario": scenario}
        self.server.keep(request)
        if scenario == "error":
            error = {"type": "invalid_request_error", "message": f"Scripted failure {said['STATUS']}."}
            return self.reply(int(said["STATUS"]), {"type": "error", "error": error}, x_should_retry="false")
        blocks = answer(request, said)
        if claude and not body.get("stream"):
            return self.reply(200, {
                "type": "message", "id": "msg_1", "role": "assistant", "model": body["model"],
                "content": [{"type": kind, "text": text} for kind, text in blocks if kind == "text"],
                "stop_reason": "end_turn", "stop_sequence": None,
                "usage": {"input_tokens": 120, "output_tokens": 25}})
        self.send_response(200)
        self.send_header("content-type", "text/event-stream")
        self.send_header("connection", "close")
        self.end_headers()
        if request["schema"] and scenario not in ("prose", "slow") and blocks[-1][0] != "call":
            filled = {"unexpected": 1} if scenario == "mismatch" else self.fill(request, blocks[-1][1])
            blocks = [("structured", filled)] if claude else [("text", json.dumps(filled))]
        try:
            (self.stream_messages if claude else self.stream_responses)(request, blocks, said, pace)
        except (BrokenPipeError, ConnectionResetError):
            pass

    def fill(self, request, text):
        return self.server.structured(request) if self.server.structured else fill(request["schema"], text)

    def deltas(self, text, said, pace):
        """The text in pieces: without end for "slow", broken off for the first stream of a "cut"."""
        words = re.findall(r"\S+\s*", text)
        for word in words:
            yield word
            if said["SCENARIO"] == "cut" and self.server.first_time(said["KEY"]):
                self.wfile.flush()
                self.connection.shutdown(2)
                raise BrokenPipeError
            time.sleep(pace)
        while said["SCENARIO"] == "slow":
            yield "and on "
            time.sleep(0.1)

    def event(self, kind, **fields):
        self.wfile.write(f"event: {kind}\ndata: {json.dumps({'type': kind, **fields})}\n\n".encode())
        self.wfile.flush()

    def stream_messages(self, request, blocks, said, pace):
        usage = {"input_tokens": 120, "cache_creation_input_tokens": 30, "cache_read_input_tokens": 50,
                 "output_tokens": 1}
        message = {"id": fresh("msg"), "type": "message", "role": "assistant", "content": [],
                   "model": request["model"], "stop_reason": None, "stop_sequence": None, "usage": usage}
        self.event("message_start", message=message)
        for index, (kind, value) in enumerate(blocks):
            if kind in ("text", "thinking"):
                block = {"type": kind, kind: ""} | ({"signature": ""} if kind == "thinking" else {})
                pieces = ({"type": kind + "_delta", kind: piece} for piece in self.deltas(value, said, pace))
            else:
                name, arguments = claude_call(value, said) if kind == "call" else ("StructuredOutput", value)
                block = {"type": "tool_use", "id": fresh("toolu"), "name": name, "input": {}}
                text = json.dumps(arguments)
                pieces = [{"type": "input_json_delta", "partial_json": half}
                          for half in (text[: len(text) // 2], text[len(text) // 2:])]
            self.event("content_block_start", index=index, content_block=block)
            for piece in pieces:
                self.event("content_block_delta", index=index, delta=piece)
            if kind == "thinking":
                signature = {"type": "signature_delta", "signature": "c2ln"}
                self.event("content_block_delta", index=index, delta=signature)
            self.event("content_block_stop", index=index)
        reason = "tool_use" if blocks[-1][0] in ("call", "structured") else "end_turn"
        self.event("message_delta", delta={"stop_reason": reason, "stop_sequence": None},
                   usage={"output_tokens": 25})
        self.event("message_stop")

    def stream_responses(self, request, blocks, said, pace):
        response = {"id": fresh("resp"), "object": "response", "model": request["model"], "output": []}
        self.event("response.created", response={**response, "status": "in_progress"})
        for index, (kind, value) in enumerate(blocks):
            item = {"id": fresh("item"), "status": "completed"}
            if kind == "thinking":
                item |= {"type": "reasoning", "summary": [{"type": "summary_text", "text": value}],
                         "encrypted_content": "c2ln"}
            elif kind == "text":
                item |= {"type": "message", "role": "assistant",
                         "content": [{"type": "output_text", "text": value, "annotations": []}]}
            else:
                name, script, arguments = codex_call(value, said)
                item["call_id"] = fresh("call")
                if request["code_mode"] is not None:
                    item |= {"type": "custom_tool_call", "name": "exec", "input": script}
                    item |= request["code_mode"]
                elif name == "apply_patch":
                    item |= {"type": "custom_tool_call", "name": name, "input": arguments["input"]}
                else:
                    item |= {"type": "function_call", "name": name, "arguments": json.dumps(arguments)}
            opened = {**item, "status": "in_progress"} | ({"content": []} if kind == "text" else {})
            self.event("response.output_item.added", output_index=index, item=opened)
            if kind == "text":
                for piece in self.deltas(value, said, pace):
                    self.event("response.output_text.delta", item_id=item["id"], output_index=index,
                               content_index=0, delta=piece)
            self.event("response.output_item.done", output_index=index, item=item)
            response["output"].append(item)
        usage = {"input_tokens": 200, "input_tokens_details": {"cached_tokens": 80}, "output_tokens": 40,
                 "output_tokens_details": {"reasoning_tokens": 12}, "total_tokens": 240}
        self.event("response.completed", response={**response, "status": "completed", "usage": usage})


class ModelServer(socketserver.ThreadingMixIn, http.server.HTTPServer):
    """Listens on a free port of 127.0.0.1; every connection has a thread that ends with the program."""
    daemon_threads = True

    def __init__(self, record=None):
        super().__init__(("127.0.0.1", 0), Handler)
        self.address = f"http://127.0.0.1:{self.server_port}"
        self.requests, self._seen, self._lock, self._record = [], set(), threading.Lock(), record
        self.structured = None

    def keep(self, request):
        with self._lock:
            self.requests.append(request)
            if self._record:
                self._record.write(json.dumps(request) + "\n")
                self._record.flush()

    def first_time(self, key):
        with self._lock:
            fresh = key not in self._seen
            self._seen.add(key)
            return fresh

    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], ConnectionError):
            super().handle_error(request, client_address)


def main():
    parser = argparse.ArgumentParser(description="Prints its port; ends with its input.")
    parser.add_argument("--record", type=argparse.FileType("w"), help="file for the requests, as JSON lines")
    server = ModelServer(parser.parse_args().record)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    print(server.server_port, flush=True)
    sys.stdin.read()


if __name__ == "__main__":
    main()
