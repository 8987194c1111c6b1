// Stand-ins that write down what they are told: a listener or container that records the
// notifications it hears, and a data set that records the order elements are stored into it.
#pragma once

#include <string>
#include <vector>

#include "refcntr/core/PSChangeHandler.h"
#include "refcntr/notify/PSChangeListener.h"
#include "refcntr/platform/DICOMDataObject.h"

namespace refcntr::testing {

// A PSChangeListener or PSChangeHandler that writes down every notification it hears, one line
// each ("elementUpdated <path>"), in `heard`; or, once it shares a log with others, in that log
// after its name. A recording handler does not pass what it hears on to a parent.
template <class Base>
class Recording : public Base {
public:
    void shareLog(std::vector<std::string>& log, const std::string& name) {
        itsSharedLog = &log;
        itsName = name + " ";
    }

    void sequenceItemAdded(const RWCString& path, const SequenceBase*, const SequenceItem*,
                           const ReferencedImageSequence*) override {
        write("sequenceItemAdded " + path);
    }
    void sequenceItemRemoved(const RWCString& path, const SequenceBase*, const SequenceItem*,
                             const ReferencedImageSequence*) override {
        write("sequenceItemRemoved " + path);
    }
    void sequenceItemUpdated(const RWCString& path, const SequenceBase*, const SequenceItem*,
                             const RWCString& elementPath, const ReferencedImageSequence*) override {
        write("sequenceItemUpdated " + path + " " + elementPath);
    }
    void sequenceAllItemsRemoved(const RWCString& path, const SequenceBase*, const ReferencedImageSequence*) override {
        write("sequenceAllItemsRemoved " + path);
    }
    void sequenceAllItemsAdded(const RWCString& path, const SequenceBase*, const ReferencedImageSequence*) override {
        write("sequenceAllItemsAdded " + path);
    }
    void elementUpdated(const RWCString& path, const ReferencedImageSequence*) override {
        write("elementUpdated " + path);
    }

    std::vector<std::string> heard;

private:
    void write(const std::string& line) { (itsSharedLog ? *itsSharedLog : heard).push_back(itsName + line); }

    std::vector<std::string>* itsSharedLog = nullptr;
    std::string itsName;
};

using RecordingListener = Recording<PSChangeListener>;
using RecordingHandler = Recording<PSChangeHandler>;

// A data set that remembers the order in which elements were stored into it.
class RecordingDataSet : public DICOMDataObject {
public:
    using DICOMDataObject::DICOMDataObject;
    using DICOMDataObject::ReplaceVR;

    void ReplaceVR(VR* element) override {
        written.push_back(element->GetTag());
        DICOMDataObject::ReplaceVR(element);
    }

    std::vector<MAttributeTag> written;
};

}  // namespace refcntr::testing
