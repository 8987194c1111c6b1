// Following a directory's record links: a depth-first walk over the two links of each record,
// so that a link back to a record still being walked is told apart (a cycle) from a link to a
// record finished before (reached twice).
#include "refcntr/directory/RecordLinks.h"

#include <unordered_map>

namespace refcntr {

namespace {

enum class Visit { NotYet, Walking, Done };

std::string at(UINT32 offset) { return "directory record at offset " + std::to_string(offset); }

class LinkWalk {
public:
    LinkWalk(const std::vector<RecordPosition>& records, std::vector<std::string>& notes)
        : itsRecords(records),
          itsNotes(notes),
          itsVisits(records.size(), Visit::NotYet) {
        itsResult.parents.assign(records.size(), RecordHierarchy::noParent);
        itsResult.children.resize(records.size());
        itsIndexAt.reserve(records.size());
        for (unsigned i = 0; i < records.size(); ++i) itsIndexAt.emplace(records[i].offset, i);
    }

    void fromRoot(UINT32 rootOffset) {
        if (rootOffset == 0) return;
        auto found = itsIndexAt.find(rootOffset);
        if (found == itsIndexAt.end()) {
            itsNotes.push_back("root directory first record offset (0004,1200) " + std::to_string(rootOffset) +
                               " leads to no record; the root level is taken from the records no link reaches");
            return;
        }
        enter(found->second, RecordHierarchy::noParent);
        walk();
    }

    // Records no link reaches go to the root level: first those that no other unreached record
    // links to, then any left (they link to each other in a cycle), each in file order.
    void adoptUnreached() {
        std::vector<bool> linkedTo(itsRecords.size(), false);
        for (unsigned i = 0; i < itsRecords.size(); ++i) {
            if (itsVisits[i] != Visit::NotYet) continue;
            for (UINT32 target : {itsRecords[i].next, itsRecords[i].lowerLevel}) {
                auto found = itsIndexAt.find(target);
                if (target != 0 && found != itsIndexAt.end()) linkedTo[found->second] = true;
            }
        }
        for (bool firstPass : {true, false})
            for (unsigned i = 0; i < itsRecords.size(); ++i) {
                if (itsVisits[i] != Visit::NotYet || (firstPass && linkedTo[i])) continue;
                if (itsRecords[i].inUse)
                    itsNotes.push_back(at(itsRecords[i].offset) + ": no link reaches it; kept at the root level");
                enter(i, RecordHierarchy::noParent);
                walk();
            }
    }

    RecordHierarchy take() { return std::move(itsResult); }

private:
    struct Step {
        unsigned record;
        int linksFollowed;  // 0: none yet, 1: the lower-level link, 2: both
    };

    void enter(unsigned record, unsigned parent) {
        itsVisits[record] = Visit::Walking;
        itsResult.parents[record] = parent;
        (parent == RecordHierarchy::noParent ? itsResult.roots : itsResult.children[parent]).push_back(record);
        itsSteps.push_back({record, 0});
    }

    void walk() {
        while (!itsSteps.empty()) {
            const Step step = itsSteps.back();
            const RecordPosition& record = itsRecords[step.record];
            if (step.linksFollowed == 2) {
                itsVisits[step.record] = Visit::Done;
                itsSteps.pop_back();
                continue;
            }
            ++itsSteps.back().linksFollowed;
            if (step.linksFollowed == 0)
                follow(record, record.lowerLevel, "lower-level directory offset (0004,1420)", step.record);
            else
                follow(record, record.next, "next directory record offset (0004,1400)", itsResult.parents[step.record]);
        }
    }

    void follow(const RecordPosition& from, UINT32 target, const char* link, unsigned parent) {
        if (target == 0) return;
        auto found = itsIndexAt.find(target);
        const std::string fault = at(from.offset) + ": " + link + " " + std::to_string(target);
        if (found == itsIndexAt.end()) {
            itsNotes.push_back(fault + " leads to no record; the link is cut");
        } else if (itsVisits[found->second] == Visit::Walking) {
            itsNotes.push_back(fault + " leads back to a record it comes from (a cycle); the link is cut");
        } else if (itsVisits[found->second] == Visit::Done) {
            itsNotes.push_back(fault + " leads to a record another link reached first; the link is cut");
        } else {
            enter(found->second, parent);
        }
    }

    const std::vector<RecordPosition>& itsRecords;
    std::vector<std::string>& itsNotes;
    std::vector<Visit> itsVisits;
    std::unordered_map<UINT32, unsigned> itsIndexAt;
    std::vector<Step> itsSteps;
    RecordHierarchy itsResult;
};

}  // namespace

RecordHierarchy resolveRecordLinks(const std::vector<RecordPosition>& records, UINT32 rootOffset,
                                   std::vector<std::string>& notes) {
    LinkWalk walk(records, notes);
    walk.fromRoot(rootOffset);
    walk.adoptUnreached();
    return walk.take();
}

}  // namespace refcntr
