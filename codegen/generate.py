#!/usr/bin/env python3
"""Generates the container classes of refcntr from schema files.

    generate.py --source-root DIR --output-root DIR [--dictionary DICOM_DIC] SCHEMA...

For each schema <folder>/<Name>.schema it writes <output-root>/refcntr/<folder>/<Name>.h and
.cpp; <output-root>/refcntr/codegen/Containers.h includes every generated header, and
GeneratedClassList.h beside it lists every generated class for the tests. Every schema is
read and checked before anything is written; a file is rewritten only when its content
changes. Errors name the schema file and line. With DCMTK's dicom.dic, each accessor group's
comment gives the attribute's VM.
"""

import argparse
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from render import Renderer  # noqa: E402
from schema import SchemaError, parse_file, resolve  # noqa: E402
from classlist import render_all_containers, render_class_list  # noqa: E402
from dictionary import load_multiplicities  # noqa: E402


def write_if_changed(path, text):
    try:
        with open(path, encoding="utf-8") as stream:
            if stream.read() == text:
                return False
    except FileNotFoundError:
        pass
    os.makedirs(os.path.dirname(path), exist_ok=True)
    temporary = path + ".tmp"
    with open(temporary, "w", encoding="utf-8") as stream:
        stream.write(text)
    os.replace(temporary, path)
    return True


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--source-root", required=True)
    parser.add_argument("--output-root", required=True)
    parser.add_argument("--dictionary", default="")
    parser.add_argument("schemas", nargs="+")
    options = parser.parse_args(arguments)

    source_root = os.path.abspath(options.source_root)
    try:
        schemas = []
        for path in options.schemas:
            relative = os.path.relpath(os.path.abspath(path), source_root).replace(os.sep, "/")
            schemas.append(parse_file(path, relative))
        classes = resolve(schemas)
        multiplicities = load_multiplicities(options.dictionary)
        outputs = {}
        for schema in schemas:
            renderer = Renderer(schema, classes, multiplicities)
            base = os.path.join(options.output_root, "refcntr", schema.folder, schema.stem)
            outputs[base + ".h"] = renderer.header()
            outputs[base + ".cpp"] = renderer.source()
        codegen_output = os.path.join(options.output_root, "refcntr", "codegen")
        outputs[os.path.join(codegen_output, "Containers.h")] = render_all_containers(schemas)
        outputs[os.path.join(codegen_output, "GeneratedClassList.h")] = render_class_list(schemas)
    except SchemaError as problem:
        print(f"error: {problem}", file=sys.stderr)
        return 1
    for path, text in sorted(outputs.items()):
        write_if_changed(path, text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
