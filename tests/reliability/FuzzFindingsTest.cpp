// Inputs the fuzz targets found that broke the library, reduced to the fault each one caught.
#include <memory>

#include <gtest/gtest.h>

#include "support/TestFiles.h"
#include "support/Failures.h"
#include "support/PutElement.h"
#include "refcntr/core/ContainerUtils.h"
#include "refcntr/directory/DirectoryFile.h"
#include "refcntr/directory/FileMetaInformationModule.h"
#include "refcntr/general/SOPCommonModule.h"
#include "refcntr/notify/ReferencedImageSequenceItem.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/presentation/LUTModules.h"

namespace refcntr {
namespace {

// A US-or-SS descriptor whose element carries a VR code that names no VR (a data set not made
// by DCMTK) was read with an empty type code, and save then threw "Unable to create VR for
// element BluePaletteColorLookupTableDescriptor due to ambiguous type".
TEST(FuzzFindings, AmbiguousArrayWithAVRCodeThatNamesNoVRIsSaved) {
    for (EndianType endian : {LittleEndian, BigEndian}) {
        for (UINT16 code : {VRCode::Unknown, UINT16(0x1234)}) {
            DICOMDataObject data(endian);
            testfiles::putElement(data, 0x0028, 0x1103, code, std::string("\x01\x00\x00\x00\x10\x00", 6));
            std::unique_ptr<PaletteColorLookupTableModule> module(PaletteColorLookupTableModule::create(data));
            ASSERT_TRUE(module->isBluePaletteColorLookupTableDescriptorElementPresent());
            DICOMDataObject saved(endian);
            ASSERT_NO_THROW(module->save(saved));
            const VR* written = saved.GetVR(0x0028, 0x1103);
            ASSERT_NE(nullptr, written);
            EXPECT_EQ(VRCode::US, written->GetVRCode());
            // Read back, the values are those first read.
            std::unique_ptr<PaletteColorLookupTableModule> again(PaletteColorLookupTableModule::create(saved));
            EXPECT_EQ(module->toString(0), again->toString(0));
        }
    }
}

// An implementation class UID given as SH with a value padded with NULs kept its NULs when
// read, but lost them once saved as UI and read again: NULs counted as pad for UIDs only.
TEST(FuzzFindings, TextPaddedWithNulsReadsTheSameWhateverItsVR) {
    DICOMDataObject data;
    testfiles::putElement(data, 0x0002, 0x0012, VRCode::SH, std::string("1.2.\276\0\0\0", 8));
    std::unique_ptr<FileMetaInformationModule> first(FileMetaInformationModule::create(data));
    EXPECT_EQ("1.2.\276", first->getImplementationClassUIDElement());
    DICOMDataObject saved;
    first->save(saved);
    std::unique_ptr<FileMetaInformationModule> second(FileMetaInformationModule::create(saved));
    EXPECT_EQ(first->toString(0), second->toString(0));
}

// Frames {10, 5} were written as "10\5": four bytes, so no pad, and the integer scanner refuses
// a last value whose only digit is the last byte, so the frames were lost on the next read. The
// scanner keeps its rule; the writer adds a blank to such a text (and pads it to even length).
TEST(FuzzFindings, IsValuesEndingInOneUnpaddedDigitReadBackAfterSave) {
    int* values = nullptr;
    unsigned count = 0;
    ASSERT_EQ(0, ContainerUtils::parseISToArray("10\\5", 4, values, count));

    for (EndianType endian : {LittleEndian, BigEndian}) {
        ReferencedImageSequenceItem item;
        item.setReferencedSOPInstanceUIDElement("2.25.451");
        item.setReferencedFrameNumberElement(new int[2]{10, 5}, 2);
        DICOMDataObject saved(endian);
        item.save(saved);
        const VR* written = saved.GetVR(0x0008, 0x1160);
        ASSERT_NE(nullptr, written);
        EXPECT_EQ("10\\5  ", std::string(reinterpret_cast<const char*>(written->GetData()), written->GetLength()));
        const std::unique_ptr<ReferencedImageSequenceItem> again(ReferencedImageSequenceItem::create(saved));
        ASSERT_EQ(2u, again->getReferencedFrameNumberElementLength());
        EXPECT_EQ(10, again->getReferencedFrameNumberElement(0));
        EXPECT_EQ(5, again->getReferencedFrameNumberElement(1));
    }

    // One negative digit alone, and texts the scanner reads as they are, through an IS single.
    for (int number : {-5, 5, 10, -10, 0}) {
        SOPCommonModule module;
        module.setInstanceNumberElement(number);
        DICOMDataObject saved;
        module.save(saved);
        const std::unique_ptr<SOPCommonModule> again(SOPCommonModule::create(saved));
        ASSERT_TRUE(again->isInstanceNumberElementPresent()) << number;
        EXPECT_EQ(number, again->getInstanceNumberElement());
    }
}

}  // namespace
// Ten backslashes in a Specific Character Set read as ten empty values and were written back as
// nine: the split keeps the segment after the last separator only when it is not empty, so each
// read of a text that ends in a separator drops one empty value. The rule stays; roundtrip lists
// such an attribute as changed, and the fuzz targets allow exactly this loss, and the blanks or
// NULs that become padding (found in Specific Character Sets "I?SO\353_IR \" by the stream
// target and "I\004" and seven NULs by the data-set target).
TEST(FuzzFindings, ATextEndingInASeparatorLosesItsEmptyLastValueOnEachRead) {
    DICOMDataObject data;
    testfiles::putElement(data, 0x0008, 0x0005, VRCode::CS, "\\\\\\ ");
    const std::unique_ptr<SOPCommonModule> read(SOPCommonModule::create(data));
    ASSERT_EQ(3u, read->getSpecificCharacterSetElement().size());
    DICOMDataObject saved;
    read->save(saved);
    RWCString written;
    ASSERT_EQ(1, saved.GetString(0x0008, 0x0005, written));
    EXPECT_EQ("\\\\", written);
    const std::unique_ptr<SOPCommonModule> again(SOPCommonModule::create(saved));
    EXPECT_EQ(2u, again->getSpecificCharacterSetElement().size());

    // The padding (blanks or NULs) of the value before that separator stays with it, and is the
    // element's padding once saved: the value reads back without it and then stays as it is.
    for (const std::string& padding : {std::string("  "), std::string(2, '\0')}) {
        DICOMDataObject padded;
        testfiles::putElement(padded, 0x0008, 0x0005, VRCode::CS, "ISO_IR 100" + padding + "\\");
        const std::unique_ptr<SOPCommonModule> first(SOPCommonModule::create(padded));
        ASSERT_EQ(1u, first->getSpecificCharacterSetElement().size());
        EXPECT_EQ("ISO_IR 100" + padding, std::string(first->getSpecificCharacterSetElement()[0]));
        DICOMDataObject once, twice;
        first->save(once);
        const std::unique_ptr<SOPCommonModule> second(SOPCommonModule::create(once));
        ASSERT_EQ(1u, second->getSpecificCharacterSetElement().size());
        EXPECT_EQ("ISO_IR 100", second->getSpecificCharacterSetElement()[0]);
        second->save(twice);
        EXPECT_EQ(second->toString(0), std::unique_ptr<SOPCommonModule>(SOPCommonModule::create(twice))->toString(0));
    }
}

// A deflated file of 3 KB whose element claims 4 GiB: DCMTK reads a deflated data set whole as
// it parses, and allocated what the element claimed before finding the bytes missing. The file
// is refused as truncated before DCMTK sees it.
TEST(FuzzFindings, DeflatedElementClaimingMoreThanTheDataIsRefusedBeforeParsing) {
    const std::string path = REFCNTR_TEST_DATA_DIR "/fuzz/deflated-element-claiming-4-gib.dcm";
    const std::string failure = testfiles::failureOf([&] { readDicomFile(path); });
    EXPECT_NE(std::string::npos, failure.find(path)) << failure;
    EXPECT_NE(std::string::npos, failure.find("is longer than the inflated data")) << failure;
}

// Inputs of the directory target: a UN sequence whose element claims 4 GiB (DCMTK allocated it),
// and UIDs stored under another VR with a carriage return inside, or NULs and a carriage return
// at the end (kept on reading, removed by DCMTK when the file written was read again), and a
// record type of junk bytes stored as UN (converted to CS, it made DCMTK's parser throw on
// the file written; it now stays UN). All read, write and read back.
TEST(FuzzFindings, DirectoriesFoundByFuzzingReadWriteAndReadBack) {
    testfiles::ScratchDirectory scratch;
    for (const char* found :
         {"un-sequence-claiming-4-gib.dcm", "directory-uid-with-a-carriage-return.dcm",
          "directory-uid-ending-in-nuls-and-a-carriage-return.dcm", "directory-record-type-of-junk-stored-as-un.dcm"}) {
        std::vector<std::string> notes;
        const std::unique_ptr<DirectoryFile> read =
            DirectoryFile::read(std::string(REFCNTR_TEST_DATA_DIR "/fuzz/") + found, notes);
        const std::string written = scratch.File(found);
        read->write(written, TransferSyntax::ExplicitLittle);
        EXPECT_NO_THROW(DirectoryFile::read(written, notes)) << found;
    }
}

}  // namespace refcntr
