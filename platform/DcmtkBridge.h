// Shared pieces of the DCMTK bridge: the conversion in either byte order and the registration
// of this library's private dictionary entries with DCMTK.
#pragma once

#include "refcntr/platform/DICOMDataObject.h"

class DcmItem;
class DcmElement;

namespace refcntr {

// Adds the entries of PrivateDataDictionary to DCMTK's dictionary, once per process, so that
// DCMTK knows their VRs in implicit VR files. Safe to call from any thread.
void registerPrivateEntriesWithDcmtk();

// Appends every element of DCMTK's item to `target`, values in target's byte order. Throws
// RuntimeException naming the element when a value cannot be taken over.
void appendFromDcmItem(DcmItem& item, DICOMObject& target);

// The VR an element of this VR code is written with: an ambiguous code becomes the VR its
// bytes are held in (US, OW), and a code that names no VR becomes UN.
UINT16 concreteVRCode(UINT16 vrCode);

// A new DCMTK element (a sequence with its items included) holding the element's value in
// native byte order; the caller owns it.
DcmElement* newDcmElement(const VR& element);

}  // namespace refcntr
