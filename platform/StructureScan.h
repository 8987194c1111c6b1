// The structure of an encoded data set, followed without parsing it: how deeply its sequences
// nest (DCMTK's parser recurses once per level and overflows the stack past a few thousand
// levels, so a file is measured before DCMTK sees it), and the faults in its structure that
// DCMTK reads past without a word.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace refcntr {

// Files whose sequences nest deeper than this are refused.
constexpr std::size_t deepestSequenceNesting = 1000;

struct StructureScan {
    // The deepest nesting of sequences, counted no further than the limit + 1.
    std::size_t deepestNesting = 0;
    // One line per fault, naming the sequence: the file ending inside it, or an item of it
    // whose length runs past its end.
    std::vector<std::string> faults;
    // Whether every element's value fits in the bytes and the scan went on to their very end.
    bool whole = false;
    // The tag of an element of a deflated data set whose value claims more bytes than the
    // inflated data hold, else empty. DCMTK cannot leave a compressed value on disk until it is
    // needed, so it would allocate all that the element claims (gigabytes, from a small file).
    std::string overlongDeflatedElement;
};

// Follows the file's bytes (preamble and meta header or a bare data set, explicit or implicit
// VR, either byte order) as far as they are consistent; a damaged part ends the scan there, and
// DCMTK then reports the damage. A deflated data set is inflated as the scan goes.
StructureScan scanStructure(const unsigned char* bytes, std::size_t size, std::size_t nestingLimit);

// The same scan of bytes known to be encoded in implicit VR little endian, such as the value
// of a sequence stored as UN, which starts with its first item.
StructureScan scanImplicitLittleEndian(const unsigned char* bytes, std::size_t size, std::size_t nestingLimit);

}  // namespace refcntr
