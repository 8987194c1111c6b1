// Attributes that no container models, carried from the data set that was read into the one
// that was saved, so that a viewer's save loses nothing it did not touch.
#pragma once

#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

/// Copies into `saved` every attribute of `read` that the containers of its IOD do not model
/// (those that createCompositeIOD(read) would not save), at the same place: at the top level, and
/// inside the items of every sequence the containers model. An item of `read` corresponds to
/// the item at the same position when the sequence has as many items in both, else to the item
/// with the same key: its Referenced SOP Instance UID (0008,1155), else its Series Instance UID
/// (0020,000E), else the first Referenced SOP Instance UID of its Referenced Image Sequence
/// (0008,1140). An attribute already in `saved` is left as it is. Returns one line per attribute
/// that could not be placed, such as "(0008,1115)[2]/(0088,0130)" (items counted from 0): its item
/// no longer exists, or holds nothing the containers save.
/// Throws RuntimeException, as createCompositeIOD does, for a data set of another class.
///
///     DICOMDataObject out(*read);       // what was read, edited through the containers
///     state->save(out);
///     carryUnmodelledAttributes(*read, out);
std::vector<std::string> carryUnmodelledAttributes(const DICOMDataObject& read, DICOMDataObject& saved);

}  // namespace refcntr
