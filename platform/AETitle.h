// A fixed-width application entity title: 16 characters and a length.
#pragma once

#include "refcntr/platform/Types.h"

namespace refcntr {

class AETitle {
public:
    static constexpr unsigned itsCapacity = 16;

    // Length 16, every character a blank.
    AETitle();
    explicit AETitle(const char* title);

    // Copies at most 16 characters of a terminated text; the length becomes that count and the
    // rest of the title is blank-filled. A null text leaves the blank default.
    void Set(const char* title);

    const char* Get() const { return itsTitle; }  // terminated; itsLength characters are meaningful
    unsigned GetLength() const { return itsLength; }
    RWCString ToString() const { return RWCString(itsTitle, itsLength); }

private:
    char itsTitle[itsCapacity + 1];
    unsigned itsLength;
};

}  // namespace refcntr
