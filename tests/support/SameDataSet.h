// The comparison of two data sets element by element, sequence items included: DCMTK's parse of
// two files, or two of the library's own data sets. Each is flattened into its elements by path
// ("(0070,0001)[0](0070,0008)"), so that a difference is reported where it is.
#pragma once

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr::testing {

struct Comparison {
    explicit Comparison(bool vrs = true) : sameVRs(vrs) {}
    bool sameVRs;                     // false across implicit VR, where the dictionary gives the VRs
    bool numbersAsValues = false;     // DS and IS of DCMTK's parse compared by the numbers they hold
    bool moreAllowed = false;         // the actual data set may hold elements the expected one lacks
    bool metaGroup = true;            // false: group 0002 is left out on both sides
    std::vector<DcmTagKey> anyValue;  // elements that must be there whatever their value
};

struct FlatElement {
    DcmTagKey tag;
    std::string vr;
    std::string value;  // text without its pad, or the little-endian bytes in hex, or "<n> items"
};
using FlatElements = std::map<std::string, FlatElement>;

inline std::string hexOf(const unsigned char* bytes, std::size_t length) {
    std::string hex;
    char digits[3];
    for (std::size_t i = 0; i < length; ++i) {
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        hex += digits;
    }
    return hex;
}

inline std::string valueText(DcmElement& element, const Comparison& how) {
    const DcmEVR vr = element.ident();
    if (how.numbersAsValues && (vr == EVR_DS || vr == EVR_IS)) {
        std::string text;
        char number[32];
        for (unsigned long i = 0; i < element.getVM(); ++i) {
            Float64 decimal = 0;
            Sint32 integer = 0;
            if (vr == EVR_DS ? element.getFloat64(decimal, i).bad() : element.getSint32(integer, i).bad())
                return "unparsable";
            if (vr == EVR_DS)
                std::snprintf(number, sizeof number, "%.17g\\", decimal);
            else
                std::snprintf(number, sizeof number, "%d\\", int(integer));
            text += number;
        }
        return text;
    }
    if (element.isaString()) {
        OFString value;
        element.getOFStringArray(value);
        return value.c_str();
    }
    const Uint32 length = element.getLength();
    std::string bytes(length, '\0');
    if (length > 0 && element.getPartialValue(bytes.data(), 0, length, nullptr, EBO_LittleEndian).bad())
        return "unreadable";
    return hexOf(reinterpret_cast<const unsigned char*>(bytes.data()), length);
}

inline void flatten(DcmItem& item, const std::string& path, const Comparison& how, FlatElements& into) {
    for (unsigned long i = 0; i < item.card(); ++i) {
        DcmElement& element = *item.getElement(i);
        if (!how.metaGroup && element.getGTag() == 0x0002) continue;
        const std::string at = path + element.getTag().toString().c_str();
        FlatElement& flat = into[at] = {element.getTag(), DcmVR(element.ident()).getVRName(), ""};
        if (element.ident() != EVR_SQ) {
            flat.value = valueText(element, how);
            continue;
        }
        auto& items = static_cast<DcmSequenceOfItems&>(element);
        flat.value = std::to_string(items.card()) + " items";
        for (unsigned long n = 0; n < items.card(); ++n)
            flatten(*items.getItem(n), at + "[" + std::to_string(n) + "]", how, into);
    }
}

inline void flatten(const DICOMObject& data, const std::string& path, const Comparison& how, FlatElements& into) {
    for (const auto& element : data) {
        if (!how.metaGroup && element->GetGroup() == 0x0002) continue;
        const std::string at = path + element->GetTag().ToString();
        FlatElement& flat = into[at] = {DcmTagKey(element->GetGroup(), element->GetElement()),
                                        MDDEntry::UShortToTypeString(element->GetVRCode()), ""};
        if (const SequenceVR* sequence = element->GetAsSequenceVR()) {
            flat.value = std::to_string(sequence->GetNumberOfItems()) + " items";
            for (unsigned n = 0; n < sequence->GetNumberOfItems(); ++n)
                flatten(*sequence->GetSequenceItems()[n], at + "[" + std::to_string(n) + "]", how, into);
            continue;
        }
        std::unique_ptr<VR> copy(element->Clone());
        if (copy->GetEndian() == BigEndian) copy->SwapDataEndian();
        flat.value = hexOf(copy->GetData(), copy->GetData() ? copy->GetLength() : 0);
    }
}

// Every element of `expected` is in `actual` with the same value (and VR), and `actual` holds
// nothing else; `how` relaxes that. `where` starts each message.
inline void expectSameElements(const FlatElements& expected, const FlatElements& actual, const std::string& where,
                               const Comparison& how) {
    for (const auto& [path, element] : actual) {
        if (!how.moreAllowed && expected.count(path) == 0) ADD_FAILURE() << where << path << " was added";
    }
    for (const auto& [path, element] : expected) {
        const auto found = actual.find(path);
        if (found == actual.end()) {
            ADD_FAILURE() << where << path << " is missing";
            continue;
        }
        if (how.sameVRs) {
            EXPECT_EQ(found->second.vr, element.vr) << where << path;
        }
        if (std::find(how.anyValue.begin(), how.anyValue.end(), element.tag) == how.anyValue.end()) {
            EXPECT_EQ(found->second.value, element.value) << where << path;
        }
    }
}

// Two DCMTK items (DcmItem) or two of the library's data sets (DICOMObject).
template <class DataSet, class Other>
void expectSameDataSet(DataSet& expected, Other& actual, const std::string& where = "",
                       const Comparison& how = Comparison()) {
    FlatElements before, after;
    flatten(expected, "", how, before);
    flatten(actual, "", how, after);
    expectSameElements(before, after, where, how);
}

}  // namespace refcntr::testing
