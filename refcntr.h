// The whole public interface of refcntr: the data-object layer, the container core, the
// notification layer, every generated container class and the directory file layer.
#pragma once

#include "refcntr/Version.h"
#include "refcntr/factory/CompositeIODFactory.h"
#include "refcntr/factory/UnmodelledAttributes.h"
#include "refcntr/platform/AETitle.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/TextEncoding.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/Types.h"
#include "refcntr/platform/VR.h"
#include "refcntr/platform/VRAccess.h"

#include "refcntr/core/ClassDescription.h"
#include "refcntr/core/CompositeIOD.h"
#include "refcntr/core/ContainerUtils.h"
#include "refcntr/core/InformationEntity.h"
#include "refcntr/core/MVRFactory.h"
#include "refcntr/core/Module.h"
#include "refcntr/core/PSChangeHandler.h"
#include "refcntr/core/RefCntrException.h"
#include "refcntr/core/Sequence.h"
#include "refcntr/core/SequenceBase.h"
#include "refcntr/core/SequenceItem.h"

#include "refcntr/notify/ImageIndexedSequence.h"
#include "refcntr/notify/ImgFrmKey.h"
#include "refcntr/notify/ListenerRegistry.h"
#include "refcntr/notify/PSChangeListener.h"
#include "refcntr/notify/ReferencedImageSequence.h"

#include "refcntr/codegen/Containers.h"

#include "refcntr/directory/DirectoryFile.h"
