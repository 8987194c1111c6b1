#include "refcntr/notify/ListenerRegistry.h"

#include <algorithm>
#include <cstdint>
#include <functional>

#include "refcntr/notify/HashTable.h"
#include "refcntr/notify/ReferencedImageSequence.h"

namespace refcntr {

namespace {
bool isBefore(const PSChangeListener* left, const PSChangeListener* right) {
    return std::less<const PSChangeListener*>()(left, right);
}
}  // namespace

RegisteredListener::RegisteredListener(PSChangeListener& listener, const RWCString& uid)
    : itsListener(&listener),
      itsKey(uid) {}

RegisteredListener::RegisteredListener(PSChangeListener& listener, const RWCString& uid, int frame)
    : itsListener(&listener),
      itsKey(uid, frame) {}

unsigned RegisteredListener::hash() const { return unsigned(reinterpret_cast<std::uintptr_t>(itsListener)); }

void PSChangeListenerList::insert(PSChangeListener* listener) {
    itsListeners.insert(std::upper_bound(itsListeners.begin(), itsListeners.end(), listener, isBefore), listener);
}

bool PSChangeListenerList::remove(PSChangeListener* listener) {
    auto position = std::find(itsListeners.begin(), itsListeners.end(), listener);
    if (position == itsListeners.end()) return false;
    itsListeners.erase(position);
    return true;
}

struct KeyHash {
    unsigned operator()(const ImgFrmKey& key) const { return ListenerByImageFrameIndex::getKeyHash(key); }
};

struct ListenerByImageFrameIndex::Table : HashTable<ImgFrmKey, PSChangeListenerList, KeyHash> {
    using HashTable::HashTable;
};

ListenerByImageFrameIndex::ListenerByImageFrameIndex(unsigned buckets) : itsInitialBuckets(buckets ? buckets : 2) {}

ListenerByImageFrameIndex::ListenerByImageFrameIndex(const ListenerByImageFrameIndex& other)
    : itsInitialBuckets(other.itsInitialBuckets) {
    *this = other;
}

ListenerByImageFrameIndex& ListenerByImageFrameIndex::operator=(const ListenerByImageFrameIndex& other) {
    if (this == &other) return *this;
    itsInitialBuckets = other.itsInitialBuckets;
    itsTable.reset();
    if (!other.itsTable) return *this;
    itsTable = std::make_unique<Table>(other.itsTable->buckets());
    other.itsTable->forEach([this](const ImgFrmKey& key, const PSChangeListenerList& listeners) {
        PSChangeListenerList& copy = itsTable->insert(key);
        for (unsigned i = 0; i < listeners.entries(); ++i) copy.insert(listeners.get(i));
    });
    return *this;
}

ListenerByImageFrameIndex::~ListenerByImageFrameIndex() = default;

void ListenerByImageFrameIndex::addListener(RegisteredListener* registration) {
    if (!itsTable) itsTable = std::make_unique<Table>(itsInitialBuckets);
    const ImgFrmKey& key = registration->getImageFrameKey();
    PSChangeListenerList* listeners = itsTable->find(key);
    if (!listeners) {
        if (itsTable->entries() >= (3 * itsTable->buckets() + 3) / 4) itsTable->resize(2 * itsTable->buckets() + 2);
        listeners = &itsTable->insert(key);
    }
    listeners->insert(registration->getPSChangeListener());
}

void ListenerByImageFrameIndex::removeListener(RegisteredListener* registration) {
    if (!itsTable) return;
    const ImgFrmKey& key = registration->getImageFrameKey();
    PSChangeListenerList* listeners = itsTable->find(key);
    if (!listeners) return;
    listeners->remove(registration->getPSChangeListener());
    if (listeners->isEmpty()) itsTable->erase(key);
}

const PSChangeListenerList* ListenerByImageFrameIndex::find(const ImgFrmKey& key) const {
    return itsTable ? itsTable->find(key) : nullptr;
}

unsigned ListenerByImageFrameIndex::entries() const { return itsTable ? itsTable->entries() : 0; }

unsigned ListenerByImageFrameIndex::buckets() const { return itsTable ? itsTable->buckets() : itsInitialBuckets; }

const RWCString ListenerRegistry::itsEmptyString;

ListenerRegistry::ListenerRegistry(unsigned capacity) : itsCapacity(capacity), itsIndex(64) {}

ListenerRegistry::ListenerRegistry(const ListenerRegistry& other) = default;

ListenerRegistry& ListenerRegistry::operator=(const ListenerRegistry& other) = default;

ListenerRegistry::~ListenerRegistry() = default;

void ListenerRegistry::addListener(PSChangeListener& listener, const RWCString& uid) {
    const RegisteredListener registration(listener, uid);
    if (!isOverlappingListenerRegistered(&registration)) add(registration);
}

void ListenerRegistry::addListener(PSChangeListener& listener, const RWCString& uid, int frame) {
    const RegisteredListener registration(listener, uid, frame);
    if (!isOverlappingListenerRegistered(&registration)) add(registration);
}

void ListenerRegistry::add(const RegisteredListener& registration) {
    if (itsRegistrations.capacity() == 0) itsRegistrations.reserve(itsCapacity);
    const PSChangeListener* listener = registration.getPSChangeListener();
    auto position = std::upper_bound(itsRegistrations.begin(), itsRegistrations.end(), listener,
                                     [](const PSChangeListener* wanted, const Registration& entry) {
                                         return isBefore(wanted, entry->getPSChangeListener());
                                     });
    position = itsRegistrations.insert(position, std::make_shared<RegisteredListener>(registration));
    itsIndex.addListener(position->get());
}

// The listener's first registration when it has one. Otherwise the entry where the search
// ended (the insertion point, kept within the vector), walked back to the first registration
// of that entry's listener. The all-ones value when there are no registrations.
unsigned ListenerRegistry::indexOf(const PSChangeListener* listener) const {
    if (itsRegistrations.empty()) return unsigned(-1);
    auto position = std::lower_bound(itsRegistrations.begin(), itsRegistrations.end(), listener,
                                     [](const Registration& entry, const PSChangeListener* wanted) {
                                         return isBefore(entry->getPSChangeListener(), wanted);
                                     });
    std::size_t index = std::min<std::size_t>(position - itsRegistrations.begin(), itsRegistrations.size() - 1);
    const PSChangeListener* owner = itsRegistrations[index]->getPSChangeListener();
    while (index > 0 && itsRegistrations[index - 1]->getPSChangeListener() == owner) --index;
    return unsigned(index);
}

// A listener never holds two registrations of which one covers the other.
bool ListenerRegistry::isOverlappingListenerRegistered(const RegisteredListener* registration) const {
    const PSChangeListener* listener = registration->getPSChangeListener();
    unsigned index = indexOf(listener);
    if (index >= entries() || itsRegistrations[index]->getPSChangeListener() != listener) return false;
    const ImgFrmKey& wanted = registration->getImageFrameKey();
    if (wanted.isAnyImageKey()) return true;
    for (; index < entries() && itsRegistrations[index]->getPSChangeListener() == listener; ++index) {
        const ImgFrmKey& existing = itsRegistrations[index]->getImageFrameKey();
        if (existing.isAnyImageKey()) return true;
        if (existing.isSameImage(wanted) && (existing.isAnyFrameKey() || wanted.isAnyFrameKey() || existing == wanted))
            return true;
    }
    return false;
}

template <class KeyMatches>
void ListenerRegistry::removeRegistrations(const PSChangeListener* listener, KeyMatches matches) {
    unsigned index = indexOf(listener);
    while (index < entries() && itsRegistrations[index]->getPSChangeListener() == listener) {
        if (!matches(itsRegistrations[index]->getImageFrameKey())) {
            ++index;
            continue;
        }
        itsIndex.removeListener(itsRegistrations[index].get());
        itsRegistrations.erase(itsRegistrations.begin() + index);
    }
}

void ListenerRegistry::removeListener(PSChangeListener* listener) {
    removeRegistrations(listener, [](const ImgFrmKey&) { return true; });
}

void ListenerRegistry::removeListener(PSChangeListener* listener, const RWCString& uid) {
    if (uid.empty()) return removeListener(listener);
    removeRegistrations(listener, [&uid](const ImgFrmKey& key) { return key.sopInstanceUID() == uid; });
}

void ListenerRegistry::removeListener(PSChangeListener* listener, const RWCString& uid, int frame) {
    if (uid.empty()) return removeListener(listener);
    const ImgFrmKey frameKey(uid, frame);
    removeRegistrations(listener, [&frameKey](const ImgFrmKey& key) { return key == frameKey; });
}

void ListenerRegistry::getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out) const {
    getPSChangeListeners(out, nullptr);
}

void ListenerRegistry::getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out,
                                            const ReferencedImageSequence* images) const {
    out.clear();
    const PSChangeListener* lastAppended = nullptr;
    for (const Registration& registration : itsRegistrations) {
        PSChangeListener* listener = registration->getPSChangeListener();
        if (listener == lastAppended) continue;
        if (images && !images->references(registration->getImageFrameKey())) continue;
        out.push_back(listener);
        lastAppended = listener;
    }
}

}  // namespace refcntr
