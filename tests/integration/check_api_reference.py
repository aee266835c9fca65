#!/usr/bin/python3
"""Holds docs/openapi.yaml against what the server does.

    check_api_reference.py DOCUMENT OBSERVED

OBSERVED is the JSON that ApiReferenceTest writes: the route table
("routes": [{"expression", "methods"}]), every exchange it made
("exchanges": [{"method", "path", "status", "reason", "body"}]), every
frame received on a port ("frames": [{"port", "body"}]) and the health
report ("health"). Exits 1, naming each mismatch, when the document's paths
and methods are not exactly the route table's or an answer is not
described by it: its status, its reason phrase or its body.
"""
import json
import re
import sys

import jsonschema
import yaml

METHODS = ("get", "post", "put", "delete", "patch", "head", "options", "trace")


def deref(document, node):
    """node with its $ref (one level at a time) followed."""
    while isinstance(node, dict) and "$ref" in node:
        target = document
        for part in node["$ref"].lstrip("#/").split("/"):
            target = target[part]
        node = target
    return node


def sample_path(template):
    """A concrete path of a documented one: {filter} becomes a filter."""
    return re.sub(r"\{[^}]+\}", "beta-1.2", template)


def documented_path(document, path):
    """The document's path that a concrete request path stands for."""
    for template in document["paths"]:
        pattern = "^" + re.sub(r"\\\{[^}]+\\\}", "[^/]+", re.escape(template)) + "/?$"
        if re.match(pattern, path):
            return template
    return None


def reason_matches(reasons, reason):
    for expected in reasons:
        pattern = "^" + re.sub(r"\\\{[^}]+\\\}", ".*", re.escape(expected)) + "$"
        if re.match(pattern, reason, re.DOTALL):
            return True
    return False


def validator(document, schema):
    resolver = jsonschema.RefResolver.from_schema(document)
    return jsonschema.Draft202012Validator(schema, resolver=resolver)


def check_routes(document, routes, errors):
    """Every route and method of the server documented, and nothing else."""
    documented = {}
    for template, item in document["paths"].items():
        documented[template] = {m.upper() for m in item if m in METHODS}
    covered = set()
    for route in routes:
        expression = re.compile(route["expression"])
        templates = [t for t in documented if expression.match(sample_path(t))]
        if not templates:
            errors.append("route %s is not documented" % route["expression"])
            continue
        # One route may be documented as several paths (/update and
        # /update/{filter}): together they hold its methods.
        methods = set().union(*(documented[t] for t in templates))
        covered.update(templates)
        if methods != set(route["methods"]):
            errors.append("%s documents %s, the server serves %s" % (
                " and ".join(templates), sorted(methods), sorted(route["methods"])))
    for template in sorted(set(documented) - covered):
        errors.append("%s is documented but the server has no such route" % template)


def check_exchange(document, exchange, errors):
    what = "%s %s -> %d %s" % (exchange["method"], exchange["path"], exchange["status"], exchange["reason"])
    template = documented_path(document, exchange["path"])
    operation = document["paths"].get(template, {}).get(exchange["method"].lower()) if template else None
    if operation is None:
        errors.append(what + ": no such operation in the document")
        return
    response = operation["responses"].get(str(exchange["status"]))
    if response is None:
        errors.append(what + ": status not documented")
        return
    response = deref(document, response)
    if not reason_matches(response.get("x-reasons", []), exchange["reason"]):
        errors.append(what + ": reason phrase not documented (%s)" % response.get("x-reasons"))
    body = exchange["body"]
    content = response.get("content", {}).get("application/json")
    if not body:
        if content and not response.get("x-empty-body"):
            errors.append(what + ": empty body where the document describes one")
        return
    if not content:
        errors.append(what + ": a body where the document describes none: " + body[:200])
        return
    check_body(document, content["schema"], body, what, errors)


def check_body(document, schema, body, what, errors):
    try:
        value = json.loads(body)
    except ValueError as e:
        errors.append("%s: body is not JSON (%s): %s" % (what, e, body[:200]))
        return
    for error in validator(document, schema).iter_errors(value):
        errors.append("%s: %s at %s" % (what, error.message, "/".join(map(str, error.absolute_path))))


def main():
    document = yaml.safe_load(open(sys.argv[1]))
    observed = json.load(open(sys.argv[2]))
    errors = []
    if document.get("openapi") != "3.1.0":
        errors.append("not an OpenAPI 3.1.0 document")
    for name, schema in document["components"]["schemas"].items():
        try:
            jsonschema.Draft202012Validator.check_schema(schema)
        except jsonschema.SchemaError as e:
            errors.append("schema %s: %s" % (name, e.message))
    check_routes(document, observed["routes"], errors)
    for exchange in observed["exchanges"]:
        check_exchange(document, exchange, errors)
    for frame in observed["frames"]:
        operation = document["paths"][frame["port"]]["get"]
        schema = operation["responses"]["101"]["x-websocket-message"]
        check_body(document, schema, frame["body"], "frame on " + frame["port"], errors)
    check_body(document, {"$ref": "#/components/schemas/HealthReport"}, observed["health"], "GET /_M_/health", errors)
    for error in errors:
        print(error)
    print("%d exchanges, %d frames checked; %d mismatches" % (
        len(observed["exchanges"]), len(observed["frames"]), len(errors)))
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
