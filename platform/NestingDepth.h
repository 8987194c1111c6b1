// How deeply the sequences of an encoded data set nest, found without parsing it: DCMTK's
// parser recurses once per level and overflows the stack past a few thousand levels, so a file
// is measured before DCMTK sees it.
#pragma once

#include <cstddef>

namespace refcntr {

// Files whose sequences nest deeper than this are refused.
constexpr std::size_t deepestSequenceNesting = 1000;

// The deepest nesting of sequences in the file's bytes (preamble and meta header or a bare
// data set, explicit or implicit VR, either byte order), counting no further than `limit + 1`.
// It follows the structure as far as it is consistent; a damaged part ends the count there,
// and DCMTK then reports the damage.
std::size_t sequenceNestingDepth(const unsigned char* bytes, std::size_t size, std::size_t limit);

}  // namespace refcntr
