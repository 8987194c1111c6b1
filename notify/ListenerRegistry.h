// The listeners registered on one container, by image and frame.
#pragma once

#include <memory>
#include <vector>

#include "refcntr/notify/ImgFrmKey.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

class PSChangeListener;
class ReferencedImageSequence;

// One registration: a listener (not owned) and the image and frame it listens for.
// Registrations compare by listener address only, so all of one listener's are equal.
class RegisteredListener {
public:
    RegisteredListener(PSChangeListener& listener, const RWCString& uid);
    RegisteredListener(PSChangeListener& listener, const RWCString& uid, int frame);
    RegisteredListener(const RegisteredListener&) = default;

    PSChangeListener* getPSChangeListener() const { return itsListener; }
    const ImgFrmKey& getImageFrameKey() const { return itsKey; }

    unsigned hash() const;
    bool operator==(const RegisteredListener& other) const { return itsListener == other.itsListener; }
    bool operator<(const RegisteredListener& other) const { return itsListener < other.itsListener; }

private:
    PSChangeListener* itsListener;
    ImgFrmKey itsKey;
};

// Listeners (not owned) in ascending order of address; duplicates kept. Never copied.
class PSChangeListenerList {
public:
    PSChangeListenerList() = default;
    PSChangeListenerList(const PSChangeListenerList&) = delete;
    PSChangeListenerList& operator=(const PSChangeListenerList&) = delete;

    void insert(PSChangeListener* listener);
    // Removes the first occurrence; returns whether it was there.
    bool remove(PSChangeListener* listener);
    PSChangeListener* get(unsigned index) const { return itsListeners[index]; }
    unsigned entries() const { return unsigned(itsListeners.size()); }
    bool isEmpty() const { return itsListeners.empty(); }

private:
    std::vector<PSChangeListener*> itsListeners;
};

// From image-and-frame key to the listeners registered for it. Kept in step with the
// registrations; not consulted when changes are delivered. Holds its own copy of each key.
// The table is allocated at the first registration; until then buckets() is the count it
// will start with.
class ListenerByImageFrameIndex {
public:
    explicit ListenerByImageFrameIndex(unsigned buckets = 64);
    ListenerByImageFrameIndex(const ListenerByImageFrameIndex& other);
    ListenerByImageFrameIndex& operator=(const ListenerByImageFrameIndex& other);
    ~ListenerByImageFrameIndex();

    void addListener(RegisteredListener* registration);
    void removeListener(RegisteredListener* registration);
    static unsigned getKeyHash(const ImgFrmKey& key) { return key.hash(); }

    // The listeners registered for exactly this key, or null.
    const PSChangeListenerList* find(const ImgFrmKey& key) const;
    unsigned entries() const;
    unsigned buckets() const;

private:
    struct Table;
    unsigned itsInitialBuckets;
    std::unique_ptr<Table> itsTable;
};

// The registrations of one container: a vector sorted by listener address (a new
// registration goes after the listener's existing ones) plus the image-and-frame index.
// Holds nothing on the heap until the first registration. A copy shares the registrations
// with its source; each registration lives as long as some registry holds it.
class ListenerRegistry {
public:
    using ListenerByImageFrameIndex = refcntr::ListenerByImageFrameIndex;
    static const RWCString itsEmptyString;

    explicit ListenerRegistry(unsigned capacity = 64);
    // Copies share the registrations of the source (PSChangeHandler never copies a registry).
    ListenerRegistry(const ListenerRegistry& other);
    ListenerRegistry& operator=(const ListenerRegistry& other);
    ~ListenerRegistry();

    void addListener(PSChangeListener& listener, const RWCString& uid);
    void addListener(PSChangeListener& listener, const RWCString& uid, int frame);
    void removeListener(PSChangeListener* listener);
    void removeListener(PSChangeListener* listener, const RWCString& uid);
    void removeListener(PSChangeListener* listener, const RWCString& uid, int frame);

    // Every registered listener once, in ascending order of address.
    void getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out) const;
    // The listeners with a registration that `images` references (all of them when null).
    void getPSChangeListeners(RWTPtrSlist<PSChangeListener>& out, const ReferencedImageSequence* images) const;

    const RegisteredListener* get(unsigned index) const { return itsRegistrations[index].get(); }
    unsigned entries() const { return unsigned(itsRegistrations.size()); }
    bool isEmpty() const { return itsRegistrations.empty(); }
    const ListenerByImageFrameIndex& index() const { return itsIndex; }

private:
    using Registration = std::shared_ptr<RegisteredListener>;

    unsigned indexOf(const PSChangeListener* listener) const;
    bool isOverlappingListenerRegistered(const RegisteredListener* registration) const;
    void add(const RegisteredListener& registration);
    // Removes the listener's registrations whose key satisfies `matches`.
    template <class KeyMatches>
    void removeRegistrations(const PSChangeListener* listener, KeyMatches matches);

    unsigned itsCapacity;
    std::vector<Registration> itsRegistrations;
    ListenerByImageFrameIndex itsIndex;
};

}  // namespace refcntr
