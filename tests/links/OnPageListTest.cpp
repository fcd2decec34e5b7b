// Where one link appears: the packed on-page columns, their shared page strings and the link
// texts kept in shared blocks.
#include "links/OnPageList.h"

#include <gtest/gtest.h>

using namespace orel;

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
    EXPECT_EQ(list.urls(), QStringList({ "http://h/1", "http://h/2" }));
    EXPECT_EQ(list.names(), QStringList({ "One" }));
    EXPECT_EQ(list.texts(), QStringList({ "first", "", "third, longer than the others" }));
    EXPECT_EQ(list.nofollows(), QList<bool>({ true, false, true }));
    EXPECT_EQ(list.nameAt(1), QString());
    EXPECT_TRUE(list.urlAt(2).isNull());
    EXPECT_TRUE(list.textAt(-1).isNull());
    EXPECT_FALSE(list.nofollowAt(3));

    // Replacing a column keeps the others, shorter or longer than before; flags and texts of
    // the same entries leave each other whole.
    list.setTexts({ "a" });
    list.setUrls({ "http://h/x", "http://h/y", "http://h/z", "http://h/w" });
    list.setNofollows({ false });
    list.appendText(QStringLiteral("after"));
    list.appendNofollow(true);
    list.appendNofollow(true);
    EXPECT_EQ(list.urls(), QStringList({ "http://h/x", "http://h/y", "http://h/z", "http://h/w" }));
    EXPECT_EQ(list.names(), QStringList({ "One" }));
    EXPECT_EQ(list.texts(), QStringList({ "a", "after" }));
    EXPECT_EQ(list.nofollows(), QList<bool>({ false, true, true }));
    list.clear();
    EXPECT_EQ(list.textCount() + list.urlCount() + list.nameCount() + list.nofollowCount(), 0);
}

// Every link on a page carries the same page URL and title: they are stored once, however many
// records and occurrences refer to them. An empty page string is never taken for a null one.
TEST(OnPageList, PageStringsAreSharedNotCopied)
{
    const QString page = QStringLiteral("http://h/page.html");
    OnPageList a;
    a.appendUrl(page);
    a.appendUrl(page);
    EXPECT_EQ(a.urlAt(1).constData(), a.urlAt(0).constData());

    // Same text, other data; then a null string after an empty one.
    QString other = page;
    other.detach();
    a.appendUrl(other);
    a.appendUrl(QString(QLatin1String("")));
    a.appendUrl(QString());
    EXPECT_EQ(a.urlAt(2), page);
    EXPECT_FALSE(a.urlAt(3).isNull());
    EXPECT_TRUE(a.urlAt(4).isNull());
}

// Link texts are copied into shared blocks: texts that fill one block spill into the next, a text
// longer than a block gets its own, null stays apart from empty, and a copy of a list keeps
// reading its texts after the original and every later append are gone.
TEST(OnPageList, LinkTextsSurviveBlockBoundariesAndTheirLists)
{
    QStringList expected;
    for (int i = 0; i < 9000; ++i) // about 100,000 characters, more than one block holds
        expected.append(QStringLiteral("link text number %1").arg(i));
    expected << QString(70000, QLatin1Char('x')) << QStringLiteral("after the long one")
             << QString() << QLatin1String("");
    OnPageList copy;
    {
        OnPageList list;
        for (const QString &text : expected)
            list.appendText(text);
        copy = list;
        list.appendText(QStringLiteral("only in the original"));
    }
    for (int i = 0; i < 500; ++i)
        OnPageList().appendText(QStringLiteral("filler %1").arg(i));

    EXPECT_EQ(copy.texts(), expected);
    EXPECT_TRUE(copy.textAt(expected.size() - 2).isNull());
    EXPECT_FALSE(copy.textAt(expected.size() - 1).isNull());
}
