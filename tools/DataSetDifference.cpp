#include "DataSetDifference.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "SameMeaning.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

using Items = RWTPtrOrderedVector<DICOMDataObject>;

std::size_t weightOf(const DICOMObject& data);

// How much is lost with an element: one for the element, one for each item plus its content.
std::size_t weightOf(const VR& element) {
    std::size_t weight = 1;
    if (const SequenceVR* sequence = element.GetAsSequenceVR())
        for (const DICOMDataObject* item : sequence->GetSequenceItems()) weight += 1 + weightOf(*item);
    return weight;
}

std::size_t weightOf(const DICOMObject& data) {
    std::size_t weight = 0;
    for (const auto& element : data) weight += weightOf(*element);
    return weight;
}

// Compares `before` with `after` and returns the weight of what `after` lacks. With somewhere
// to put them it records the paths; without, it only weighs (to choose between alignments).
class Walk {
public:
    explicit Walk(std::vector<std::string>* paths, std::vector<std::string>* changed = nullptr,
                  const std::function<bool(const MAttributeTag&)>* derived = nullptr)
        : itsPaths(paths),
          itsChanged(changed),
          itsDerived(derived) {}

    std::size_t dataSets(const DICOMObject& before, const DICOMObject& after, const std::string& prefix) {
        std::size_t lost = 0;
        for (const auto& element : before) {
            const std::string path = itsPaths != nullptr ? prefix + element->GetTag().ToString() : std::string();
            const VR* counterpart = after.GetVR(element->GetGroup(), element->GetElement());
            if (counterpart == nullptr) {
                lost += missing(weightOf(*element), path);
            } else if (itsChanged != nullptr && element->GetAsSequenceVR() == nullptr &&
                       !(*itsDerived)(element->GetTag()) && !sameMeaning(*element, *counterpart)) {
                itsChanged->push_back(path);
            } else if (const SequenceVR* sequence = element->GetAsSequenceVR()) {
                const SequenceVR* afterSequence = counterpart->GetAsSequenceVR();
                static const Items noItems;
                lost += items(sequence->GetSequenceItems(), afterSequence ? afterSequence->GetSequenceItems() : noItems,
                              path);
            }
        }
        return lost;
    }

private:
    std::size_t items(const Items& before, const Items& after, const std::string& path) {
        const std::vector<bool> kept = keptItems(before, after);
        std::size_t lost = 0;
        std::size_t next = 0;
        for (std::size_t i = 0; i < before.size(); ++i) {
            const std::string itemPath = itsPaths != nullptr ? path + "[" + std::to_string(i) + "]" : std::string();
            if (kept[i])
                lost += dataSets(*before[i], *after[next++], itemPath + "/");
            else
                lost += missing(1 + weightOf(*before[i]), itemPath);
        }
        return lost;
    }

    // Which items of `before` have a counterpart in `after`, matched in order. With as many
    // items or more, item i matches item i. With fewer, the n - m items left out are chosen by
    // dynamic programming over (items seen, items left out) to lose the least weight; on a tie
    // the earlier item is kept.
    static std::vector<bool> keptItems(const Items& before, const Items& after) {
        const std::size_t n = before.size();
        const std::size_t m = after.size();
        if (m >= n) return std::vector<bool>(n, true);

        const std::size_t skips = n - m;
        constexpr std::size_t unreachable = std::numeric_limits<std::size_t>::max();
        Walk weigh(nullptr);
        std::vector<std::size_t> best(skips + 1, unreachable);
        std::vector<std::size_t> next(skips + 1);
        std::vector<std::vector<bool>> leftOut(n, std::vector<bool>(skips + 1));
        best[0] = 0;
        for (std::size_t i = 0; i < n; ++i) {
            std::fill(next.begin(), next.end(), unreachable);
            const std::size_t wholeItem = 1 + weightOf(*before[i]);
            for (std::size_t k = 0; k <= skips && k <= i; ++k) {
                if (best[k] == unreachable) continue;
                if (k < skips && best[k] + wholeItem <= next[k + 1]) {
                    next[k + 1] = best[k] + wholeItem;
                    leftOut[i][k + 1] = true;
                }
                const std::size_t j = i - k;
                if (j < m) {
                    const std::size_t cost = best[k] + weigh.dataSets(*before[i], *after[j], std::string());
                    if (cost < next[k]) {
                        next[k] = cost;
                        leftOut[i][k] = false;
                    }
                }
            }
            best.swap(next);
        }

        std::vector<bool> kept(n, true);
        std::size_t k = skips;
        for (std::size_t i = n; i-- > 0;) {
            if (leftOut[i][k]) {
                kept[i] = false;
                --k;
            }
        }
        return kept;
    }

    std::size_t missing(std::size_t weight, const std::string& path) {
        if (itsPaths != nullptr) itsPaths->push_back(path);
        return weight;
    }

    std::vector<std::string>* itsPaths;
    std::vector<std::string>* itsChanged;
    const std::function<bool(const MAttributeTag&)>* itsDerived;
};

}  // namespace

std::vector<std::string> missingElements(const DICOMObject& before, const DICOMObject& after) {
    std::vector<std::string> paths;
    Walk(&paths).dataSets(before, after, std::string());
    return paths;
}

Differences differences(const DICOMObject& before, const DICOMObject& after,
                        const std::function<bool(const MAttributeTag&)>& derived) {
    Differences found;
    Walk(&found.missing, &found.changed, &derived).dataSets(before, after, std::string());
    return found;
}

}  // namespace refcntr
