#include "refcntr/platform/MAttributeTag.h"

namespace refcntr {

RWCString MAttributeTag::ToString() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    char text[12] = {'(', 0, 0, 0, 0, ',', 0, 0, 0, 0, ')', '\0'};
    for (int i = 0; i < 4; ++i) {
        text[1 + i] = digits[(itsGroup >> (12 - 4 * i)) & 0xF];
        text[6 + i] = digits[(itsElement >> (12 - 4 * i)) & 0xF];
    }
    return RWCString(text, 11);
}

}  // namespace refcntr
