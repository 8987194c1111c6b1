// A chained hash table whose bucket count changes only when its owner resizes it, so that
// each index applies its own sizing rule; the exact 32-bit string hash of image keys; and a
// faster hash for texts that an index only places by.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>

#include "refcntr/platform/Arena.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

// FNV-1a over the bytes of the text: exact and case-sensitive.
inline unsigned stringHash(const RWCString& text) {
    std::uint32_t hash = 2166136261u;
    for (unsigned char byte : text) {
        hash ^= byte;
        hash *= 16777619u;
    }
    return hash;
}

// A hash of the bytes of a text, eight at a time. Faster than stringHash on UIDs, and used
// where only the placement of entries depends on it.
inline unsigned textHash(const char* text, std::size_t length) {
    constexpr std::uint64_t multiplier = 0xFF51AFD7ED558CCDull;
    std::uint64_t hash = 0x9E3779B97F4A7C15ull ^ length;
    std::size_t at = 0;
    for (; at + 8 <= length; at += 8) {
        std::uint64_t word;
        std::memcpy(&word, text + at, sizeof word);
        hash = (hash ^ word) * multiplier;
        hash ^= hash >> 32;
    }
    if (at < length) {
        // The last eight bytes, overlapping those already taken, or the whole of a short text.
        std::uint64_t tail = 0;
        if (length >= 8)
            std::memcpy(&tail, text + length - 8, sizeof tail);
        else
            for (std::size_t shift = 0; at < length; ++at, shift += 8) tail |= std::uint64_t(UINT8(text[at])) << shift;
        hash = (hash ^ tail) * multiplier;
    }
    // Every bit of the text reaches the low bits, which pick the bucket.
    hash ^= hash >> 33;
    hash *= 0xC4CEB9FE1A85EC53ull;
    return unsigned(hash ^ (hash >> 33));
}

// Texts of any kind that has data() and size(), hashed and compared by their bytes.
struct TextHash {
    template <class Text>
    unsigned operator()(const Text& text) const {
        return textHash(text.data(), text.size());
    }
};

struct TextEqual {
    template <class Left, class Right>
    bool operator()(const Left& left, const Right& right) const {
        return left.size() == right.size() && std::memcmp(left.data(), right.data(), left.size()) == 0;
    }
};

// Keys may occur more than once (each insert adds an entry). Lookups take any type that Hash
// and Equal take beside Key, so that an index of stored keys is searched without a copy.
// Entries never move in memory, so references to values stay valid until their entry is
// erased. The bucket array is allocated at the first insert and released by clear, so an
// empty table holds nothing on the heap.
template <class Key, class Value, class Hash, class Equal = std::equal_to<Key>>
class HashTable {
public:
    // A bucket count of 0 is taken as 2.
    explicit HashTable(unsigned buckets = 64) : itsBucketCount(buckets ? buckets : 2) {}
    HashTable(const HashTable&) = delete;
    HashTable& operator=(const HashTable&) = delete;
    ~HashTable() { clear(); }

    unsigned buckets() const { return itsBucketCount; }
    unsigned entries() const { return itsEntries; }

    // An entry. Entries and bucket arrays are arena blocks: an index is built while its object
    // is read. An entry keeps its key's hash, so that a resize does not hash every key again.
    struct Entry : ArenaAllocated {
        Entry(Key&& entryKey, unsigned keyHash, Entry* nextEntry)
            : key(std::move(entryKey)),
              value(),
              next(nextEntry),
              hash(keyHash) {}
        Key key;
        Value value;
        Entry* next;
        unsigned hash;
    };

    // The value of an entry equal to `key`, or null.
    template <class Lookup>
    Value* find(const Lookup& key) {
        Entry* node = findEntryOf(key);
        return node ? &node->value : nullptr;
    }
    template <class Lookup>
    const Value* find(const Lookup& key) const {
        const Entry* node = findEntryOf(key);
        return node ? &node->value : nullptr;
    }

    // Adds an entry with a value-initialised value, also when an equal key is already there.
    template <class Lookup>
    Value& insert(const Lookup& key) {
        return insertEntry(key, Hash()(key)).value;
    }
    // The same with the key's hash already taken, returning the entry: it stays where it is
    // until it is erased.
    template <class Lookup>
    Entry& insertEntry(const Lookup& key, unsigned hash) {
        if (!itsBuckets) itsBuckets = newBuckets(itsBucketCount);
        Entry*& head = itsBuckets[hash % itsBucketCount];
        head = new Entry(Key(key), hash, head);
        ++itsEntries;
        return *head;
    }
    // An entry equal to `key`, whose hash is `hash`, or null.
    template <class Lookup>
    Entry* findEntry(const Lookup& key, unsigned hash) const {
        if (!itsBuckets) return nullptr;
        for (Entry* node = itsBuckets[hash % itsBucketCount]; node; node = node->next)
            if (node->hash == hash && Equal()(node->key, key)) return node;
        return nullptr;
    }
    // Removes an entry of this table.
    void eraseEntry(Entry* entry) {
        for (Entry** link = &itsBuckets[entry->hash % itsBucketCount]; *link; link = &(*link)->next) {
            if (*link != entry) continue;
            unlink(link);
            return;
        }
    }

    // Removes one entry equal to `key`; returns whether there was one.
    template <class Lookup>
    bool erase(const Lookup& key) {
        if (!itsBuckets) return false;
        const unsigned hash = Hash()(key);
        for (Entry** link = &itsBuckets[hash % itsBucketCount]; *link; link = &(*link)->next) {
            if ((*link)->hash != hash || !Equal()((*link)->key, key)) continue;
            unlink(link);
            return true;
        }
        return false;
    }

    // Calls shouldErase(key, value) on every entry and removes those for which it is true.
    template <class Predicate>
    void eraseIf(Predicate shouldErase) {
        if (!itsBuckets) return;
        for (unsigned bucket = 0; bucket < itsBucketCount; ++bucket) {
            for (Entry** link = &itsBuckets[bucket]; *link;) {
                if (shouldErase((*link)->key, (*link)->value))
                    unlink(link);
                else
                    link = &(*link)->next;
            }
        }
    }

    // Calls visit(key, value) on every entry.
    template <class Visit>
    void forEach(Visit visit) const {
        if (!itsBuckets) return;
        for (unsigned bucket = 0; bucket < itsBucketCount; ++bucket)
            for (const Entry* node = itsBuckets[bucket]; node; node = node->next) visit(node->key, node->value);
    }

    // Removes every entry; the bucket count stays.
    void clear() {
        if (!itsBuckets) return;
        for (unsigned bucket = 0; bucket < itsBucketCount; ++bucket) {
            for (Entry* node = itsBuckets[bucket]; node;) {
                Entry* next = node->next;
                delete node;
                node = next;
            }
        }
        itsBuckets.reset();
        itsEntries = 0;
    }

    // Redistributes the entries over `buckets` buckets (0 is taken as 2).
    void resize(unsigned buckets) {
        if (!buckets) buckets = 2;
        if (itsBuckets) {
            Buckets old = std::move(itsBuckets);
            const unsigned oldCount = itsBucketCount;
            itsBuckets = newBuckets(buckets);
            itsBucketCount = buckets;
            for (unsigned bucket = 0; bucket < oldCount; ++bucket) {
                for (Entry* node = old[bucket]; node;) {
                    Entry* next = node->next;
                    Entry*& head = itsBuckets[node->hash % buckets];
                    node->next = head;
                    head = node;
                    node = next;
                }
            }
        }
        itsBucketCount = buckets;
    }

private:
    // Keys that Equal takes as equal must hash alike.
    template <class Lookup>
    Entry* findEntryOf(const Lookup& key) const {
        return findEntry(key, Hash()(key));
    }

    void unlink(Entry** link) {
        Entry* node = *link;
        *link = node->next;
        delete node;
        --itsEntries;
    }

    struct ReleaseBuckets {
        void operator()(Entry** buckets) const noexcept { releaseBlock(buckets); }
    };
    using Buckets = std::unique_ptr<Entry*[], ReleaseBuckets>;

    static Buckets newBuckets(unsigned count) {
        auto** buckets = static_cast<Entry**>(allocateBlock(count * sizeof(Entry*)));
        std::fill_n(buckets, count, nullptr);
        return Buckets(buckets);
    }

    Buckets itsBuckets;
    unsigned itsBucketCount;
    unsigned itsEntries = 0;
};

}  // namespace refcntr
