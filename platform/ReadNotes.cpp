#include "refcntr/platform/ReadNotes.h"

#include <unordered_map>

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

// The dictionary's VR of each public tag met, looked up once per tag: a lookup takes DCMTK's
// dictionary lock, and a directory repeats the same few tags in every record.
class DictionaryVRs {
public:
    DcmEVR of(const DcmTag& tag) {
        const Uint32 key = (Uint32(tag.getGTag()) << 16) | tag.getETag();
        auto found = itsVRs.find(key);
        if (found == itsVRs.end())
            found = itsVRs.emplace(key, DcmTag(DcmTagKey(tag.getGTag(), tag.getETag())).getEVR()).first;
        return found->second;
    }

private:
    std::unordered_map<Uint32, DcmEVR> itsVRs;
};

void add(std::vector<std::string>& notes, std::size_t& skipped, std::string note) {
    if (notes.size() < mostNotes)
        notes.push_back(std::move(note));
    else
        ++skipped;
}

void noteItem(DcmItem& item, std::vector<std::string>& notes, std::size_t& skipped, DictionaryVRs& dictionary) {
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
        // Private elements are looked up without their creator here, so only public ones are
        // compared with the dictionary.
        if (tag.getGTag() % 2 == 0) {
            const DcmVR dictionaryVR(dictionary.of(tag));
            const DcmVR fileVR(object->getVR());
            if (dictionaryVR.getEVR() != EVR_UNKNOWN && dictionaryVR.getEVR() != EVR_UN &&
                !fileVR.isEquivalent(dictionaryVR))
                add(notes, skipped,
                    describe(tag) + ": VR " + fileVR.getVRName() + " where the dictionary has " +
                        dictionaryVR.getVRName() + "; kept as read");
        }
        if (object->ident() == EVR_SQ) {
            auto& sequence = static_cast<DcmSequenceOfItems&>(*object);
            for (DcmObject* child = sequence.nextInContainer(nullptr); child != nullptr;
                 child = sequence.nextInContainer(child))
                noteItem(static_cast<DcmItem&>(*child), notes, skipped, dictionary);
        }
    }
}

}  // namespace

void noteReadFaults(DcmItem& item, std::vector<std::string>& notes) {
    std::size_t skipped = 0;
    DictionaryVRs dictionary;
    noteItem(item, notes, skipped, dictionary);
    if (skipped) notes.push_back("and " + std::to_string(skipped) + " more");
}

}  // namespace refcntr
