#include "refcntr/platform/AETitle.h"

#include <cstring>

namespace refcntr {

AETitle::AETitle() : itsLength(itsCapacity) {
    std::memset(itsTitle, ' ', itsCapacity);
    itsTitle[itsCapacity] = '\0';
}

AETitle::AETitle(const char* title) : AETitle() { Set(title); }

void AETitle::Set(const char* title) {
    std::memset(itsTitle, ' ', itsCapacity);
    itsTitle[itsCapacity] = '\0';
    itsLength = itsCapacity;
    if (title == nullptr) return;
    unsigned length = 0;
    while (length < itsCapacity && title[length] != '\0') {
        itsTitle[length] = title[length];
        ++length;
    }
    itsLength = length;
}

}  // namespace refcntr
