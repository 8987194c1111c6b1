// Builds, from a generated class's description, a data set holding a valid value for every
// attribute the class declares, in either byte order; and joins the lists of generated classes.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "refcntr/core/ClassDescription.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr::testing {

// The types of two ::testing::Types lists, in one list.
template <class... Lists>
struct Concatenate;
template <class... First, class... Second>
struct Concatenate<::testing::Types<First...>, ::testing::Types<Second...>> {
    using type = ::testing::Types<First..., Second...>;
};

inline UINT16 plainCodeFor(const AttributeDescription& attribute) {
    const UINT16 code = attribute.privateCreator
                            ? InstanceSpecificDataDictionary::TypeVR(attribute.privateCreator, UINT8(attribute.element),
                                                                     attribute.group)
                            : InstanceSpecificDataDictionary::TypeVR(attribute.group, attribute.element);
    switch (code) {
    case VRCode::US_OR_SS: return VRCode::US;
    case VRCode::OW_OR_OB: return VRCode::OW;
    case VRCode::OW_OR_US_OR_SS: return VRCode::US;
    default: return code;
    }
}

template <class T>
std::vector<unsigned char> bytesOf(std::initializer_list<T> values) {
    std::vector<unsigned char> bytes(values.size() * sizeof(T));
    std::memcpy(bytes.data(), values.begin(), bytes.size());
    return bytes;
}

// Native-order value bytes of a sample for the attribute; every text has even length.
inline std::vector<unsigned char> sampleValue(const AttributeDescription& attribute) {
    auto text = [](const char* value) { return std::vector<unsigned char>(value, value + std::strlen(value)); };
    switch (attribute.kind) {
    case AttributeKind::Text: return text("SAMPLE");
    case AttributeKind::Texts: return text("AB\\CDE");
    case AttributeKind::IS: return text("12");
    case AttributeKind::DS: return text("1.5 ");
    case AttributeKind::ISArray: return text("1\\2 ");
    case AttributeKind::DSArray: return text("1.5\\2 ");
    case AttributeKind::AETitle: return text("STATION1");
    case AttributeKind::US:
    case AttributeKind::USOrSS: return bytesOf<UINT16>({7});
    case AttributeKind::SS: return bytesOf<INT16>({-7});
    case AttributeKind::UL: return bytesOf<UINT32>({70000});
    case AttributeKind::FL: return bytesOf<float>({1.5f});
    case AttributeKind::Bytes: return {1, 2, 3, 4};
    case AttributeKind::RawArray:
    case AttributeKind::AmbiguousArray: {
        const std::string type = attribute.valueType;
        if (type == "INT16") return bytesOf<INT16>({-1, 2});
        if (type == "int") return bytesOf<int>({-100000, 2});
        if (type == "UINT32") return bytesOf<UINT32>({1, 100000});
        if (type == "float") return bytesOf<float>({1.5f, -2.25f});
        if (type == "double") return bytesOf<double>({1.5, -2.25});
        if (type == "unsigned char") return {1, 2, 3, 4};
        return bytesOf<UINT16>({1, 65535});
    }
    default: return {};
    }
}

// Stores a sample of every attribute of the class (held sequences as empty sequence elements).
inline void putSamples(DICOMDataObject& data, const ClassDescription& description) {
    for (unsigned i = 0; i < description.attributeCount; ++i) {
        const AttributeDescription& attribute = description.attributes[i];
        if (attribute.kind == AttributeKind::Module || attribute.kind == AttributeKind::Entity) continue;
        if (attribute.kind == AttributeKind::Sequence) {
            data.ReplaceVR(new SequenceVR(attribute.group, attribute.element, data.GetEndian()));
            continue;
        }
        const std::vector<unsigned char> value = sampleValue(attribute);
        VR* element = new VR(attribute.group, attribute.element, plainCodeFor(attribute), data.GetEndian());
        element->SetData(value.data(), UINT32(value.size()));
        if (data.GetEndian() != VR::itsNativeEndian) element->SwapDataEndian();
        if (attribute.privateCreator)
            data.ReplaceVR(attribute.privateCreator, element);
        else
            data.ReplaceVR(element);
    }
}

// The element of an attribute in a data set, standard or private.
inline const VR* findElement(const DICOMDataObject& data, const AttributeDescription& attribute) {
    if (attribute.privateCreator)
        return data.GetVR(attribute.privateCreator, UINT8(attribute.element), attribute.group);
    return data.GetVR(attribute.group, attribute.element);
}

}  // namespace refcntr::testing
