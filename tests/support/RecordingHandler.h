// A container stand-in that writes down the notifications its children send it.
#pragma once

#include <string>
#include <vector>

#include "refcntr/core/PSChangeHandler.h"

namespace refcntr::testing {

class RecordingHandler : public PSChangeHandler {
public:
    void sequenceItemAdded(const RWCString& path, const SequenceBase*, const SequenceItem*,
                           const ReferencedImageSequence*) override {
        heard.push_back("sequenceItemAdded " + path);
    }
    void sequenceItemRemoved(const RWCString& path, const SequenceBase*, const SequenceItem*,
                             const ReferencedImageSequence*) override {
        heard.push_back("sequenceItemRemoved " + path);
    }
    void sequenceItemUpdated(const RWCString& path, const SequenceBase*, const SequenceItem*,
                             const RWCString& elementPath, const ReferencedImageSequence*) override {
        heard.push_back("sequenceItemUpdated " + path + " " + elementPath);
    }
    void sequenceAllItemsRemoved(const RWCString& path, const SequenceBase*, const ReferencedImageSequence*) override {
        heard.push_back("sequenceAllItemsRemoved " + path);
    }
    void sequenceAllItemsAdded(const RWCString& path, const SequenceBase*, const ReferencedImageSequence*) override {
        heard.push_back("sequenceAllItemsAdded " + path);
    }
    void elementUpdated(const RWCString& path, const ReferencedImageSequence*) override {
        heard.push_back("elementUpdated " + path);
    }

    std::vector<std::string> heard;
};

}  // namespace refcntr::testing
