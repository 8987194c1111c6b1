// The library's factory picks the IOD by the data set's SOP class and refuses any other class.
#include <cstring>

#include <gtest/gtest.h>

#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/factory/CompositeIODFactory.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/presentation/PresentationStateIODs.h"
#include "support/Failures.h"

namespace refcntr {
namespace {

DICOMDataObject withSOPClass(UINT16 group, UINT16 element, const char* uid) {
    DICOMDataObject data;
    auto* sopClass = new VR(group, element, VRCode::UI, LittleEndian);
    sopClass->SetData(uid, UINT32(std::strlen(uid)));
    data.ReplaceVR(sopClass);
    return data;
}

TEST(CompositeIODFactory, CreatesTheIODOfTheSOPClassAndRefusesAnyOther) {
    const std::unique_ptr<CompositeIOD> grayscale =
        createCompositeIOD(withSOPClass(0x0008, 0x0016, "1.2.840.10008.5.1.4.1.1.11.1"));
    EXPECT_NE(nullptr, dynamic_cast<GrayscaleSoftcopyPresentationStateCompositeIOD*>(grayscale.get()));
    EXPECT_NE(nullptr, dynamic_cast<PseudoColorSoftcopyPresentationStateCompositeIOD*>(
                           createCompositeIOD(withSOPClass(0x0002, 0x0002, "1.2.840.10008.5.1.4.1.1.11.3")).get()));
    DICOMDataObject directory;
    directory.ReplaceVR(new SequenceVR(0x0004, 0x1220));
    EXPECT_EQ(CompositeIODKind::MediaDirectory, compositeIODKind(directory));
    EXPECT_NE(nullptr, dynamic_cast<BasicDirectoryCompositeIOD*>(createCompositeIOD(directory).get()));

    EXPECT_EQ(
        testfiles::failureOf([] { createCompositeIOD(withSOPClass(0x0008, 0x0016, "1.2.840.10008.5.1.4.1.1.2")); }),
        "SOP class 1.2.840.10008.5.1.4.1.1.2 is neither a media directory nor a softcopy presentation state");
    EXPECT_THROW(createCompositeIOD(DICOMDataObject()), RuntimeException);
}

}  // namespace
}  // namespace refcntr
