#include "refcntr/core/AttributeDump.h"

#include "refcntr/core/ContainerUtils.h"
#include "refcntr/core/DumpStream.h"
#include "refcntr/core/Module.h"
#include "refcntr/core/SequenceBase.h"

namespace refcntr {

namespace {
const char* const notPresent = " = <not present>";
}

RWCString AttributeDump::take() {
    flushDumpText(itsResult);
    return std::move(itsResult);
}

AttributeDump::AttributeDump(int indent) : itsIndent(indent), itsPad(2 * indent, ' ') { itsResult.reserve(2048); }

void AttributeDump::startLine(const char* name) {
    if (!itsFirstLine) {
        itsResult += '\n';
        itsResult += itsPad;
    }
    itsFirstLine = false;
    itsResult += name;
}

bool AttributeDump::valueLine(const char* name, int present) {
    startLine(name);
    itsResult += present ? " = " : notPresent;
    return present;
}

void AttributeDump::text(const char* name, int present, const RWCString& value) {
    if (valueLine(name, present)) itsResult += ContainerUtils::escapeString(value, true);
}

void AttributeDump::aeTitle(const char* name, int present, const AETitle& value) {
    text(name, present, value.ToString());
}

void AttributeDump::texts(const char* name, int present, const RWTValOrderedVector<RWCString>& values) {
    if (!openBlock(name, present)) return;
    for (unsigned i = 0; i < values.size(); ++i)
        blockValue(name, i, ContainerUtils::escapeString(values[i], true), i + 1 == values.size());
    closeBlock();
}

void AttributeDump::number(const char* name, int present, long long value) {
    if (valueLine(name, present)) itsResult += formatValue(value);
}

void AttributeDump::number(const char* name, int present, double value) {
    if (valueLine(name, present)) itsResult += formatValue(value);
}

void AttributeDump::byteCount(const char* name, int present, unsigned byteLength) {
    if (!valueLine(name, present)) return;
    itsResult += '<';
    itsResult += formatValue((long long)byteLength);
    itsResult += " bytes>";
}

void AttributeDump::sequence(const char* name, const SequenceBase& sequence) {
    startLine(name);
    if (!sequence.isPresent()) {
        itsResult += notPresent;
        return;
    }
    itsResult += " = \n";
    itsResult += itsPad;
    itsResult += "{\n";
    flushDumpText(itsResult);
    itsResult += sequence.toString(itsIndent);
    itsResult += itsPad;
    itsResult += "}";
}

void AttributeDump::module(const char* name, const Module* module) {
    startLine(name);
    if (!module) {
        itsResult += notPresent;
    } else if (module->isEmpty()) {
        itsResult += " = <empty>";
    } else {
        childBlock(*module);
    }
}

void AttributeDump::child(const char* name, const PSChangeHandler* child) {
    startLine(name);
    if (!child) {
        itsResult += notPresent;
        return;
    }
    childBlock(*child);
}

void AttributeDump::childBlock(const PSChangeHandler& child) {
    itsResult += " =\n";
    itsResult += itsPad;
    itsResult += "{\n";
    itsResult += itsPad;
    itsResult += "  ";
    flushDumpText(itsResult);
    itsResult += child.toString(itsIndent + 1);
    itsResult += '\n';
    itsResult += itsPad;
    itsResult += '}';
}

bool AttributeDump::openBlock(const char* name, int present) {
    startLine(name);
    if (!present) {
        itsResult += notPresent;
        return false;
    }
    itsResult += " = \n";
    itsResult += itsPad;
    itsResult += "{";
    return true;
}

void AttributeDump::blockValue(const char* name, unsigned index, const RWCString& value, bool last) {
    itsResult += '\n';
    itsResult += itsPad;
    itsResult += "  ";
    itsResult += name;
    itsResult += '[';
    itsResult += ContainerUtils::toString(int(index));
    itsResult += "] = ";
    itsResult += value;
    if (!last) itsResult += ',';
}

void AttributeDump::closeBlock() {
    itsResult += '\n';
    itsResult += itsPad;
    itsResult += '}';
}

RWCString AttributeDump::formatValue(double value) { return ContainerUtils::doubleArrayToDS(&value, 1); }

RWCString AttributeDump::formatValue(long long value) { return ContainerUtils::toString(value); }

}  // namespace refcntr
