#!/usr/bin/python3
"""Tells what JSON Schemas say of documents.

Usage: validate.py SCHEMAS DOCUMENTS     a folder, and a JSON list of [format, document]
Prints a line for each document: its mistakes, each as the pointer to a value and the keyword of the
schema that it breaks; an empty line for a good one.
"""
import json
import pathlib
import sys

from jsonschema import Draft202012Validator


def validator_of(file):
    schema = json.loads(file.read_text())
    Draft202012Validator.check_schema(schema)
    return Draft202012Validator(schema)


def mistake(error):
    pointer = "".join(f"/{part}" for part in error.absolute_path)
    return f"{pointer} {error.validator}"


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    schemas, documents = map(pathlib.Path, sys.argv[1:])
    validators = {file.name.removesuffix(".schema.json"): validator_of(file)
                  for file in schemas.iterdir()}
    for name, document in json.loads(documents.read_text()):
        print(", ".join(sorted(map(mistake, validators[name].iter_errors(document)))))
    return 0


if __name__ == "__main__":
    sys.exit(main())
