// The data source base: ids, positional and sorted access, the two sorts and queued reloads.
#include "ReportsTestSupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <thread>

using namespace orel;
using namespace orel::reportstest;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// The numbers of the sorted copy, in sorted order.
std::vector<float> sortedNumbers(const bhDataSource &source)
{
    std::vector<float> out;
    for (int i = 0;; ++i) {
        const auto *item = static_cast<const Item *>(source.getnthSortedItem(i));
        if (!item)
            return out;
        out.push_back(item->number);
    }
}

// NaN compares unequal to itself; compare sequences treating NaN as equal to NaN.
bool sameNumbers(const std::vector<float> &a, const std::vector<float> &b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!(a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i]))))
            return false;
    }
    return true;
}

} // namespace

TEST(DataSourceIds, GivesAndRaisesIdsAndClearStartsAgain)
{
    struct Case
    {
        std::vector<quint32> given;
        std::vector<quint32> expected;
        qint32 highest;
    };
    const Case cases[] = {
        { { 0 }, { 1 }, 1 },
        { { 7, 0 }, { 7, 8 }, 8 },
        { { 7, 3, 0 }, { 7, 3, 8 }, 8 },
        { { 0, 0, 5, 0 }, { 1, 2, 5, 6 }, 6 },
    };
    for (const Case &tc : cases) {
        bhDataSource source;
        std::vector<Item *> items;
        for (quint32 id : tc.given) {
            items.push_back(new Item(QString(), 0, id));
            source.add(items.back());
        }
        for (std::size_t i = 0; i < items.size(); ++i)
            EXPECT_EQ(items[i]->getID(), tc.expected[i]) << "case of " << tc.given.size();
        EXPECT_EQ(source.getHighestId(), tc.highest);

        source.clear();
        EXPECT_EQ(source.getCount(), 0u);
        EXPECT_EQ(source.getHighestId(), 0);
        auto *fresh = new Item;
        source.add(fresh);
        EXPECT_EQ(fresh->getID(), 1u);
    }
}

TEST(DataSourceAccess, PositionalQuestionsAndTheirEdges)
{
    bhDataSource source;
    {
        test::LogCapture log;
        EXPECT_EQ(source.getnthItem(0), nullptr);
        EXPECT_EQ(source.getItemById(1), nullptr);
        EXPECT_EQ(source.getFirstItem(), nullptr);
        EXPECT_EQ(source.getnthSortedItem(0), nullptr);
        EXPECT_EQ(log.count(QStringLiteral("count is 0")), 2); // getItemById starts at getnthItem
    }

    auto *a = new Item(QStringLiteral("a"));
    auto *b = new Item(QStringLiteral("b"));
    auto *c = new Item(QStringLiteral("c"));
    source.add(a);
    source.add(b);
    source.add(c);

    test::LogCapture log;
    EXPECT_EQ(source.getnthItem(-1), nullptr);
    EXPECT_EQ(source.getnthItem(3), nullptr);
    EXPECT_EQ(source.getnthItem(2), c);
    EXPECT_TRUE(log.lines.isEmpty());

    EXPECT_EQ(source.getFirstItem(), a);
    EXPECT_EQ(source.getNextItem(a), b);
    EXPECT_EQ(source.getNextItem(c), nullptr);
    Item stranger;
    EXPECT_EQ(source.getNextItem(&stranger), nullptr);
    EXPECT_EQ(source.getItemById(3), c);
    EXPECT_EQ(source.getItemById(99), nullptr);

    source.swop(a, c);
    EXPECT_EQ(source.getnthItem(0), c);
    EXPECT_EQ(source.getnthItem(2), a);
    source.swop(a, &stranger); // an absent item changes nothing
    EXPECT_EQ(source.getnthItem(2), a);
    // The walk follows the new order even right after a positional answer at the old place.
    EXPECT_EQ(source.getNextItem(c), b);
    EXPECT_EQ(source.getNextItem(b), a);

    // Every occurrence goes; an owning source still deletes a twice-added item only once.
    source.add(b);
    source.deleteItem(b);
    EXPECT_EQ(source.getCount(), 2u);
    EXPECT_EQ(source.getNextItem(c), a);
}

TEST(DataSourceAccess, SortedAndVisibleAccessFollowTheSortedCopy)
{
    bhDataSource source;
    auto *cherry = new Item(QStringLiteral("cherry"));
    auto *apple = new Item(QStringLiteral("apple"));
    auto *banana = new Item(QStringLiteral("Banana"));
    source.add(cherry);
    source.add(apple);
    source.add(banana);

    // No sort yet: the collection answers.
    EXPECT_FALSE(source.hasSortArray());
    EXPECT_EQ(source.getnthSortedItem(0), cherry);
    EXPECT_EQ(source.getnthSortedItem(3), nullptr);

    source.sortByColumn(QStringLiteral("name"), true);
    EXPECT_EQ(source.getnthSortedItem(0), apple);
    EXPECT_EQ(source.getnthSortedItem(1), banana);
    EXPECT_EQ(source.getnthSortedItem(2), cherry);

    // Items added after a sort sit unsorted at the end until the next sort.
    auto *aardvark = new Item(QStringLiteral("aardvark"));
    source.add(aardvark);
    EXPECT_EQ(source.getnthSortedItem(3), aardvark);

    // Deleting leaves the sorted copy alone (the item stays reachable through it).
    source.deleteItem(apple);
    EXPECT_EQ(source.getCount(), 3u);
    EXPECT_EQ(source.getnthSortedItem(0), apple);
    EXPECT_EQ(source.getnthItem(0), cherry);

    // Visible items are counted in sorted order.
    banana->setVisible(false);
    EXPECT_EQ(source.getnthVisibleItem(0), apple);
    EXPECT_EQ(source.getnthVisibleItem(1), cherry);
    EXPECT_EQ(source.getnthVisibleItem(2), aardvark);
    EXPECT_EQ(source.getnthVisibleItem(3), nullptr);

    source.clear();
    EXPECT_FALSE(source.hasSortArray());
}

TEST(DataSourceSort, TextSortIgnoresCaseAndKeepsEqualsInOrder)
{
    struct Case
    {
        QStringList values;
        bool ascending;
        QStringList expected;
    };
    const Case cases[] = {
        { { "cherry", "apple", "Banana" }, true, { "apple", "Banana", "cherry" } },
        { { "cherry", "apple", "Banana" }, false, { "cherry", "Banana", "apple" } },
        { { "b", "A", "a", "B" }, true, { "A", "a", "b", "B" } },
        { { "b", "A", "a", "B" }, false, { "b", "B", "A", "a" } },
        { {}, true, {} },
    };
    for (const Case &tc : cases) {
        bhDataSource source;
        for (const QString &v : tc.values)
            source.add(new Item(v));
        source.sortByColumn(QStringLiteral("name"), tc.ascending, bhDataSource::SortAsText);
        QStringList got;
        for (int i = 0; source.getnthSortedItem(i); ++i)
            got << source.getnthSortedItem(i)->getFieldByName(QStringLiteral("name"));
        EXPECT_EQ(got, tc.expected) << tc.values.join(u',').toStdString() << " " << tc.ascending;
    }
}

// Many items with many ties, with and without a value that forces the item-by-item insertion:
// either way the finite values come out ordered, ties in reverse collection order.
TEST(DataSourceSort, NumericSortOrdersLargeCollectionsWithOrWithoutBrokenValues)
{
    {
        bhDataSource source; // 5, 3, 5 gives 3, the second 5, the first 5
        for (float v : { 5.0f, 3.0f, 5.0f })
            source.add(new Item(QString(), v));
        source.sortByColumn(QStringLiteral("filesize"), true, bhDataSource::SortAsNumber);
        EXPECT_EQ(source.getnthSortedItem(0)->getID(), 2u);
        EXPECT_EQ(source.getnthSortedItem(1)->getID(), 3u);
        EXPECT_EQ(source.getnthSortedItem(2)->getID(), 1u);
    }
    std::mt19937 random(7);
    for (bool withNaN : { false, true }) {
        for (bool ascending : { true, false }) {
            bhDataSource source;
            for (int i = 0; i < 300; ++i)
                source.add(new Item(QString::number(i), float(random() % 40)));
            if (withNaN)
                source.add(new Item(QStringLiteral("broken"), kNaN));
            source.sortByColumn(QStringLiteral("filesize"), ascending, bhDataSource::SortAsNumber);

            std::vector<const Item *> finite;
            for (int i = 0; source.getnthSortedItem(i); ++i) {
                const auto *item = static_cast<const Item *>(source.getnthSortedItem(i));
                if (!std::isnan(item->number))
                    finite.push_back(item);
            }
            ASSERT_EQ(finite.size(), 300u);
            for (std::size_t i = 1; i < finite.size(); ++i) {
                const float prev = finite[i - 1]->number, cur = finite[i]->number;
                if (prev == cur) {
                    EXPECT_GT(finite[i - 1]->getID(), finite[i]->getID()) << "tie at " << i;
                } else {
                    EXPECT_EQ(prev < cur, ascending) << "order at " << i;
                }
            }
        }
    }
}

// With 7 or more items placed, the search starts at the middle when the middle item precedes
// the new one, and at the three-quarter place only when that one precedes too. A value that is
// not a number stays where it was put, which makes the starting place visible.
TEST(DataSourceSort, NumericSortJumpStart)
{
    struct Case
    {
        const char *what;
        std::vector<float> values;
        std::vector<float> expected;
    };
    const Case cases[] = {
        { "middle and three-quarter (same place) precede: the search skips the NaN",
            { 100, 101, 102, 103, kNaN, 1, 2, 150 }, { 1, 2, kNaN, 100, 101, 102, 103, 150 } },
        { "both precede: the search starts at the three-quarter place",
            { 20, 8, kNaN, 17, 10, 6, 12, 3, 19 }, { 3, 6, 10, 12, 17, kNaN, 8, 19, 20 } },
        { "only the middle precedes: the search starts at the middle",
            { 1, 2, 3, 4, 5, 6, 7, 8, 5.5f, kNaN }, { kNaN, 1, 2, 3, 4, 5, 5.5f, 6, 7, 8 } },
    };
    for (const Case &tc : cases) {
        bhDataSource source;
        for (float v : tc.values)
            source.add(new Item(QString(), v));
        source.sortByColumn(QStringLiteral("filesize"), true, bhDataSource::SortAsNumber);
        EXPECT_TRUE(sameNumbers(sortedNumbers(source), tc.expected)) << tc.what;
    }
}

TEST(DataSourceSort, CompareAnswersAndOverflow)
{
    struct Case
    {
        float a, b;
        int options;
        int expected;
        bool overflow;
    };
    const Case cases[] = {
        { 2, 1, 1, 1, false },
        { 1, 2, 1, -1, false },
        { 1, 1, 1, 0, false },
        { 2, 1, 0, 0, false },
        { 1, 2, 2, 0, false },
        { kNaN, 1, 1, 0, false },
        { kInf, 1, 1, 0, true },
        { 1, -kInf, 1, 0, true },
        { kInf, 1, 0, 0, false },
    };
    for (const Case &tc : cases) {
        Item a(QString(), tc.a), b(QString(), tc.b);
        bhDataSource source(false);
        test::LogCapture log;
        EXPECT_EQ(source.compare(&a, &b, QStringLiteral("filesize"), tc.options), tc.expected)
            << tc.a << " " << tc.b << " " << tc.options;
        EXPECT_EQ(log.count(QStringLiteral("overflow")) > 0, tc.overflow) << tc.a << " " << tc.b;
    }

    // A sort meeting an infinite value logs and still places every item.
    bhDataSource source;
    for (float v : { 3.0f, kInf, 1.0f })
        source.add(new Item(QString(), v));
    test::LogCapture log;
    source.sortByColumn(QStringLiteral("filesize"), true, bhDataSource::SortAsNumber);
    EXPECT_GT(log.count(QStringLiteral("overflow")), 0);
    EXPECT_TRUE(sameNumbers(sortedNumbers(source), { 1, kInf, 3 }));
}

TEST(DataSourceSort, ColumnClickSortsNumericFieldsAsNumbers)
{
    bhDataSource source;
    for (const char *v : { "10", "9", "100" })
        source.add(new Item(QString::fromLatin1(v), QByteArray(v).toFloat()));
    FakeTable table;
    source.setTableView(&table);

    struct Case
    {
        const char *key;
        QStringList expected;
    };
    const Case cases[] = {
        { "filesize", { "9", "10", "100" } },
        { "name", { "10", "100", "9" } },
    };
    for (const Case &tc : cases) {
        table.sort = SortDescriptor { QString::fromLatin1(tc.key), true };
        source.didClickTableColumn(&table);
        QStringList got;
        for (int i = 0; i < 3; ++i)
            got << source.getnthSortedItem(i)->getFieldByName(QStringLiteral("name"));
        EXPECT_EQ(got, tc.expected) << tc.key;
    }
}

TEST(DataSourceReload, IsQueuedToTheMainThreadAndDroppedWithTheSource)
{
    FakeTable table;
    bhDataSource source;
    source.setTableView(&table);
    std::thread worker([&source] { source.reloadData(); });
    worker.join();
    EXPECT_EQ(table.reloads, 0);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(table.reloads, 1);
    EXPECT_EQ(table.reloadThread, std::this_thread::get_id());

    auto gone = std::make_unique<bhDataSource>();
    gone->setTableView(&table);
    gone->reloadData();
    gone.reset();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(table.reloads, 1);
}

// A crawl adds its records one by one and walks them in order; both must stay linear.
TEST(DataSourceScale, LargeCollectionsStayFast)
{
    const int n = 200000;
    QElapsedTimer timer;
    timer.start();
    bhDataSource source;
    for (int i = 0; i < n; ++i)
        source.add(new Item(QString(), float(i % 1000)));
    int walked = 0;
    for (OrelDataObject *item = source.getFirstItem(); item; item = source.getNextItem(item))
        ++walked;
    EXPECT_EQ(walked, n);
    EXPECT_EQ(source.getItemById(n), source.getnthItem(n - 1));
    source.sortByColumn(QStringLiteral("filesize"), true, bhDataSource::SortAsNumber);
    EXPECT_EQ(static_cast<const Item *>(source.getnthSortedItem(n - 1))->number, 999.0f);
    EXPECT_LT(timer.elapsed(), 30000);
}
