// What one data set holds that another lacks, element by element through sequences and items.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

// The path of every element of `before` that `after` lacks, in the order of `before`:
// "(gggg,eeee)" at the top, "(gggg,eeee)[i]/(gggg,eeee)" inside item i (counted from 0) of a
// sequence, and "(gggg,eeee)[i]" for an item that `after` lacks as a whole. Values are not
// compared, only presence.
//
// Items are matched in order. When a sequence of `after` has fewer items than in `before`,
// the items taken as left out are those that make the least content missing, so that a
// writer that drops some items and keeps the order of the rest is reported item by item
// rather than as a shift of every later item.
std::vector<std::string> missingElements(const DICOMObject& before, const DICOMObject& after);

// What `after` lacks (as missingElements gives it) and, in one walk, the path of every element
// that both hold, items matched as above, whose value in `after` does not mean what it meant in
// `before` (sameMeaning), in the order of `before`. Elements for which `derived` is true (values
// a writer recomputes) are not compared.
struct Differences {
    std::vector<std::string> missing;
    std::vector<std::string> changed;
};
Differences differences(const DICOMObject& before, const DICOMObject& after,
                        const std::function<bool(const MAttributeTag&)>& derived);

}  // namespace refcntr
