// Presentation states of any size for the benchmarks, made by DCMTK's presentation-state
// class from a small CT image: a grayscale state with a number of graphic annotations (each
// referencing two images, frame 1 of the second, with one text object and one 32-point
// polyline), and colour and pseudo-colour states made from it.
#pragma once

#include <string>

namespace refcntr::bench {

enum class StateKind { Grayscale, Color, PseudoColor };

// The SOP instance UID of referenced image `image`.
std::string imageUid(long image);

// Writes the state to `path` in explicit VR little endian, unless the file is already there.
// Throws std::runtime_error when DCMTK cannot make or write it.
void writePresentationState(const std::string& path, StateKind kind, long annotations);

}  // namespace refcntr::bench
