#include "refcntr/core/ContainerUtils.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "support/PutElement.h"

namespace refcntr {
namespace {

TEST(IntegerScanning, PadOverflowAndStopRules) {
    const struct {
        const char* text;
        unsigned length;
        int result, value, error;
        long consumed;
    } cases[] = {
        {"7", 1, 0, 0, 0, 1},  // the first digit must not be the last byte
        {"-7", 2, 0, 0, 0, 2},
        {"7 ", 2, 1, 7, 0, 2},
        {"  -42 ", 6, 1, -42, 0, 6},
        {"    ", 4, 0, 0, 0, 4},
        {"12\\4", 4, 1, 12, 0, 3},  // stops past the backslash
        {"1x", 2, 1, 1, 0, 2},      // the last byte is never a terminator
        {"12x4", 4, 0, 0, 0, 3},
        {"12345678", 2, 1, 12, 0, 2},  // only `length` bytes
        {"2147483647 ", 11, 1, INT_MAX, 0, 11},
        {"2147483648 ", 11, 1, INT_MAX, ERANGE, 10},
        {"-2147483648 ", 12, 1, INT_MIN, 0, 12},
        {"-2147483649 ", 12, 1, INT_MAX, 0, 12},  // negative bounds never trip: the magnitude wraps
    };
    for (const auto& c : cases) {
        int value = -99;
        const char* end = nullptr;
        errno = 0;
        EXPECT_EQ(ContainerUtils::stringToINT32(c.text, c.length, value, &end), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(errno, c.error) << c.text;
        EXPECT_EQ(end - c.text, c.consumed) << c.text;
    }
}

TEST(SingleValues, ISAndDS) {
    const struct {
        const char* text;
        unsigned length;
        int result;
        double value;
    } isCases[] = {{"12", 2, 1, 12},  {" -8 ", 4, 1, -8}, {"3\\4 ", 4, 1, 3},       {"7", 1, 0, 0},    {"-7 ", 3, 0, 0},
                   {"    ", 4, 0, 0}, {"12x ", 4, 0, 0},  {"2147483648", 10, 0, 0}, {nullptr, 2, 0, 0}},
      dsCases[] = {{"1.5\\2.5 ", 8, 1, 1.5}, {"-2.5E3", 6, 1, -2500}, {"2.75123", 4, 1, 2.75}, {"1.5", 3, 0, 0},
                   {"1.5x", 4, 0, 0},        {"abc ", 4, 0, 0},       {"1e999 ", 6, 0, 0},     {nullptr, 2, 0, 0}};
    for (const auto& c : isCases) {
        int value = 99;
        EXPECT_EQ(ContainerUtils::parseIS(c.text, c.length, value), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
    for (const auto& c : dsCases) {
        double value = 99;
        EXPECT_EQ(ContainerUtils::parseDS(c.text, c.length, value), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

// Parses into arrays that start as a live sentinel, so that an untouched out argument is caught.
template <class T, class Parser>
void expectParsed(Parser parser, const char* text, unsigned length, int result, const std::vector<T>& expected) {
    T* const sentinel = new T[1]();
    T* values = sentinel;
    unsigned count = 77;
    EXPECT_EQ(parser(text, length, values, count), result) << text;
    if (values == sentinel) {
        ADD_FAILURE() << "values left unset for " << text;
    } else {
        EXPECT_EQ(values == nullptr, expected.empty()) << text;
        EXPECT_EQ(std::vector<T>(values, values + (values != nullptr ? count : 0)), expected) << text;
        delete[] values;
    }
    delete[] sentinel;
}

TEST(ValueArrays, ISAndDSValues) {
    const auto expectIS = [](const char* text, int result, const std::vector<int>& values) {
        expectParsed(ContainerUtils::parseISToArray, text, text ? unsigned(std::strlen(text)) : 4, result, values);
    };
    expectIS("1\\\\2 ", 1, {1, 2});  // empty values are skipped
    expectIS("10\\-20\\ 30 ", 1, {10, -20, 30});
    expectIS("12\\34", 1, {12, 34});  // odd lengths are accepted
    expectIS(nullptr, 1, {});
    expectIS("", 1, {});
    expectIS(" \\ ", 1, {});
    expectIS("1\\x2 ", 0, {});
    expectIS("1\\9999999999 ", 0, {});
    expectIS("1\\2", 0, {});  // the last value lacks its pad

    const auto expectDS = [](const char* text, int result, const std::vector<double>& values) {
        expectParsed(ContainerUtils::parseDSToArray, text, text ? unsigned(std::strlen(text)) : 4, result, values);
    };
    expectDS("1.5\\\\-2 ", 1, {1.5, -2.0});
    expectDS("0.5\\2\\3.25", 1, {0.5, 2.0, 3.25});
    expectDS("1\\x", 1, {});  // an odd length means no values
    expectDS("", 1, {});
    expectDS(nullptr, 1, {});
    expectDS("1.5\\x ", 0, {});
    expectDS("1e999\\2 ", 0, {});
    expectDS("1.5\\2.5x\\3", 0, {});
    expectParsed(ContainerUtils::parseDSToArray, "1.5\\2.575", 8, 1, std::vector<double>{1.5, 2.57});
}

TEST(ValueArrays, UntypedCopiesCountBytes) {
    const UINT16 words[] = {0x0102, 0x0304};
    std::unique_ptr<unsigned char[]> copy(
        static_cast<unsigned char*>(ContainerUtils::copyArray(static_cast<const void*>(words), 3)));
    EXPECT_EQ(std::memcmp(copy.get(), words, 3), 0);
    EXPECT_EQ(ContainerUtils::copyArray(words, 0), nullptr);
}

TEST(NumberFormatting, JoinedWithSingleBackslashes) {
    const int integers[] = {-3, 4, INT_MIN};
    EXPECT_EQ(ContainerUtils::INT32ArrayToIS(integers, 3), "-3\\4\\-2147483648");
    EXPECT_EQ(ContainerUtils::INT32ArrayToIS(integers, 0), "");
    const double doubles[] = {0.5, 2.0, 1.0 / 3.0, 1e20, 123456789012345678.0, -0.0, 0.0001, 0.00001};
    EXPECT_EQ(ContainerUtils::doubleArrayToDS(doubles, 8),
              "0.5\\2\\0.333333333333333\\1E+20\\1.23456789012346E+17\\-0\\0.0001\\1E-05");
    EXPECT_EQ(ContainerUtils::doubleArrayToDS(nullptr, 2), "");
}

TEST(DumpEscaping, ControlsQuotesAndOctal) {
    EXPECT_EQ(ContainerUtils::escapeString("a\tb", true), "\"a\\tb\"");
    EXPECT_EQ(ContainerUtils::escapeString("\a\b\n\v\f\r\"", false), "\\a\\b\\n\\v\\f\\r\\\"");
    EXPECT_EQ(ContainerUtils::escapeString("A\\B", true), "\"A\\B\"");  // not doubled
    EXPECT_EQ(ContainerUtils::escapeString(RWCString("\x01\x1b\x7f\0\xff", 5), false), "\\001\\033\\177\\000\\377");
}

class FrameIndexSizes : public ::testing::Test {
protected:
    // A data set in `itsItems` (or a new one handed out when `owned` is false) with the frame numbers.
    DICOMDataObject* item(const char* frames, bool owned = true) {
        auto* item = new DICOMDataObject;
        if (owned) itsItems.emplace_back(item);
        if (frames != nullptr) testfiles::putElement(*item, 0x0008, 0x1160, VRCode::IS, frames);
        return item;
    }

    std::vector<std::unique_ptr<DICOMDataObject>> itsItems;
};

TEST_F(FrameIndexSizes, CountsSeparatorsAtLeastOnePerItem) {
    const auto size = ContainerUtils::computeSuggestedReferencedImageSequenceItemIndexSize;
    EXPECT_EQ(size({item(nullptr), item("1\\2 ")}), 2u);
    EXPECT_EQ(size({item("1\\2\\3 ")}), 2u);
    EXPECT_EQ(size({item("")}), 1u);
    EXPECT_EQ(size({}), 0u);
}

TEST_F(FrameIndexSizes, SequenceSumsNonEmptyReferencedImageSequences) {
    auto* images = new SequenceVR(0x0008, 0x1140);
    images->AddSequenceItem(item("1\\2\\3 ", false));
    images->AddSequenceItem(item(nullptr, false));
    DICOMDataObject* referencing = item(nullptr);
    referencing->ReplaceVR(images);
    DICOMDataObject* emptySequence = item(nullptr);
    emptySequence->ReplaceVR(new SequenceVR(0x0008, 0x1140));
    DICOMDataObject* notASequence = item(nullptr);
    notASequence->ReplaceVR(new VR(0x0008, 0x1140, VRCode::UN, LittleEndian));

    EXPECT_EQ(ContainerUtils::computeSuggestedSequenceIndexSize({referencing, emptySequence, notASequence}), 3u);
    EXPECT_EQ(ContainerUtils::computeSuggestedSequenceIndexSize({}), 0u);
}

}  // namespace
}  // namespace refcntr
