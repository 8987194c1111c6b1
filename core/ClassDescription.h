// What the generator knows about each generated class: its attributes in declaration order
// with tag, VR and kind. Data only; tests and tools walk it to exercise every class alike.
#pragma once

#include "refcntr/platform/Types.h"

namespace refcntr {

enum class ContainerKind { Item, Sequence, Module, Entity, IOD };

enum class AttributeKind {
    Text,   // one string
    Texts,  // a multi-valued string, one entry per value
    IS,     // an integer string held as int
    DS,     // a decimal string held as double
    US,
    SS,
    UL,
    FL,
    USOrSS,          // US or SS held as an unsigned 16-bit value, with the VR read
    ISArray,         // integer strings held as an int array
    DSArray,         // decimal strings held as a double array
    RawArray,        // binary values held as an array in native order
    Bytes,           // a byte buffer
    AmbiguousArray,  // binary values whose VR (OB or OW, US or SS, ...) is kept beside them
    AETitle,
    Sequence,  // a sequence held by value
    Module,    // a module owned by an entity
    Entity     // an entity owned by an IOD
};

struct AttributeDescription {
    const char* name;  // "CodeValue": the member is itsCodeValueElement
    UINT16 group;
    UINT16 element;  // for a private attribute, the offset within its block
    const char* vr;  // as declared: "SH", "US or SS", "SQ"
    AttributeKind kind;
    const char* valueType;       // C++ value type of arrays ("UINT16", "float", ...), else ""
    const char* privateCreator;  // null for a standard attribute
    const char* className;       // the class of a held sequence, module or entity, else ""
    bool countsBytes;            // an array whose length counts bytes
    bool writtenWhenAbsent;      // written (empty) even when absent
    bool notRead;                // not read by create
};

struct ClassDescription {
    const char* name;
    ContainerKind kind;
    const char* sequenceName;  // items: the class of the sequence that holds them
    const char* itemName;      // sequences: the class of their items
    const AttributeDescription* attributes;
    unsigned attributeCount;
};

}  // namespace refcntr
