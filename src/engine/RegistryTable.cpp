#include "engine/RegistryTable.h"

#include <bit>
#include <utility>

namespace orel {

namespace {

constexpr qsizetype MinSlots = 16;

} // namespace

void RegistryTable::reserve(qsizetype count)
{
    const qsizetype wanted =
            std::max<qsizetype>(MinSlots, qsizetype(std::bit_ceil(size_t(count) * 2)));
    if (wanted > qsizetype(m_slots.size()))
        rehash(wanted);
}

void RegistryTable::clear()
{
    m_slots.clear();
    m_slots.shrink_to_fit();
    m_mask = 0;
    m_count = 0;
}

qsizetype RegistryTable::find(const HashedKey &key) const
{
    if (m_slots.empty())
        return -1;
    const size_t hash = key.hash();
    for (qsizetype i = home(hash);; i = (i + 1) & qsizetype(m_mask)) {
        const Slot &s = m_slots[size_t(i)];
        if (!s.record)
            return -1;
        if (s.hash == hash && s.key == key.text())
            return i;
    }
}

LinkCheckerUrl *RegistryTable::value(const HashedKey &key) const
{
    const qsizetype i = find(key);
    return i < 0 ? nullptr : m_slots[size_t(i)].record;
}

LinkCheckerUrl *RegistryTable::insert(const HashedKey &key, LinkCheckerUrl *record)
{
    Q_ASSERT(record);
    if (const qsizetype i = find(key); i >= 0)
        return std::exchange(m_slots[size_t(i)].record, record);
    if (qsizetype(m_slots.size()) < 2 * (m_count + 1))
        rehash(std::max<qsizetype>(MinSlots, qsizetype(m_slots.size()) * 2));
    qsizetype i = home(key.hash());
    while (m_slots[size_t(i)].record)
        i = (i + 1) & qsizetype(m_mask);
    m_slots[size_t(i)] = { key.text(), key.hash(), record };
    ++m_count;
    return nullptr;
}

qsizetype RegistryTable::removeRecord(const LinkCheckerUrl *record)
{
    if (!record)
        return 0;
    qsizetype removed = 0;
    // Erasing shifts later slots of the cluster back, the first into the slot just erased, so
    // that slot is looked at again; the others land on slots not yet looked at, or (a cluster
    // wrapping past the end) come from slots at the front that were looked at already.
    for (size_t i = 0; i < m_slots.size();) {
        if (m_slots[i].record == record) {
            eraseAt(qsizetype(i));
            ++removed;
        } else {
            ++i;
        }
    }
    return removed;
}

void RegistryTable::eraseAt(qsizetype i)
{
    // Backward-shift deletion: every slot after the hole that could live in it moves up, so a
    // probe never meets a gap before the key it looks for.
    const qsizetype mask = qsizetype(m_mask);
    qsizetype hole = i;
    for (qsizetype j = (i + 1) & mask; m_slots[size_t(j)].record; j = (j + 1) & mask) {
        const qsizetype want = home(m_slots[size_t(j)].hash);
        // j's key may fill the hole when its home is not in the cyclic range (hole, j].
        const bool homeBetween =
                hole <= j ? (want > hole && want <= j) : (want > hole || want <= j);
        if (!homeBetween) {
            m_slots[size_t(hole)] = std::move(m_slots[size_t(j)]);
            hole = j;
        }
    }
    m_slots[size_t(hole)] = Slot();
    --m_count;
}

void RegistryTable::rehash(qsizetype slotCount)
{
    std::vector<Slot> old = std::exchange(m_slots, std::vector<Slot>(size_t(slotCount)));
    m_mask = size_t(slotCount) - 1;
    for (Slot &s : old) {
        if (!s.record)
            continue;
        qsizetype i = home(s.hash);
        while (m_slots[size_t(i)].record)
            i = (i + 1) & qsizetype(m_mask);
        m_slots[size_t(i)] = std::move(s);
    }
}

void RegistryTable::prefetchSlot(size_t hash) const
{
    if (!m_slots.empty())
        __builtin_prefetch(&m_slots[size_t(home(hash))]);
}

void RegistryTable::prefetchKeyText(size_t hash) const
{
    if (m_slots.empty())
        return;
    const Slot &s = m_slots[size_t(home(hash))];
    if (s.record && s.hash == hash)
        __builtin_prefetch(s.key.constData());
}

} // namespace orel
