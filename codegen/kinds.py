"""The attribute kinds: for each, the C++ member it is stored in, its accessors, and the calls
that read, write and dump it. The calls go to the hand-written functions of core/
(AttributeReader.h, AttributeWriter.h, AttributeDump.h); nothing here is an algorithm."""

ARRAY_VALUE_TYPES = {
    "uint8": "unsigned char",
    "uint16": "UINT16",
    "int16": "INT16",
    "int32": "int",
    "uint32": "UINT32",
    "float": "float",
    "double": "double",
}

# flag -> the kinds it applies to
FLAGS = {
    "empty-when-absent": {"text"},
    "not-read": {"aetitle"},
    "always-written": {"sequence"},
    "copying-setter": {"ds-array", "is-array"},
    "bytes": {"array", "ambiguous"},
    "untyped-setter": {"ambiguous"},
    "write-as": {"array"},
}

# flags that take a value (flag=value), and what the value is
FLAG_VALUES = {
    "write-as": "the VR to write with where the dictionary leaves a choice, e.g. write-as=OW",
}

# The VRs whose values are character strings.
STRING_VRS = {"AE", "AS", "CS", "DA", "DS", "DT", "IS", "LO", "LT", "PN", "SH", "ST", "TM", "UC", "UI", "UR", "UT"}

# kind -> the VRs its member and calls can hold; "array" and "ambiguous" by value type. A row
# whose VR is not listed for its kind is refused.
VRS = {
    "text": STRING_VRS,
    # LT, ST, UR and UT hold one value, backslashes included, so they are never split.
    "texts": STRING_VRS - {"LT", "ST", "UR", "UT"},
    "is": {"IS"},
    "ds": {"DS"},
    "us": {"US"},
    "ss": {"SS"},
    "ul": {"UL"},
    "fl": {"FL"},
    "us-or-ss": {"US|SS"},
    "is-array": {"IS"},
    "ds-array": {"DS"},
    "array uint8": {"OB"},
    # AT values are pairs of 16-bit group and element numbers.
    "array uint16": {"US", "OW", "AT", "OB|OW"},
    "array int16": {"SS"},
    "array int32": {"SL"},
    "array uint32": {"UL", "OL"},
    "array float": {"FL", "OF"},
    "array double": {"FD", "OD"},
    "bytes": {"OB"},
    "ambiguous uint8": {"OB|OW"},
    "ambiguous uint16": {"US|SS", "US|SS|OW"},
    "aetitle": {"AE"},
    "sequence": {"SQ"},
}


def held_kind(kind, arguments):
    """The key of VRS for a row: the kind, with the value type for arrays."""
    return f"{kind} {arguments[0]}" if kind in ("array", "ambiguous") else kind


def hex4(number):
    return f"0x{number:04X}"


class Context:
    """Where an accessor is generated: the class, the attribute's presence bit, its path."""

    def __init__(self, container, attribute, bit):
        self.container = container
        self.attribute = attribute
        self.bit = bit
        self.name = attribute.name
        self.member = attribute.member
        self.path = f"{container.name}.{attribute.name}Element"

    @property
    def tag_arguments(self):
        a = self.attribute
        if a.private:
            creator = self.container.options["private-creator"]
            return f'"{creator}", 0x{a.element:02X}, {hex4(a.group)}'
        return f"{hex4(a.group)}, {hex4(a.element)}"

    @property
    def vr_argument(self):
        """The last argument of a writer whose value type does not fix the VR: the VR the element
        is written with where the row names one VR (or write-as does), so that saving looks up no
        dictionary; nothing for a choice of VRs or a private attribute, which the dictionaries type."""
        a = self.attribute
        vr = a.flag_values.get("write-as") or a.vr
        return "" if a.private or "|" in vr else f", VRCode::{vr}"

    def set_and_report(self, *statements):
        body = list(statements) + [f"itsPresence.set({self.bit});", f'reportChange("{self.path}");']
        return body


class Kind:
    argument_count = 0
    description_kind = ""
    reader = ""
    writer = ""
    typed_by_vr = False  # whether the writer takes the VR (a text's or array's VR is not its C++ type's)

    def members(self, c):
        return [(self.storage(c), c.member)]

    def storage(self, c):
        raise NotImplementedError

    def value_type(self, c):
        return ""

    def declarations(self, c):
        """Accessor declarations (inline when trivial) for the class body."""
        raise NotImplementedError

    def definitions(self, c):
        """(signature, body lines) of out-of-line accessors."""
        return []

    def presence_accessors(self, c):
        return [
            f"int is{c.name}ElementPresent() const {{ return itsPresence.test({c.bit}); }}",
            f"void set{c.name}ElementPresent(int flag) {{ itsPresence.set({c.bit}, flag); }}",
        ]

    def read(self, c, found=None):
        """The reading call; `found` names an element found already, else it is looked up by tag."""
        source = found or c.tag_arguments
        return [f"created->itsPresence.set({c.bit}, attribute::{self.reader}(data, {source}, created->{c.member}));"]

    def write(self, c):
        vr = c.vr_argument if self.typed_by_vr else ""
        return [f"if (itsPresence.test({c.bit})) attribute::{self.writer}(data, factory, {c.tag_arguments}, {c.member}{vr});"]

    def dump(self, c):
        raise NotImplementedError


class Scalar(Kind):
    def __init__(self, cpp_type, reader, writer, description_kind, typed_by_vr=False):
        self.cpp_type = cpp_type
        self.reader = reader
        self.writer = writer
        self.description_kind = description_kind
        self.typed_by_vr = typed_by_vr

    def storage(self, c):
        return self.cpp_type

    def declarations(self, c):
        return [f"{self.cpp_type} get{c.name}Element() const {{ return {c.member}; }}",
                f"void set{c.name}Element({self.cpp_type} value);"] + self.presence_accessors(c)

    def definitions(self, c):
        return [(f"void {{cls}}::set{c.name}Element({self.cpp_type} value)",
                 c.set_and_report(f"{c.member} = value;"))]

    def dump(self, c):
        cast = "double" if self.cpp_type in ("double", "FLOAT") else "long long"
        return [f'dump.number("{c.member}", itsPresence.test({c.bit}), static_cast<{cast}>({c.member}));']


class Text(Kind):
    description_kind = "Text"
    reader = "readText"
    writer = "writeText"
    typed_by_vr = True

    def storage(self, c):
        return "TextValue"

    def declarations(self, c):
        return [f"RWCString get{c.name}Element() const {{ return {c.member}; }}",
                f"void set{c.name}Element(const RWCString& value);"] + self.presence_accessors(c)

    def definitions(self, c):
        return [(f"void {{cls}}::set{c.name}Element(const RWCString& value)",
                 c.set_and_report(f"{c.member} = value;"))]

    def write(self, c):
        lines = super().write(c)
        if "empty-when-absent" in c.attribute.flags:
            a = c.attribute
            lines.append(f"else attribute::writeEmpty(data, {hex4(a.group)}, {hex4(a.element)}{c.vr_argument});")
        return lines

    def dump(self, c):
        return [f'dump.text("{c.member}", itsPresence.test({c.bit}), {c.member});']


class Texts(Kind):
    description_kind = "Texts"
    reader = "readTexts"
    writer = "writeTexts"
    typed_by_vr = True

    def storage(self, c):
        return "RWTValOrderedVector<RWCString>"

    def declarations(self, c):
        return [f"const RWTValOrderedVector<RWCString>& get{c.name}Element() const {{ return {c.member}; }}",
                f"void set{c.name}Element(const RWTValOrderedVector<RWCString>& values);"] + self.presence_accessors(c)

    def definitions(self, c):
        return [(f"void {{cls}}::set{c.name}Element(const RWTValOrderedVector<RWCString>& values)",
                 c.set_and_report(f"{c.member} = values;"))]

    def dump(self, c):
        return [f'dump.texts("{c.member}", itsPresence.test({c.bit}), {c.member});']


class USOrSS(Scalar):
    def __init__(self):
        super().__init__("UINT16", "readUSOrSS", "writeUS", "USOrSS")

    def members(self, c):
        return [("UINT16", c.member), ("RWCString", f"{c.member}ActualDataTypeCode")]

    def declarations(self, c):
        return super().declarations(c) + [
            f"// The VR the value was read with (\"US\" or \"SS\"); save always writes US.",
            f"RWCString get{c.name}ElementActualDataTypeCode() const {{ return {c.member}ActualDataTypeCode; }}",
            f"// Sets presence bit 0 of the class, not the bit of the value it describes.",
            f"void set{c.name}ElementActualDataTypeCode(const RWCString& typeCode);",
        ]

    def definitions(self, c):
        return super().definitions(c) + [
            (f"void {{cls}}::set{c.name}ElementActualDataTypeCode(const RWCString& typeCode)",
             [f"{c.member}ActualDataTypeCode = typeCode;", "itsPresence.set(0);",
              f'reportChange("{c.path}ActualDataTypeCode");'])]

    def read(self, c):
        return [f"created->itsPresence.set({c.bit}, attribute::readUSOrSS(data, {c.tag_arguments}, created->{c.member}, "
                f"created->{c.member}ActualDataTypeCode));"]


class AETitleKind(Kind):
    description_kind = "AETitle"

    def storage(self, c):
        return "AETitle"

    def declarations(self, c):
        return [f"AETitle get{c.name}Element() const {{ return {c.member}; }}",
                f"void set{c.name}Element(const AETitle& value);"] + self.presence_accessors(c)

    def definitions(self, c):
        return [(f"void {{cls}}::set{c.name}Element(const AETitle& value)",
                 c.set_and_report(f"{c.member}.Set(value.ToString().c_str());"))]

    def read(self, c):
        if "not-read" in c.attribute.flags:
            return [f"// {c.member} is never read: it reaches the container only through its setter."]
        return [f"created->itsPresence.set({c.bit}, attribute::readAETitle(data, {c.tag_arguments}, created->{c.member}));"]

    def write(self, c):
        return [f"if (itsPresence.test({c.bit})) attribute::writeAETitle(data, factory, {c.tag_arguments}, {c.member}"
                f"{c.vr_argument});"]

    def dump(self, c):
        return [f'dump.aeTitle("{c.member}", itsPresence.test({c.bit}), {c.member});']


class ArrayKind(Kind):
    """Numbers held in an owned heap array with a count."""

    def element_type(self, c):
        raise NotImplementedError

    def unit(self, c):
        return "CountUnit::Bytes" if "bytes" in c.attribute.flags else "CountUnit::Values"

    def storage(self, c):
        return f"OwnedArray<{self.element_type(c)}, {self.unit(c)}>"

    def value_type(self, c):
        return self.element_type(c)

    def length_word(self, c):
        return "bytes" if "bytes" in c.attribute.flags else "values"

    def declarations(self, c):
        t = self.element_type(c)
        lines = [f"const {t}* get{c.name}Element() const {{ return {c.member}.values(); }}",
                 f"{t} get{c.name}Element(unsigned index) const {{ return {c.member}.at(index, \"{c.name}\"); }}  // throws std::out_of_range past the count",
                 f"unsigned get{c.name}ElementLength() const {{ return {c.member}.count(); }}  // in {self.length_word(c)}"]
        if "copying-setter" in c.attribute.flags:
            lines.append(f"void set{c.name}Element(const {t}* values, unsigned count);  // copies the values")
        elif "untyped-setter" in c.attribute.flags:
            lines.append(f"void set{c.name}Element(void* values, unsigned length);  // takes ownership (new[] of {t})")
        elif self.length_word(c) == "bytes" and t != "unsigned char":
            lines += [f"// Takes ownership of new {t}[count], count being the length in bytes: indexes below",
                      f"// count are values of the array, and save writes its first count bytes.",
                      f"void set{c.name}Element({t}* values, unsigned count);"]
        else:
            lines.append(f"void set{c.name}Element({t}* values, unsigned count);  // takes ownership (new[])")
        if "untyped-setter" not in c.attribute.flags:
            lines.append(f"void set{c.name}Element({t} value, unsigned index);  // within the count only")
        return lines + self.presence_accessors(c)

    def definitions(self, c):
        t = self.element_type(c)
        report = [f"itsPresence.set({c.bit});", f'reportChange("{c.path}");']
        if "copying-setter" in c.attribute.flags:
            first = (f"void {{cls}}::set{c.name}Element(const {t}* values, unsigned count)",
                     [f"{c.member}.assignCopy(values, count);"] + report)
        elif "untyped-setter" in c.attribute.flags:
            first = (f"void {{cls}}::set{c.name}Element(void* values, unsigned length)",
                     [f"if (!{c.member}.adopt(static_cast<{t}*>(values), length)) return;"] + report)
        else:
            first = (f"void {{cls}}::set{c.name}Element({t}* values, unsigned count)",
                     [f"if (!{c.member}.adopt(values, count)) return;"] + report)
        result = [first]
        if "untyped-setter" not in c.attribute.flags:
            result.append((f"void {{cls}}::set{c.name}Element({t} value, unsigned index)",
                           [f"if (!{c.member}.setValue(value, index)) return;"] + report))
        return result

    def dump(self, c):
        if "bytes" in c.attribute.flags or self.element_type(c) == "unsigned char":
            return [f'dump.byteCount("{c.member}", itsPresence.test({c.bit}), {c.member}.byteLength());']
        return [f'dump.array("{c.member}", itsPresence.test({c.bit}), {c.member});']


class TextArray(ArrayKind):
    typed_by_vr = True

    def __init__(self, element_type, reader, writer, description_kind):
        self.fixed_type = element_type
        self.reader = reader
        self.writer = writer
        self.description_kind = description_kind

    def element_type(self, c):
        return self.fixed_type


class RawArray(ArrayKind):
    argument_count = 1
    description_kind = "RawArray"

    def element_type(self, c):
        return ARRAY_VALUE_TYPES[c.attribute.arguments[0]]

    def read(self, c, found=None):
        source = found or c.tag_arguments
        return [f"created->itsPresence.set({c.bit}, attribute::readRawArray(data, {source}, created->{c.member}));"]

    def write(self, c):
        return [f"if (itsPresence.test({c.bit})) attribute::writeRawArray(data, factory, {c.tag_arguments}, "
                f"{c.member}.values(), {c.member}.byteLength(){c.vr_argument});"]


class Bytes(RawArray):
    argument_count = 0
    description_kind = "Bytes"

    def element_type(self, c):
        return "unsigned char"

    def unit(self, c):
        return "CountUnit::Bytes"

    def length_word(self, c):
        return "bytes"

    def write(self, c):
        return [f"if (itsPresence.test({c.bit})) attribute::writeBytes(data, factory, {c.tag_arguments}, "
                f"{c.member}.values(), {c.member}.byteLength(){c.vr_argument});"]


class Ambiguous(RawArray):
    """Binary values whose dictionary VR is a choice; the VR read is kept and used on save."""
    argument_count = 2
    description_kind = "AmbiguousArray"

    def members(self, c):
        return [(self.storage(c), c.member), ("RWCString", f"{c.member}ActualDataTypeCode")]

    def declarations(self, c):
        return super().declarations(c) + [
            f"// The VR to write the values with ({c.attribute.arguments[1]}); save throws while it is empty.",
            f"RWCString get{c.name}ElementActualDataTypeCode() const {{ return {c.member}ActualDataTypeCode; }}",
            f"void set{c.name}ElementActualDataTypeCode(const RWCString& typeCode);",
        ]

    def definitions(self, c):
        return super().definitions(c) + [
            (f"void {{cls}}::set{c.name}ElementActualDataTypeCode(const RWCString& typeCode)",
             [f"{c.member}ActualDataTypeCode = typeCode;", f'reportChange("{c.path}ActualDataTypeCode");'])]

    def read(self, c):
        return super().read(c) + [
            f"created->{c.member}ActualDataTypeCode = attribute::readTypeCode(data, {c.tag_arguments});"]

    def write(self, c):
        return [f"if (itsPresence.test({c.bit})) attribute::writeAmbiguousArray(data, factory, {c.tag_arguments}, "
                f"{c.member}.values(), {c.member}.byteLength(), {c.member}ActualDataTypeCode, "
                f'"{c.name}", "{c.attribute.arguments[1]}");']


class SequenceKind(Kind):
    argument_count = 1
    description_kind = "Sequence"

    def storage(self, c):
        return c.attribute.arguments[0]

    def declarations(self, c):
        s = self.storage(c)
        return [f"{s}& get{c.name}Element() {{ return {c.member}; }}",
                f"const {s}& get{c.name}Element() const {{ return {c.member}; }}",
                f"int is{c.name}ElementPresent() const {{ return {c.member}.isPresent(); }}",
                f"void set{c.name}ElementPresent(int flag) {{ {c.member}.setPresent(flag); }}"]

    def read(self, c, found=None):
        return [f"attribute::readSequence(data, {found or c.tag_arguments}, created->{c.member});"]

    def write(self, c):
        always = ", true" if "always-written" in c.attribute.flags else ""
        return [f"attribute::writeSequence(data, factory, {c.tag_arguments}, {c.member}{always});"]

    def dump(self, c):
        return [f'dump.sequence("{c.member}", {c.member});']


# The kinds whose readers also take an element found already (AttributeReader.h), so that an
# item's create can read its elements in one pass.
FOUND_ELEMENT_KINDS = {"text", "us", "array", "is-array", "sequence"}

KINDS = {
    "text": Text(),
    "texts": Texts(),
    "is": Scalar("int", "readIS", "writeIS", "IS", typed_by_vr=True),
    "ds": Scalar("double", "readDS", "writeDS", "DS", typed_by_vr=True),
    "us": Scalar("UINT16", "readUS", "writeUS", "US"),
    "ss": Scalar("INT16", "readSS", "writeSS", "SS"),
    "ul": Scalar("UINT32", "readUL", "writeUL", "UL"),
    "fl": Scalar("FLOAT", "readFL", "writeFL", "FL"),
    "us-or-ss": USOrSS(),
    "is-array": TextArray("int", "readISArray", "writeISArray", "ISArray"),
    "ds-array": TextArray("double", "readDSArray", "writeDSArray", "DSArray"),
    "array": RawArray(),
    "bytes": Bytes(),
    "ambiguous": Ambiguous(),
    "aetitle": AETitleKind(),
    "sequence": SequenceKind(),
}
