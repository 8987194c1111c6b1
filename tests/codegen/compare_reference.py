#!/usr/bin/env python3
"""Compares generated files with the reviewed reference copies kept beside this script, so a
change of the generator shows up as a diff.

    compare_reference.py GENERATED_ROOT [--update]
"""

import difflib
import os
import shutil
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
REFERENCE = os.path.join(HERE, "reference")
FILES = [
    "refcntr/notify/ReferencedImageSequenceItem.h",
    "refcntr/notify/ReferencedImageSequenceItem.cpp",
    "refcntr/macros/ProtocolCodeSequenceItems.h",
    "refcntr/macros/ProtocolCodeSequenceItems.cpp",
]


def reference_path(name):
    return os.path.join(REFERENCE, name.replace("refcntr/", "").replace("/", "-") + ".reference")


def main(arguments):
    generated_root = arguments[0]
    update = "--update" in arguments[1:]
    failed = False
    for name in FILES:
        with open(os.path.join(generated_root, name), encoding="utf-8") as stream:
            generated = stream.read()
        reference = reference_path(name)
        if update:
            shutil.copyfile(os.path.join(generated_root, name), reference)
            continue
        with open(reference, encoding="utf-8") as stream:
            expected = stream.read()
        if generated != expected:
            failed = True
            sys.stdout.writelines(difflib.unified_diff(expected.splitlines(True), generated.splitlines(True),
                                                       reference, name))
    if failed:
        print("\nThe generated code differs from the reference copies. If the change is intended, review the diff "
              "and run: tests/codegen/compare_reference.py <build>/generated --update")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
