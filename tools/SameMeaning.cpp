#include "SameMeaning.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "refcntr/platform/MDDEntry.h"

namespace refcntr {

namespace {

std::string_view textOf(const VR& element) {
    if (element.GetData() == nullptr) return {};
    return {reinterpret_cast<const char*>(element.GetData()), element.GetLength()};
}

std::string_view trimmed(std::string_view text, bool leading) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.remove_suffix(1);
    while (leading && !text.empty() && text.front() == ' ') text.remove_prefix(1);
    return text;
}

// One number of a DS or IS value, exactly as the standard library reads it; false when the
// text is not wholly a number.
bool parsed(std::string_view text, bool integer, long double& value) {
    const std::string copy(text);
    if (copy.empty()) return false;
    char* end = nullptr;
    errno = 0;
    value = integer ? static_cast<long double>(std::strtoll(copy.c_str(), &end, 10)) : std::strtold(copy.c_str(), &end);
    return errno == 0 && end == copy.c_str() + copy.size();
}

bool sameNumbers(std::string_view before, std::string_view after, bool integer) {
    for (;;) {
        const std::size_t beforeEnd = std::min(before.find('\\'), before.size());
        const std::size_t afterEnd = std::min(after.find('\\'), after.size());
        const std::string_view left = trimmed(before.substr(0, beforeEnd), true);
        const std::string_view right = trimmed(after.substr(0, afterEnd), true);
        long double leftValue = 0, rightValue = 0;
        const bool numbers = parsed(left, integer, leftValue) && parsed(right, integer, rightValue);
        if (numbers ? leftValue != rightValue : left != right) return false;
        const bool beforeDone = beforeEnd == before.size(), afterDone = afterEnd == after.size();
        if (beforeDone || afterDone) return beforeDone && afterDone;
        before.remove_prefix(beforeEnd + 1);
        after.remove_prefix(afterEnd + 1);
    }
}

// The value bytes in little-endian order.
std::string littleEndianBytes(const VR& element) {
    std::unique_ptr<VR> copy(element.Clone());
    if (copy->GetEndian() == BigEndian) copy->SwapDataEndian();
    return std::string(textOf(*copy));
}

}  // namespace

bool sameMeaning(const VR& before, const VR& after) {
    const UINT16 vrCode = before.GetVRCode();
    if (MDDEntry::IsStringType(vrCode) && MDDEntry::IsStringType(after.GetVRCode())) {
        if (vrCode == VRCode::DS || vrCode == VRCode::IS)
            return sameNumbers(textOf(before), textOf(after), vrCode == VRCode::IS);
        return trimmed(textOf(before), false) == trimmed(textOf(after), false);
    }
    return littleEndianBytes(before) == littleEndianBytes(after);
}

}  // namespace refcntr
