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

// What the random walk below seldom or never meets: a table with no slots yet, the empty key.
TEST(RegistryTable, EmptyTableAndEmptyKey)
{
    RegistryTable table;
    EXPECT_EQ(table.value(QStringLiteral("a")), nullptr);
    EXPECT_EQ(table.removeRecord(fakeRecord(1)), 0);
    table.prefetchSlot(HashedKey::hashOf(QStringLiteral("a"))); // harmless on no slots
    table.prefetchKeyText(HashedKey::hashOf(QStringLiteral("a")));
    EXPECT_FALSE(table.contains(QString()));
    EXPECT_EQ(table.insert(QString(QLatin1String("")), fakeRecord(4)), nullptr);
    EXPECT_TRUE(table.contains(QString()));
    EXPECT_EQ(table.insert(QString(), fakeRecord(5)), fakeRecord(4));
    table.clear();
    EXPECT_TRUE(table.isEmpty());
    EXPECT_EQ(table.value(QString()), nullptr);
}

TEST(RegistryTable, AgreesWithQHashThroughGrowthAndRemovals)
{
    // A small start, so that the table regrows many times, and few records, so that removing
    // one empties many slots in the middle of clusters (and clusters that wrap past the end).
    for (const qsizetype reserved : { 0, 16, 5000 }) {
        QRandomGenerator random(qsizetype(0x5eed) + reserved);
        RegistryTable table;
        table.reserve(reserved);
        QHash<QString, LinkCheckerUrl *> reference;
        for (int step = 0; step < 20000; ++step) {
            const QString key =
                    QStringLiteral("http://site.test/p%1.html").arg(random.bounded(3000));
            const int op = random.bounded(10);
            if (op < 6) {
                LinkCheckerUrl *record = fakeRecord(random.bounded(40));
                LinkCheckerUrl *before = reference.value(key, nullptr);
                ASSERT_EQ(table.insert(key, record), before) << step;
                reference.insert(key, record);
            } else if (op < 9) {
                ASSERT_EQ(table.value(key), reference.value(key, nullptr)) << step;
                table.prefetchSlot(HashedKey::hashOf(key));
                table.prefetchKeyText(HashedKey::hashOf(key));
            } else {
                LinkCheckerUrl *record = fakeRecord(random.bounded(40));
                const qsizetype expected = reference.removeIf(
                        [record](const auto &it) { return it.value() == record; });
                ASSERT_EQ(table.removeRecord(record), expected) << step;
            }
            ASSERT_EQ(table.size(), reference.size()) << step;
        }
        // Every key the reference holds is found, and nothing else.
        for (auto it = reference.cbegin(); it != reference.cend(); ++it)
            ASSERT_EQ(table.value(it.key()), it.value()) << qPrintable(it.key());
        for (int i = 0; i < 3000; ++i) {
            const QString key = QStringLiteral("http://site.test/p%1.html").arg(i);
            ASSERT_EQ(table.contains(key), reference.contains(key)) << i;
        }
    }
}
