#!/usr/bin/python3
"""Checks that docs/openapi.yaml describes the server: every route and none besides, and every answer that the tests of
the server get.

description_test.py SERVER_TESTS OPENAPI
"""

import json
import os
import subprocess
import sys
import tempfile

import jsonschema
import yaml


def resolved(document, node):
    while "$ref" in node:
        target = document
        for part in node["$ref"].lstrip("#/").split("/"):
            target = target[part]
        node = target
    return node


def described(document):
    """Answers by method, path and status."""
    out = {}
    for path, item in document["paths"].items():
        for method, operation in item.items():
            if method in ("get", "put", "post", "patch", "delete"):
                out[(method.upper(), path)] = {
                    int(status): resolved(document, answer) for status, answer in operation["responses"].items()
                }
    return out


def problems(document, routes, answers):
    known = described(document)
    for route in sorted(set(known) ^ routes):
        yield f"{route[0]} {route[1]}: " + ("described, but there is no such route" if route in known else "not described")
    resolver = jsonschema.RefResolver("", document)
    seen = set()
    for answer in answers:
        route = (answer["method"], answer["path"])
        if route not in known:
            continue
        where = f"{route[0]} {route[1]} {answer['status']}"
        if answer["status"] not in known[route]:
            yield f"{where}: the status is not described"
            continue
        seen.add(route + (answer["status"],))
        content = known[route][answer["status"]]["content"]
        schema = content.get("application/json", {}).get("schema")
        if schema is None:
            yield f"{where}: answered as JSON, described as {', '.join(content)}"
            continue
        validator = jsonschema.Draft202012Validator(schema, resolver=resolver)
        for error in validator.iter_errors(json.loads(answer["body"])):
            yield f"{where}: {error.json_path}: {error.message}"
    for route, by_status in known.items():
        good = [status for status in by_status if status < 300]
        if route != ("GET", "/sync/stream") and not any(route + (status,) in seen for status in good):
            yield f"{route[0]} {route[1]}: no test gets a good answer"


def main():
    tests, description = sys.argv[1:]
    with open(description, encoding="utf-8") as file:
        document = yaml.safe_load(file)
    with tempfile.TemporaryDirectory() as folder:
        record = os.path.join(folder, "answers")
        subprocess.run(
            [tests, "--gtest_filter=*sqlite*", "--gtest_brief=1"],
            env={**os.environ, "TOLVIK_RECORD_ANSWERS": record},
            check=True,
        )
        with open(record, encoding="utf-8") as file:
            lines = [json.loads(line) for line in file]
    routes = {tuple(route) for route in lines[0]["routes"]}
    found = list(dict.fromkeys(problems(document, routes, lines[1:])))
    print("\n".join(found))
    print(f"{len(routes)} routes, {len(lines) - 1} answers, {len(found)} problems")
    return 1 if found or len(lines) < 100 else 0


if __name__ == "__main__":
    sys.exit(main())
