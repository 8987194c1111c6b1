#include "refcntr/platform/TextEncoding.h"

#include <map>
#include <memory>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcspchrs.h>

#include "refcntr/platform/DcmtkLogCapture.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

bool isAscii(const char* text, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i)
        if (static_cast<unsigned char>(text[i]) >= 0x80 || text[i] == 0x1B) return false;
    return true;
}

bool isConvertible(UINT16 vrCode) {
    switch (vrCode) {
    case VRCode::PN:
    case VRCode::SH:
    case VRCode::LO:
    case VRCode::UC:
    case VRCode::ST:
    case VRCode::LT:
    case VRCode::UT: return true;
    default: return false;
    }
}

const char* delimitersOf(UINT16 vrCode) {
    switch (vrCode) {
    case VRCode::PN: return "\\^=";
    case VRCode::ST:
    case VRCode::LT:
    case VRCode::UT: return "\r\n\t\f";
    default: return "\\";
    }
}

// Opening a converter opens iconv descriptors: each thread keeps one per character set.
DcmSpecificCharacterSet& converterFor(const RWCString& specificCharacterSet) {
    thread_local std::map<std::string, std::unique_ptr<DcmSpecificCharacterSet>> converters;
    std::unique_ptr<DcmSpecificCharacterSet>& converter = converters[specificCharacterSet];
    if (!converter) {
        auto made = std::make_unique<DcmSpecificCharacterSet>();
        const DcmtkLogCapture quiet(nullptr);
        const OFCondition selected = made->selectCharacterSet(specificCharacterSet.c_str());
        if (selected.bad())
            throw RuntimeException("character set '" + specificCharacterSet + "' cannot be converted to UTF-8 here");
        converter = std::move(made);
    }
    return *converter;
}

void convertItem(DICOMObject& data, RWCString characterSet) {
    RWCString own;
    const bool hasOwn = data.GetString(0x0008, 0x0005, own);
    if (hasOwn) characterSet = own;
    for (auto position = data.begin(); position != data.end(); ++position) {
        VR& element = **position;
        if (SequenceVR* sequence = element.GetAsSequenceVR()) {
            for (DICOMDataObject* item : sequence->GetSequenceItems()) convertItem(*item, characterSet);
            continue;
        }
        const char* text = reinterpret_cast<const char*>(element.GetData());
        if (!isConvertible(element.GetVRCode()) || text == nullptr || isAscii(text, element.GetLength())) continue;
        std::string converted = textInUTF8(text, element.GetLength(), characterSet, element.GetVRCode());
        if (converted.size() % 2) converted += ' ';
        element.SetData(converted.data(), UINT32(converted.size()));
    }
    if (hasOwn && own != "ISO_IR 192") {
        auto* utf8 = new VR(0x0008, 0x0005, VRCode::CS, data.GetEndian());
        utf8->SetData("ISO_IR 192", 10);
        data.ReplaceVR(utf8);
    }
}

}  // namespace

std::string textInUTF8(const char* text, std::size_t length, const RWCString& specificCharacterSet, UINT16 vrCode) {
    if (text == nullptr || isAscii(text, length)) return std::string(text ? text : "", text ? length : 0);
    DcmSpecificCharacterSet& converter = converterFor(specificCharacterSet);
    OFString converted;
    const DcmtkLogCapture quiet(nullptr);
    if (converter.convertString(text, length, converted, delimitersOf(vrCode)).bad())
        throw RuntimeException("a text is not valid in character set '" + specificCharacterSet + "'");
    return std::string(converted.c_str(), converted.length());
}

void convertTextsToUTF8(DICOMObject& data) {
    // One capture for the whole walk: the conversions inside only nest in it, where each on its
    // own would attach and detach an appender on DCMTK's logger.
    const DcmtkLogCapture quiet(nullptr);
    convertItem(data, RWCString());
}

}  // namespace refcntr
