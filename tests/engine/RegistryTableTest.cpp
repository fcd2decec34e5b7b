// The registry's key table against QHash as the reference, through growth, replacement and the
// removal of records from crowded clusters.
#include "engine/RegistryTable.h"

#include <gtest/gtest.h>

#include <QHash>
#include <QRandomGenerator>

#include <array>

using namespace orel;

namespace {

// Records are only compared by address here.
LinkCheckerUrl *fakeRecord(int n)
{
    static std::array<char, 64> storage;
    return reinterpret_cast<LinkCheckerUrl *>(storage.data() + n);
}

} // namespace

TEST(RegistryTable, AgreesWithQHashThroughGrowthAndRemovals)
{
    // A small start, so that the table regrows many times, and few records, so that removing
    // one empties many slots in the middle of clusters (and clusters that wrap past the end).
    // One key is the empty one; the first table starts without slots.
    const auto keyOf = [](int n) {
        return n ? QStringLiteral("http://site.test/p%1.html").arg(n) : QString(QLatin1String(""));
    };
    for (const qsizetype reserved : { 0, 16, 5000 }) {
        QRandomGenerator random(qsizetype(0x5eed) + reserved);
        RegistryTable table;
        table.reserve(reserved);
        EXPECT_EQ(table.value(keyOf(1)), nullptr);
        EXPECT_EQ(table.removeRecord(fakeRecord(1)), 0);
        table.prefetchSlot(HashedKey::hashOf(keyOf(1)));
        table.prefetchKeyText(HashedKey::hashOf(keyOf(1)));
        QHash<QString, LinkCheckerUrl *> reference;
        for (int step = 0; step < 20000; ++step) {
            const QString key = keyOf(int(random.bounded(3000)));
            const int op = random.bounded(10);
            if (op < 6) {
                LinkCheckerUrl *record = fakeRecord(random.bounded(40));
                LinkCheckerUrl *before = reference.value(key, nullptr);
                ASSERT_EQ(table.insert(key, record), before) << step;
                reference.insert(key, record);
            } else if (op < 9) {
                table.prefetchSlot(HashedKey::hashOf(key));
                table.prefetchKeyText(HashedKey::hashOf(key));
                ASSERT_EQ(table.value(key), reference.value(key, nullptr)) << step;
            } else {
                LinkCheckerUrl *record = fakeRecord(random.bounded(40));
                const qsizetype expected = reference.removeIf(
                        [record](const auto &it) { return it.value() == record; });
                ASSERT_EQ(table.removeRecord(record), expected) << step;
            }
            ASSERT_EQ(table.size(), reference.size()) << step;
        }
        // Every key is found when the reference holds it, and only then.
        for (int i = 0; i < 3000; ++i)
            ASSERT_EQ(table.value(keyOf(i)), reference.value(keyOf(i), nullptr)) << i;
        EXPECT_EQ(table.value(QString()), reference.value(keyOf(0), nullptr)); // null is empty
        table.clear();
        EXPECT_TRUE(table.isEmpty() && !table.value(keyOf(1)));
    }
}
