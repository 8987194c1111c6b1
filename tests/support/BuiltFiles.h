// The DICOM files the build makes for the tests (tests/data/files), and the transfer syntaxes
// the library writes as test parameters.
#pragma once

#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include "refcntr/platform/DicomFile.h"

namespace refcntr::testfiles {

inline constexpr TransferSyntax writtenSyntaxes[] = {TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig,
                                                     TransferSyntax::ImplicitLittle};

// "ExplicitLittle", "ExplicitBig" or "ImplicitLittle": the name of a test parameter, and how the
// name of a file the build made in that syntax ends.
inline std::string syntaxName(TransferSyntax syntax) {
    return syntax == TransferSyntax::ExplicitBig      ? "ExplicitBig"
           : syntax == TransferSyntax::ImplicitLittle ? "ImplicitLittle"
                                                      : "ExplicitLittle";
}

inline std::string syntaxParamName(const ::testing::TestParamInfo<TransferSyntax>& info) {
    return syntaxName(info.param);
}

inline std::string syntaxPairParamName(
    const ::testing::TestParamInfo<std::tuple<TransferSyntax, TransferSyntax>>& info) {
    return syntaxName(std::get<0>(info.param)) + "To" + syntaxName(std::get<1>(info.param));
}

inline E_TransferSyntax dcmtkSyntax(TransferSyntax syntax) {
    return syntax == TransferSyntax::ExplicitBig      ? EXS_BigEndianExplicit
           : syntax == TransferSyntax::ImplicitLittle ? EXS_LittleEndianImplicit
                                                      : EXS_LittleEndianExplicit;
}

// The file tests/data/files/CMakeLists.txt made as NAME.dcm, or as NAME-<syntax>.dcm.
inline std::string builtFile(const std::string& name) {
    return std::string(REFCNTR_BINARY_DIR) + "/tests/data/files/" + name + ".dcm";
}
inline std::string builtFile(const std::string& name, TransferSyntax syntax) {
    return builtFile(name + "-" + syntaxName(syntax));
}

}  // namespace refcntr::testfiles
