// A chained hash table whose bucket count changes only when its owner resizes it, so that
// each index applies its own sizing rule; and the exact 32-bit string hash of the indexes.
#pragma once

#include <algorithm>
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

struct StringHash {
    unsigned operator()(const RWCString& text) const { return stringHash(text); }
};

// Keys may occur more than once (each insert adds an entry). Entries never move in memory, so
// references to values stay valid until their entry is erased. The bucket array is allocated
// at the first insert and released by clear, so an empty table holds nothing on the heap.
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

    // The value of an entry equal to `key`, or null.
    Value* find(const Key& key) {
        Node* node = findNode(key);
        return node ? &node->value : nullptr;
    }
    const Value* find(const Key& key) const {
        const Node* node = findNode(key);
        return node ? &node->value : nullptr;
    }

    // Adds an entry with a value-initialised value, also when an equal key is already there.
    Value& insert(const Key& key) {
        if (!itsBuckets) itsBuckets = newBuckets(itsBucketCount);
        Node*& head = itsBuckets[bucketOf(key)];
        head = new Node(key, head);
        ++itsEntries;
        return head->value;
    }

    // Removes one entry equal to `key`; returns whether there was one.
    bool erase(const Key& key) {
        if (!itsBuckets) return false;
        for (Node** link = &itsBuckets[bucketOf(key)]; *link; link = &(*link)->next) {
            if (!Equal()((*link)->key, key)) continue;
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
            for (Node** link = &itsBuckets[bucket]; *link;) {
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
            for (const Node* node = itsBuckets[bucket]; node; node = node->next) visit(node->key, node->value);
    }

    // Removes every entry; the bucket count stays.
    void clear() {
        if (!itsBuckets) return;
        for (unsigned bucket = 0; bucket < itsBucketCount; ++bucket) {
            for (Node* node = itsBuckets[bucket]; node;) {
                Node* next = node->next;
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
                for (Node* node = old[bucket]; node;) {
                    Node* next = node->next;
                    Node*& head = itsBuckets[bucketOf(node->key)];
                    node->next = head;
                    head = node;
                    node = next;
                }
            }
        }
        itsBucketCount = buckets;
    }

private:
    // Nodes and bucket arrays are arena blocks: an index is built while its object is read.
    struct Node : ArenaAllocated {
        Node(const Key& nodeKey, Node* nextNode) : key(nodeKey), value(), next(nextNode) {}
        Key key;
        Value value;
        Node* next;
    };

    unsigned bucketOf(const Key& key) const { return Hash()(key) % itsBucketCount; }

    Node* findNode(const Key& key) const {
        if (!itsBuckets) return nullptr;
        for (Node* node = itsBuckets[bucketOf(key)]; node; node = node->next)
            if (Equal()(node->key, key)) return node;
        return nullptr;
    }

    void unlink(Node** link) {
        Node* node = *link;
        *link = node->next;
        delete node;
        --itsEntries;
    }

    struct ReleaseBuckets {
        void operator()(Node** buckets) const noexcept { releaseBlock(buckets); }
    };
    using Buckets = std::unique_ptr<Node*[], ReleaseBuckets>;

    static Buckets newBuckets(unsigned count) {
        auto** buckets = static_cast<Node**>(allocateBlock(count * sizeof(Node*)));
        std::fill_n(buckets, count, nullptr);
        return Buckets(buckets);
    }

    Buckets itsBuckets;
    unsigned itsBucketCount;
    unsigned itsEntries = 0;
};

}  // namespace refcntr
