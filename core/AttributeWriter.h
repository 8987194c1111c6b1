// Writing each kind of attribute into a data set. Each function builds the element with the
// value factory in the data set's byte order and stores it, replacing an element of the same
// tag; an element the factory cannot build is skipped. The writers whose value type does not fix
// the VR take the tag's VR as their last argument, which the generated containers know; without
// it the data dictionary is asked.
#pragma once

#include "refcntr/core/MVRFactory.h"
#include "refcntr/core/OwnedArray.h"
#include "refcntr/core/TextValue.h"
#include "refcntr/platform/AETitle.h"
#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr {

class SequenceBase;

namespace attribute {

using Factory = MVRFactory<VR>;

// Text values are padded with a blank to even length.
void writeText(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const RWCString& value,
               UINT16 vrCode = VRCode::Unknown);
void writeText(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group,
               const RWCString& value);
void writeText(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const TextValue& value,
               UINT16 vrCode = VRCode::Unknown);
void writeText(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group,
               const TextValue& value);
void writeTexts(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element,
                const RWTValOrderedVector<RWCString>& values, UINT16 vrCode = VRCode::Unknown);
void writeAETitle(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const AETitle& value,
                  UINT16 vrCode = VRCode::Unknown);
// An element of VR `vrCode` with no value (a type 2 attribute that is absent).
void writeEmpty(DICOMDataObject& data, UINT16 group, UINT16 element, UINT16 vrCode);
void writeIS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, int value,
             UINT16 vrCode = VRCode::Unknown);
void writeDS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, double value,
             UINT16 vrCode = VRCode::Unknown);
void writeUS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, UINT16 value);
void writeUS(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group, UINT16 value);
void writeSS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, INT16 value);
void writeUL(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, UINT32 value);
void writeFL(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, FLOAT value);
void writeISArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const OwnedArray<int>& values,
                  UINT16 vrCode = VRCode::Unknown);
void writeDSArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element,
                  const OwnedArray<double>& values, UINT16 vrCode = VRCode::Unknown);
// Byte values (OB) through the factory's byte overload.
void writeBytes(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const unsigned char* bytes,
                UINT32 length, UINT16 vrCode = VRCode::Unknown);
// Binary values given in native order: typed by the dictionary (or by `vrCode` where the
// dictionary leaves a choice), swapped to the data set's byte order.
void writeRawArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const void* values,
                   UINT32 byteLength, UINT16 vrCode = VRCode::Unknown);
void writeRawArray(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group,
                   const void* values, UINT32 byteLength);
// Binary values of a tag whose dictionary VR is ambiguous: typed by `typeCode` ("OW", "US", ...).
// Throws RuntimeException("Unable to create VR for element <keyword> due to ambiguous type
// (<ambiguity>) and unset member its<keyword>ElementActualDataTypeCode") when the code is empty.
void writeAmbiguousArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const void* values,
                         UINT32 byteLength, const RWCString& typeCode, const char* keyword, const char* ambiguity);
// A present sequence as a sequence element with one item data set per non-empty item; an
// absent sequence writes nothing unless `alwaysWritten`, when it is written empty.
void writeSequence(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const SequenceBase& sequence,
                   bool alwaysWritten = false);

}  // namespace attribute
}  // namespace refcntr
