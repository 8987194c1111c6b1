// Texts stored in a file's character set, given in UTF-8.
#include <filesystem>

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "support/TestFiles.h"
#include "support/Failures.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/TextEncoding.h"

namespace refcntr {
namespace {

VR* text(DICOMObject& data, UINT16 group, UINT16 element, UINT16 vrCode, const std::string& value) {
    auto* made = new VR(group, element, vrCode, data.GetEndian());
    made->SetData(value.data(), UINT32(value.size()));
    data.ReplaceVR(made);
    return made;
}

TEST(TextEncoding, SingleAndMultiByteCharacterSetsGiveUTF8) {
    const std::string latin = "Buc^J\xe9r\xf4me";
    EXPECT_EQ("Buc^J\u00e9r\u00f4me", textInUTF8(latin.data(), latin.size(), "ISO_IR 100", VRCode::PN));
    // ISO 2022 escapes, reset at each component of the name.
    const std::string korean = "Hong^Gildong=\x1b$)C\xfb\xf3^\x1b$)C\xd1\xce\xd4\xd7";
    EXPECT_EQ("Hong^Gildong=\u6d2a^\u5409\u6d1e",
              textInUTF8(korean.data(), korean.size(), "\\ISO 2022 IR 149", VRCode::PN));
    const std::string chinese = "Wang^XiaoDong=\xcd\xf5^\xd0\xa1\xb6\xab=";
    EXPECT_EQ("Wang^XiaoDong=\u738b^\u5c0f\u4e1c=", textInUTF8(chinese.data(), chinese.size(), "GB18030", VRCode::PN));
    EXPECT_EQ("plain", textInUTF8("plain", 5, "", VRCode::LO));
    EXPECT_EQ(testfiles::failureOf([&] { textInUTF8(latin.data(), latin.size(), "ISO_IR 999", VRCode::PN); }),
              "character set 'ISO_IR 999' cannot be converted to UTF-8 here");
}

// Each item converts under its own character set when it has one, and every Specific Character
// Set then says UTF-8; UIDs and other texts no character set applies to are left alone.
TEST(TextEncoding, ADataSetConvertsItemByItemAndThenSaysUTF8) {
    DICOMDataObject data;
    text(data, 0x0008, 0x0005, VRCode::CS, "ISO_IR 100");
    text(data, 0x0010, 0x0010, VRCode::PN, "J\xe9r\xf4me ");
    text(data, 0x0020, 0x000D, VRCode::UI, "1.2.3");
    auto* sequence = new SequenceVR(0x0040, 0xA730);
    auto* item = new DICOMDataObject;
    text(*item, 0x0008, 0x0005, VRCode::CS, "ISO_IR 144");
    text(*item, 0x0040, 0xA160, VRCode::UT, "\xbc\xd8\xe0");
    sequence->AddSequenceItem(item);
    data.ReplaceVR(sequence);
    convertTextsToUTF8(data);
    RWCString value;
    ASSERT_TRUE(data.GetString(0x0010, 0x0010, value));
    EXPECT_EQ("J\u00e9r\u00f4me", value);
    ASSERT_TRUE(data.GetString(0x0008, 0x0005, value));
    EXPECT_EQ("ISO_IR 192", value);
    ASSERT_TRUE(item->GetString(0x0040, 0xA160, value));
    EXPECT_EQ("\u041c\u0438\u0440", value);
    ASSERT_TRUE(item->GetString(0x0008, 0x0005, value));
    EXPECT_EQ("ISO_IR 192", value);
    ASSERT_TRUE(data.GetString(0x0020, 0x000D, value));
    EXPECT_EQ("1.2.3", value);
}

// Files written by others in many character sets, where DCMTK can convert them: every patient
// name comes out as DCMTK's own conversion gives it.
TEST(TextEncoding, RealFilesInManyCharacterSetsConvertAsDCMTKConvertsThem) {
    const auto files = testfiles::pydicomFiles("charset_files");
    if (files.empty()) GTEST_SKIP() << "pydicom's character set files are not installed";
    unsigned compared = 0;
    for (const std::filesystem::path& file : files) {
        DcmFileFormat dcmtk;
        OFString expected;
        if (dcmtk.loadFile(file.c_str()).bad() || dcmtk.convertToUTF8().bad() ||
            dcmtk.getDataset()->findAndGetOFStringArray(DCM_PatientName, expected).bad())
            continue;
        const auto data = readDicomFile(file.string());
        convertTextsToUTF8(*data);
        RWCString name;
        ASSERT_TRUE(data->GetString(0x0010, 0x0010, name)) << file;
        while (!name.empty() && name.back() == ' ') name.pop_back();
        EXPECT_EQ(expected.c_str(), name) << file;
        ++compared;
    }
    EXPECT_GE(compared, 10u);
}

}  // namespace
}  // namespace refcntr
