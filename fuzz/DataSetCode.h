// A byte code that builds a DICOMDataObject directly, with none of DCMTK's checks: fuzz_data_set
// runs it on the fuzzer's bytes, and the seed writer turns sample files into it.
//
// Byte 0: bit 0 set for a big-endian data set (every item and element takes its order); the
// fuzz target reads bits 1 and 2 as the IOD to exercise.
// Then instructions, each an opcode byte whose low 3 bits pick the instruction and whose
// next bit (F) is a flag, each followed by its operands:
//   0 known element   u16 row of knownAttributes(); F: then u16 VR code instead of the row's; value
//   1 any element     u16 group, u16 element, u16 VR code, value
//   2 open sequence   u16 row of the sequence rows, or with F: u16 group, u16 element
//   3 open item       in the innermost open sequence
//   4 close sequence  (stores it in the enclosing item or data set)
//   5 private creator F: group 0023, else u16 group (made odd); u8 block; with bit 4 of the
//                     opcode the creator ZORVIK0, else a u8 length and that many bytes
//   6 repeat item     u16 count: copies of the last item of the innermost open sequence
//   7 remove element  u16 group, u16 element from the current item
// A value is a u8 form, then: form 0 no bytes; 1 u8 length; 2 u16 length; 3 u16 length x 16,
// the bytes filled by repeating up to 16 bytes of input. Operands are little-endian; input
// that runs out reads as zero bytes. Nesting stops at 200 levels, repeats at 128 elements,
// and values at 2 KiB in all (later values are empty): small data sets reach the same code
// as large ones, and each costs the fuzzer less.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr::fuzz {

std::unique_ptr<DICOMDataObject> decodeDataSet(const std::uint8_t* bytes, std::size_t size);

// The value bytes of every element, items included; adds the number of elements to `elements`.
std::size_t valueBytes(const DICOMObject& data, unsigned* elements = nullptr);

// The code that decodes to a copy of `data` (values longer than 65,535 bytes are cut).
std::string encodeDataSet(const DICOMDataObject& data);

}  // namespace refcntr::fuzz
