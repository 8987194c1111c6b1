#include "refcntr/notify/PSChangeListener.h"

namespace refcntr {

PSChangeListener::~PSChangeListener() = default;

void PSChangeListener::sequenceItemAdded(const RWCString&, const SequenceBase*, const SequenceItem*,
                                         const ReferencedImageSequence*) {}

void PSChangeListener::sequenceItemRemoved(const RWCString&, const SequenceBase*, const SequenceItem*,
                                           const ReferencedImageSequence*) {}

void PSChangeListener::sequenceItemUpdated(const RWCString&, const SequenceBase*, const SequenceItem*, const RWCString&,
                                           const ReferencedImageSequence*) {}

void PSChangeListener::sequenceAllItemsRemoved(const RWCString&, const SequenceBase*, const ReferencedImageSequence*) {}

void PSChangeListener::sequenceAllItemsAdded(const RWCString&, const SequenceBase*, const ReferencedImageSequence*) {}

void PSChangeListener::elementUpdated(const RWCString&, const ReferencedImageSequence*) {}

}  // namespace refcntr
