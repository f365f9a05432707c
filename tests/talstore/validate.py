#!/usr/bin/env python3
"""Validates JSON answers, one per line of standard input, against the schemas in a folder.

A schema lets programs meet keys that it does not name, since keys are added; a test does not.
"""
import json
import pathlib
import sys

import jsonschema


def closed(schema):
    """The schema without room for keys that it does not name."""
    if isinstance(schema, list):
        return [closed(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    result = {key: closed(part) for key, part in schema.items()}
    if schema.get("type") == "object" and "properties" in schema:
        result["additionalProperties"] = False
    return result


def main():
    schemas = {}
    for file in sorted(pathlib.Path(sys.argv[1]).glob("*.schema.json")):
        schema = closed(json.loads(file.read_text()))
        jsonschema.Draft202012Validator.check_schema(schema)
        schemas[schema["properties"]["schema"]["const"]] = jsonschema.Draft202012Validator(schema)
    count = 0
    for line in sys.stdin:
        answer = json.loads(line)
        for error in schemas[answer["schema"]].iter_errors(answer):
            sys.exit(f"{answer['schema']}: {error.json_path}: {error.message}\n{line}")
        count += 1
    print(f"{count} answers, {len(schemas)} schemas")


main()
