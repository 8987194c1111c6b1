// Whether a value written means what the value read meant, so that a round trip can tell a
// reformatted number ("10.0000" written as "10") from a changed one.
#pragma once

#include "refcntr/platform/VR.h"

namespace refcntr {

// Two elements hold the same value: decimal and integer strings value by value as numbers
// (blanks around them ignored), UIDs and other texts without their trailing pad, binary values
// byte for byte in one byte order. A value that does not parse as its VR's number is compared
// as text.
bool sameMeaning(const VR& before, const VR& after);

}  // namespace refcntr
