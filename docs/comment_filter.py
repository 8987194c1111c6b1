#!/usr/bin/env python3
"""Doxygen input filter: reads the C++ header named on the command line and prints it with its
plain comments made into documentation, so that the headers stay written with //.

- the comment block that opens the file describes the file (@file);
- a comment on lines of its own documents the declaration that follows it;
- a comment after a declaration on the same line (after ;  ,  {  }  or  )) documents that
  declaration (///<);
- closing-brace comments (}  // namespace ...) stay plain.
"""
import re
import sys

OWN_LINE = re.compile(r"^(\s*)//(?!/)\s?(.*)$")
TRAILING = re.compile(r"^(.*[;,{})])(\s+)//(?!/)\s?(.*)$")


def document(lines):
    result = []
    for index, line in enumerate(lines):
        own = OWN_LINE.match(line)
        if own:
            indent, text = own.groups()
            if index == 0:
                result.append(f"{indent}/// @file")
            result.append(f"{indent}/// {text}".rstrip())
            continue
        trailing = TRAILING.match(line)
        if trailing and not trailing.group(3).startswith("namespace") and line.count('"') % 2 == 0:
            code, space, text = trailing.groups()
            result.append(f"{code}{space}///< {text}".rstrip())
            continue
        result.append(line)
    return result


def main():
    with open(sys.argv[1], encoding="utf-8") as header:
        lines = header.read().split("\n")
    sys.stdout.write("\n".join(document(lines)))


if __name__ == "__main__":
    main()
