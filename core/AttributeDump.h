// The text dump of a container's attributes: one line per attribute in declaration order,
// "itsXElement = value" or "itsXElement = <not present>", lines joined by a newline and the
// container's indentation, no indentation before the first line and no newline after the last.
#pragma once

#include <utility>

#include "refcntr/core/OwnedArray.h"
#include "refcntr/core/TextValue.h"
#include "refcntr/platform/AETitle.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

class Module;
class PSChangeHandler;
class SequenceBase;

class AttributeDump {
public:
    explicit AttributeDump(int indent);

    void text(const char* name, int present, const RWCString& value);
    void text(const char* name, int present, const TextValue& value) { text(name, present, RWCString(value)); }
    void texts(const char* name, int present, const RWTValOrderedVector<RWCString>& values);
    void aeTitle(const char* name, int present, const AETitle& value);
    void number(const char* name, int present, long long value);
    void number(const char* name, int present, double value);
    // Numbers in a braced block, one "name[i] = value" line each.
    template <class T, CountUnit Unit>
    void array(const char* name, int present, const OwnedArray<T, Unit>& values) {
        if (!openBlock(name, present)) return;
        for (unsigned i = 0, count = values.count(); i < count; ++i)
            blockValue(name, i, formatValue(values.values()[i]), i + 1 == count);
        closeBlock();
    }
    // Byte buffers print their size only: "<512 bytes>".
    void byteCount(const char* name, int present, unsigned byteLength);
    // A held sequence: " = <not present>", or its items in a braced block.
    void sequence(const char* name, const SequenceBase& sequence);

    // A module held by an entity: " = <not present>" when null, " = <empty>" when it holds
    // nothing, else " =", a newline and its dump one level deeper in braces.
    void module(const char* name, const Module* module);
    // An entity held by an IOD: " = <not present>" when null, else its dump in braces.
    void child(const char* name, const PSChangeHandler* child);

    // The dump, moved out (what is left of it while writeDump streams it); the object is done with.
    RWCString take();

private:
    void startLine(const char* name);
    // Starts the line of a single value: " = " when present (true), " = <not present>" if not.
    bool valueLine(const char* name, int present);
    bool openBlock(const char* name, int present);
    void blockValue(const char* name, unsigned index, const RWCString& value, bool last);
    void closeBlock();
    void childBlock(const PSChangeHandler& child);
    static RWCString formatValue(double value);
    static RWCString formatValue(float value) { return formatValue(double(value)); }
    static RWCString formatValue(long long value);
    static RWCString formatValue(int value) { return formatValue((long long)value); }
    static RWCString formatValue(unsigned value) { return formatValue((long long)value); }
    static RWCString formatValue(short value) { return formatValue((long long)value); }
    static RWCString formatValue(unsigned short value) { return formatValue((long long)value); }
    static RWCString formatValue(unsigned char value) { return formatValue((long long)value); }

    int itsIndent;
    RWCString itsPad;
    RWCString itsResult;
    bool itsFirstLine = true;
};

}  // namespace refcntr
