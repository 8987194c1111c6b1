// The whole public interface of refcntr.
#pragma once

#include "refcntr/platform/AETitle.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/Types.h"
#include "refcntr/platform/VR.h"
#include "refcntr/platform/VRAccess.h"
