#include "refcntr/platform/JsonModel.h"

#include <memory>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcelem.h>
#include <dcmtk/dcmdata/dcjson.h>

#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/Exceptions.h"

namespace refcntr {

std::vector<MAttributeTag> writeJsonModel(std::ostream& out, const DICOMDataObject& data) {
    std::vector<MAttributeTag> leftOut;
    DcmDataset dataSet;
    for (const auto& element : data) {
        if (element->GetGroup() == 0x0002) continue;
        if (element->IsEncapsulated()) {
            leftOut.push_back(element->GetTag());
            continue;
        }
        std::unique_ptr<DcmElement> converted(newDcmElement(*element));
        if (dataSet.insert(converted.get(), OFTrue).bad())
            throw RuntimeException("element " + element->GetTag().ToString() + " cannot be written as JSON");
        converted.release();
    }
    DcmJsonFormatPretty format(OFFalse);
    out << "{\n";
    const OFCondition status = dataSet.writeJson(out, format);
    if (status.bad()) throw RuntimeException(std::string("the data set cannot be written as JSON: ") + status.text());
    out << "\n}\n";
    return leftOut;
}

}  // namespace refcntr
