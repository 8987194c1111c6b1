#include "ValueFaults.h"

#include <memory>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcelem.h>
#include <dcmtk/dcmdata/dcerror.h>

#include "TerminalText.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr::cli {

namespace {

bool isChecked(UINT16 vrCode) {
    switch (vrCode) {
    case VRCode::DA:
    case VRCode::TM:
    case VRCode::DT:
    case VRCode::UI:
    case VRCode::CS:
    case VRCode::AS:
    case VRCode::IS:
    case VRCode::DS: return true;
    default: return false;
    }
}

std::string reasonFor(const OFCondition& condition, const std::string& vr) {
    if (condition == EC_MaximumLengthViolated) return "a value is longer than " + vr + " allows";
    if (condition == EC_InvalidCharacter) return "holds a character " + vr + " does not allow";
    return "is not a valid " + vr + " value";
}

void collect(const DICOMObject& data, const std::string& path, std::vector<std::string>& faults) {
    for (const auto& held : data) {
        const VR& element = *held;
        const std::string tag = MAttributeTag(element.GetGroup(), element.GetElement()).ToString();
        if (const SequenceVR* sequence = element.GetAsSequenceVR()) {
            const auto& items = sequence->GetSequenceItems();
            for (std::size_t i = 0; i < items.size(); ++i)
                collect(*items[i], path + tag + "[" + std::to_string(i) + "]/", faults);
            continue;
        }
        if (!isChecked(element.GetVRCode()) || element.GetLength() == 0) continue;
        const std::unique_ptr<DcmElement> checked(newDcmElement(element));
        const OFCondition result = checked ? checked->checkValue() : EC_Normal;
        if (result.good() || result == EC_ValueMultiplicityViolated) continue;
        const std::string vr = MDDEntry::UShortToTypeString(element.GetVRCode());
        std::string value(reinterpret_cast<const char*>(element.GetData()), element.GetLength());
        while (!value.empty() && (value.back() == ' ' || value.back() == '\0')) value.pop_back();
        const RWCString keyword = InstanceSpecificDataDictionary::Keyword(element.GetGroup(), element.GetElement());
        faults.push_back(path + tag + "  # " + (keyword.empty() ? std::string() : keyword + ": ") + "'" +
                         escaped(value) + "' " + reasonFor(result, vr));
    }
}

}  // namespace

std::vector<std::string> valueFaults(const DICOMObject& data) {
    std::vector<std::string> faults;
    collect(data, "", faults);
    return faults;
}

}  // namespace refcntr::cli
