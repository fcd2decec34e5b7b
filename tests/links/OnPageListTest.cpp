#include "links/OnPageList.h"

#include <gtest/gtest.h>

using namespace orel;

namespace {

struct Columns
{
    QStringList urls, names, texts;
    QList<bool> nofollows;
};

Columns columnsOf(const OnPageList &list)
{
    return { list.urls(), list.names(), list.texts(), list.nofollows() };
}

} // namespace

// The four columns grow and are replaced independently; one never disturbs another, and reads
// past a column's end answer empty.
TEST(OnPageList, ColumnsStayIndependent)
{
    OnPageList list;
    list.appendNofollow(true); // a flag may come before anything else
    list.appendUrl(QStringLiteral("http://h/1"));
    list.appendText(QStringLiteral("first"));
    list.appendUrl(QStringLiteral("http://h/2"));
    list.appendText(QStringLiteral(""));
    list.appendText(QStringLiteral("third, longer than the others"));
    list.appendName(QStringLiteral("One"));
    list.appendNofollow(false);
    list.appendNofollow(true);

    Columns c = columnsOf(list);
    EXPECT_EQ(c.urls, QStringList({ "http://h/1", "http://h/2" }));
    EXPECT_EQ(c.names, QStringList({ "One" }));
    EXPECT_EQ(c.texts, QStringList({ "first", "", "third, longer than the others" }));
    EXPECT_EQ(c.nofollows, QList<bool>({ true, false, true }));
    EXPECT_EQ(list.nameAt(1), QString());
    EXPECT_TRUE(list.urlAt(2).isNull());
    EXPECT_TRUE(list.textAt(-1).isNull());
    EXPECT_FALSE(list.nofollowAt(3));

    // Replacing one column keeps the others, shorter or longer than before.
    list.setTexts({ "a" });
    list.setUrls({ "http://h/x", "http://h/y", "http://h/z", "http://h/w" });
    list.setNofollows({ false });
    c = columnsOf(list);
    EXPECT_EQ(c.urls, QStringList({ "http://h/x", "http://h/y", "http://h/z", "http://h/w" }));
    EXPECT_EQ(c.names, QStringList({ "One" }));
    EXPECT_EQ(c.texts, QStringList({ "a" }));
    EXPECT_EQ(c.nofollows, QList<bool>({ false }));
    EXPECT_TRUE(list.containsUrl(QStringLiteral("http://h/z")));
    EXPECT_FALSE(list.containsUrl(QStringLiteral("http://h/1")));
    EXPECT_TRUE(list.containsName(QStringLiteral("One")));

    // Flags set on entries that already hold texts leave the texts whole, and the other way
    // round.
    list.appendText(QStringLiteral("after"));
    list.appendNofollow(true);
    list.appendNofollow(true);
    EXPECT_EQ(list.textAt(0), QStringLiteral("a"));
    EXPECT_EQ(list.textAt(1), QStringLiteral("after"));
    EXPECT_EQ(list.nofollows(), QList<bool>({ false, true, true }));

    list.setUrls({});
    list.setNames({});
    list.setTexts({});
    list.setNofollows({});
    c = columnsOf(list);
    EXPECT_TRUE(c.urls.isEmpty() && c.names.isEmpty() && c.texts.isEmpty()
                && c.nofollows.isEmpty());
    list.appendText(QStringLiteral("again"));
    EXPECT_EQ(list.texts(), QStringList({ "again" }));
    list.clear();
    EXPECT_EQ(list.textCount() + list.urlCount() + list.nameCount() + list.nofollowCount(), 0);
}

// Every link on a page carries the same page URL and title: they are stored once, however many
// records and occurrences refer to them. An empty page string is never taken for a null one.
TEST(OnPageList, PageStringsAreSharedNotCopied)
{
    const QString page = QStringLiteral("http://h/page.html");
    const QString title = QStringLiteral("A page");
    OnPageList a, b;
    for (int i = 0; i < 3; ++i) {
        a.appendUrl(page);
        a.appendName(title);
        b.appendUrl(page);
    }
    for (qsizetype i = 0; i < 3; ++i) {
        EXPECT_EQ(a.urlAt(i).constData(), page.constData());
        EXPECT_EQ(b.urlAt(i).constData(), page.constData());
        EXPECT_EQ(a.nameAt(i).constData(), title.constData());
    }

    // Same text, other data; then a null string after an empty one.
    QString other = page;
    other.detach();
    a.appendUrl(other);
    a.appendUrl(QString(QLatin1String("")));
    a.appendUrl(QString());
    EXPECT_EQ(a.urlAt(3), page);
    EXPECT_FALSE(a.urlAt(4).isNull());
    EXPECT_TRUE(a.urlAt(5).isNull());
}

// Link texts are copied into shared blocks: texts that fill one block spill into the next, a text
// longer than a block gets its own, null stays apart from empty, and a copy of a list keeps
// reading its texts after the original and every later append are gone.
TEST(OnPageList, LinkTextsSurviveBlockBoundariesAndTheirLists)
{
    QStringList expected;
    OnPageList copy;
    {
        OnPageList list;
        for (int i = 0; i < 9000; ++i) {
            // About 100,000 characters in all, more than one block holds.
            const QString text = QStringLiteral("link text number %1").arg(i);
            list.appendText(text);
            expected.append(text);
        }
        const QString huge(70000, QLatin1Char('x'));
        list.appendText(huge);
        expected.append(huge);
        list.appendText(QStringLiteral("after the long one"));
        expected.append(QStringLiteral("after the long one"));
        list.appendText(QString());
        list.appendText(QLatin1String(""));
        copy = list;
        list.appendText(QStringLiteral("only in the original"));
        EXPECT_EQ(list.textCount(), expected.size() + 3);
    }
    for (int i = 0; i < 500; ++i)
        OnPageList().appendText(QStringLiteral("filler %1").arg(i));

    ASSERT_EQ(copy.textCount(), expected.size() + 2);
    EXPECT_EQ(copy.texts().mid(0, expected.size()), expected);
    EXPECT_TRUE(copy.textAt(expected.size()).isNull());
    EXPECT_FALSE(copy.textAt(expected.size() + 1).isNull());
    EXPECT_TRUE(copy.textAt(expected.size() + 1).isEmpty());
}
