// The registry's table from keys (normalised URLs and page titles) to records; main thread.
#pragma once

#include "engine/HashedKey.h"

#include <QString>

#include <vector>

namespace orel {

class LinkCheckerUrl;

// Open addressing with linear probing in one array of slots that hold the key, its hash and the
// record. A lookup touches the slot where its hash starts and the key text found there; both
// addresses can be known before the lookup, so a reader that looks up many keys at once asks
// the cache for them first (prefetchSlot, then prefetchKeyText) and the lookups then find them
// at hand instead of each waiting on main memory in turn.
class RegistryTable
{
public:
    qsizetype size() const { return m_count; }
    bool isEmpty() const { return m_count == 0; }

    // Makes room for count keys without regrowing.
    void reserve(qsizetype count);
    void clear();

    // The record key names, or nullptr.
    LinkCheckerUrl *value(const HashedKey &key) const;
    bool contains(const HashedKey &key) const { return value(key) != nullptr; }
    // Makes key name record (not nullptr); answers the record it named before, or nullptr when
    // the key is new.
    LinkCheckerUrl *insert(const HashedKey &key, LinkCheckerUrl *record);
    // Drops every key that names record; answers how many.
    qsizetype removeRecord(const LinkCheckerUrl *record);

    // Asks the cache for the slot a lookup of this hash starts at.
    void prefetchSlot(size_t hash) const;
    // Asks the cache for the text of the key in that slot when its hash matches (read the slot
    // itself some time after prefetchSlot, or this waits for it).
    void prefetchKeyText(size_t hash) const;

private:
    struct Slot
    {
        QString key;
        size_t hash = 0;
        LinkCheckerUrl *record = nullptr; // nullptr: the slot is free
    };

    qsizetype home(size_t hash) const { return qsizetype(hash & m_mask); }
    qsizetype find(const HashedKey &key) const; // the slot holding key, or -1
    void rehash(qsizetype slotCount);
    void eraseAt(qsizetype i);

    std::vector<Slot> m_slots; // a power of two in size, at most half full
    size_t m_mask = 0;
    qsizetype m_count = 0;
};

} // namespace orel
