"""Reads schema files into a small model and checks them before anything is written.

A schema file declares container classes, one block per class:

    family CodeSequenceMacro
      CodeValue   0008,0100  SH  text  "The code's identifier in its coding scheme"
    end

    item PerformedProtocolCodeSequenceItem  sequence PerformedProtocolCodeSequence
      use CodeSequenceMacro
      ProtocolContextSequence  0040,0440  SQ  sequence ProtocolContextSequence  "..."
    end

    module GeneralStudyModule
      StudyInstanceUID  0020,000D  UI  text  "..."
    end

    entity StudyInformationEntity
      module GeneralStudyModule
    end

    iod GrayscaleSoftcopyPresentationStateCompositeIOD
      entity PatientInformationEntity
    end

An attribute row is: name, tag (gggg,eeee, or gggg,xxOO for offset OO of a private block),
VR, kind with its arguments, flags, and a quoted one-line description. The VR must be one
the kind can hold (kinds.VRS). Rows keep the declaration order, which is the order of presence
bits, create, save and the dump.
"""

import re
import shlex

from kinds import KINDS, FLAGS, FLAG_VALUES, ARRAY_VALUE_TYPES, VRS, held_kind

CLASS_KINDS = ("item", "module", "entity", "iod")
CLASS_OPTIONS = {
    "item": {"sequence": 1, "image-indexed": 0, "handwritten-sequence": 0, "images-own": 0, "placeholder": 0,
             "relays-sequence-changes": 0},
    "module": {"private-creator": 1},
    "entity": {},
    "iod": {},
}
NAME = re.compile(r"^[A-Za-z][A-Za-z0-9]*$")
TAG = re.compile(r"^([0-9A-Fa-f]{4}),([0-9A-Fa-f]{4}|xx[0-9A-Fa-f]{2})$")


class SchemaError(Exception):
    def __init__(self, path, line, message):
        super().__init__(f"{path}:{line}: {message}")


class Attribute:
    """One row: a DICOM attribute, a held sequence, or (in entities and IODs) a held child."""

    def __init__(self, name, group, element, vr, kind, arguments, flags, description, private, relative, line):
        self.name = name
        self.group = group
        self.element = element
        self.vr = vr
        self.kind = kind
        self.arguments = arguments
        self.flags = flags
        self.description = description
        self.private = private
        self.relative = relative  # the schema file of the row, which is a family's for a used family
        self.line = line

    @property
    def member(self):
        return f"its{self.name}Element"

    @property
    def location(self):
        return f"{self.relative}:{self.line}"

    @property
    def tag_text(self):
        if self.private:
            return f"({self.group:04X},xx{self.element:02X})"
        return f"({self.group:04X},{self.element:04X})"


class Child:
    """A module held by an entity, or an entity held by an IOD."""

    def __init__(self, kind, class_name, line):
        self.kind = kind
        self.class_name = class_name
        self.line = line

    @property
    def member(self):
        return f"its{self.class_name}"


class ContainerClass:
    def __init__(self, kind, name, options, description, schema, line):
        self.kind = kind
        self.name = name
        self.options = options
        self.description = description
        self.schema = schema
        self.line = line
        self.attributes = []
        self.children = []

    @property
    def sequence_name(self):
        return self.options.get("sequence")

    def sequences(self):
        return [a for a in self.attributes if a.kind == "sequence"]


class SchemaFile:
    def __init__(self, path, relative):
        self.path = path
        self.relative = relative  # e.g. macros/CodeSequenceItems.schema
        self.folder, name = relative.rsplit("/", 1)
        self.stem = name.rsplit(".", 1)[0]
        self.classes = []
        self.families = {}

    @property
    def header(self):
        return f"refcntr/{self.folder}/{self.stem}.h"


def _hex(text):
    return int(text, 16)


def parse_attribute(schema, line_number, words, description):
    error = lambda message: SchemaError(schema.relative, line_number, message)
    if len(words) < 4:
        raise error("an attribute row needs: name, tag, VR, kind")
    name, tag, vr, kind = words[:4]
    if not NAME.match(name):
        raise error(f"'{name}' is not a valid attribute name")
    match = TAG.match(tag)
    if not match:
        raise error(f"'{tag}' is not a tag (gggg,eeee or gggg,xxOO)")
    group = _hex(match.group(1))
    private = match.group(2).startswith("xx")
    element = _hex(match.group(2)[2:]) if private else _hex(match.group(2))
    if kind not in KINDS:
        raise error(f"unknown kind '{kind}' (known: {', '.join(sorted(KINDS))})")
    rest = words[4:]
    argument_count = KINDS[kind].argument_count
    arguments, flags = rest[:argument_count], rest[argument_count:]
    if len(arguments) < argument_count:
        raise error(f"kind '{kind}' needs {argument_count} argument(s)")
    if kind in ("array", "ambiguous") and arguments[0] not in ARRAY_VALUE_TYPES:
        raise error(f"unknown array value type '{arguments[0]}' (known: {', '.join(ARRAY_VALUE_TYPES)})")
    held = held_kind(kind, arguments)
    if vr not in VRS.get(held, ()):
        raise error(f"kind '{held}' cannot hold VR {vr} (it holds: {', '.join(sorted(VRS.get(held, ()))) or 'none'})")
    names, values = set(), {}
    for flag in flags:
        flag_name, _, value = flag.partition("=")
        if flag_name not in FLAGS:
            raise error(f"unknown flag '{flag_name}' (known: {', '.join(sorted(FLAGS))})")
        if kind not in FLAGS[flag_name]:
            raise error(f"flag '{flag_name}' does not apply to kind '{kind}'")
        if (flag_name in FLAG_VALUES) != bool(value):
            raise error(f"flag '{flag_name}' " + ("needs a value: " + FLAG_VALUES[flag_name]
                                                  if flag_name in FLAG_VALUES else "takes no value"))
        names.add(flag_name)
        if value:
            values[flag_name] = value
    attribute = Attribute(name, group, element, vr, kind, arguments, names, description, private, schema.relative,
                          line_number)
    attribute.flag_values = values
    return attribute


def without_comment(text):
    """The row up to its first '#' outside quotes, where shlex starts a comment."""
    quote = None
    escaped = False
    for index, character in enumerate(text):
        if escaped:
            escaped = False
        elif character == "\\" and quote != "'":
            escaped = True
        elif quote:
            if character == quote:
                quote = None
        elif character in "\"'":
            quote = character
        elif character == "#":
            return text[:index]
    return text


def split_row(schema, line_number, text):
    row = without_comment(text).rstrip()
    try:
        words = shlex.split(row, posix=True)
    except ValueError as problem:
        raise SchemaError(schema.relative, line_number, f"cannot read the row: {problem}")
    description = ""
    if row.endswith('"'):
        # The quoted description is the last word.
        description = words.pop()
    return words, description


def parse_file(path, relative):
    schema = SchemaFile(path, relative)
    current = None
    current_family = None
    with open(path, encoding="utf-8") as stream:
        lines = stream.read().splitlines()
    for number, raw in enumerate(lines, start=1):
        text = raw.strip()
        if not text or text.startswith("#"):
            continue
        words, description = split_row(schema, number, text)
        error = lambda message: SchemaError(relative, number, message)
        head = words[0]
        if head == "end":
            if current is None and current_family is None:
                raise error("'end' without a block")
            current = current_family = None
            continue
        if current is None and current_family is None:
            if head == "family":
                if len(words) != 2 or not NAME.match(words[1]):
                    raise error("a family needs one name")
                current_family = []
                schema.families[words[1]] = current_family
                continue
            if head not in CLASS_KINDS:
                raise error(f"expected one of family, {', '.join(CLASS_KINDS)}; found '{head}'")
            if len(words) < 2 or not NAME.match(words[1]):
                raise error(f"a {head} needs a class name")
            options = parse_options(relative, number, head, words[2:])
            current = ContainerClass(head, words[1], options, description, schema, number)
            schema.classes.append(current)
            continue
        if current_family is not None:
            current_family.append(parse_attribute(schema, number, words, description))
            continue
        if head == "use":
            if len(words) != 2:
                raise error("'use' names one family")
            current.attributes.append(("use", words[1], number))
            continue
        if current.kind in ("entity", "iod"):
            expected = "module" if current.kind == "entity" else "entity"
            if head != expected or len(words) != 2:
                raise error(f"a row of {current.kind} {current.name} is '{expected} <ClassName>'")
            current.children.append(Child(head, words[1], number))
            continue
        current.attributes.append(parse_attribute(schema, number, words, description))
    if current is not None or current_family is not None:
        raise SchemaError(relative, len(lines), "the last block has no 'end'")
    return schema


def parse_options(relative, number, kind, words):
    allowed = CLASS_OPTIONS[kind]
    options = {}
    index = 0
    while index < len(words):
        word = words[index]
        if word not in allowed:
            raise SchemaError(relative, number, f"unknown option '{word}' for {kind}")
        if allowed[word]:
            if index + 1 >= len(words):
                raise SchemaError(relative, number, f"option '{word}' needs a value")
            options[word] = words[index + 1]
            index += 2
        else:
            options[word] = True
            index += 1
    if kind == "item" and "sequence" not in options:
        raise SchemaError(relative, number, "an item names its sequence: 'sequence <SequenceClass>'")
    return options


def resolve(schemas):
    """Expands families, then checks names, tags and references across all schema files."""
    families = {}
    for schema in schemas:
        for name, rows in schema.families.items():
            if name in families:
                raise SchemaError(schema.relative, 0, f"family '{name}' is declared twice")
            families[name] = rows
    classes = {}
    for schema in schemas:
        for container in schema.classes:
            expanded, uses = [], []
            for row in container.attributes:
                if isinstance(row, tuple):
                    _, family, number = row
                    if family not in families:
                        raise SchemaError(schema.relative, number, f"unknown family '{family}'")
                    expanded.extend(families[family])
                    uses.extend([(family, number)] * len(families[family]))
                else:
                    expanded.append(row)
                    uses.append(None)
            container.attributes = expanded
            for name in [container.name] + ([container.sequence_name] if container.kind == "item" else []):
                if name in classes:
                    raise SchemaError(schema.relative, container.line, f"class '{name}' is declared twice")
                classes[name] = container
            check_rows(container, uses)
    for schema in schemas:
        for container in schema.classes:
            for attribute in container.attributes:
                if attribute.kind == "sequence" and attribute.arguments[0] not in classes:
                    raise SchemaError(attribute.relative, attribute.line,
                                      f"unknown sequence class '{attribute.arguments[0]}'")
            for child in container.children:
                target = classes.get(child.class_name)
                if target is None or target.kind != child.kind:
                    raise SchemaError(schema.relative, child.line, f"unknown {child.kind} class '{child.class_name}'")
    return classes


def check_rows(container, uses):
    """Checks the expanded rows of a class. uses gives, for each row that came from a family, the
    family and the line of its 'use': the error is at the row, in the family's file, and names
    the 'use' too."""
    relative = container.schema.relative
    names, tags = {}, {}  # the first row of each name and tag
    for attribute, use in zip(container.attributes, uses):
        where = container.name + (f" (through 'use {use[0]}' at {relative}:{use[1]})" if use else "")
        error = lambda message: SchemaError(attribute.relative, attribute.line, message)
        tag = (attribute.group, attribute.element, attribute.private)
        if attribute.name in names:
            raise error(f"attribute '{attribute.name}' appears twice in {where}, first at {names[attribute.name].location}")
        if tag in tags:
            raise error(f"tag {attribute.tag_text} appears twice in {where}, first at {tags[tag].location}")
        names[attribute.name] = tags[tag] = attribute
        if attribute.private and "private-creator" not in container.options:
            raise error(f"private attribute in {where}, which names no private-creator")
    if container.kind == "item" and container.options.get("placeholder") and container.attributes:
        raise SchemaError(relative, container.line, f"placeholder item {container.name} declares attributes")
    if container.options.get("images-own") and not any(
            a.kind == "sequence" and a.arguments[0] == "ReferencedImageSequence" for a in container.attributes):
        raise SchemaError(relative, container.line, f"{container.name} passes its own images but holds no ReferencedImageSequence")
