#include "refcntr/platform/ReadNotes.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dcsequen.h>
#include <dcmtk/dcmdata/dctag.h>

#include "refcntr/platform/MAttributeTag.h"

namespace refcntr {

namespace {

// A note is about one element; a file with many faults gets this many, and a count of the rest.
constexpr std::size_t mostNotes = 100;

std::string describe(DcmTag tag) {
    return MAttributeTag(tag.getGTag(), tag.getETag()).ToString() + " " + tag.getTagName();
}

void add(std::vector<std::string>& notes, std::size_t& skipped, std::string note) {
    if (notes.size() < mostNotes)
        notes.push_back(std::move(note));
    else
        ++skipped;
}

void noteItem(DcmItem& item, std::vector<std::string>& notes, std::size_t& skipped) {
    for (DcmObject* object = item.nextInContainer(nullptr); object != nullptr; object = item.nextInContainer(object)) {
        const DcmTag& tag = object->getTag();
        // DCMTK pads a value read with an odd length with a NUL, which no text but a UID may hold.
        if (object->isaString() && object->getVR() != EVR_UI && object->getLengthField() != 0) {
            char* text = nullptr;
            Uint32 length = 0;
            if (static_cast<DcmElement*>(object)->getString(text, length).good() && text != nullptr && length > 0 &&
                text[length - 1] == '\0')
                add(notes, skipped, describe(tag) + ": text of odd length, or padded with a NUL; read without the NUL");
        }
        if (object->ident() == EVR_SQ) {
            auto& sequence = static_cast<DcmSequenceOfItems&>(*object);
            for (DcmObject* child = sequence.nextInContainer(nullptr); child != nullptr;
                 child = sequence.nextInContainer(child))
                noteItem(static_cast<DcmItem&>(*child), notes, skipped);
        }
    }
}

}  // namespace

void noteReadFaults(DcmItem& item, std::vector<std::string>& notes) {
    std::size_t skipped = 0;
    noteItem(item, notes, skipped);
    if (skipped) notes.push_back("and " + std::to_string(skipped) + " more");
}

}  // namespace refcntr
