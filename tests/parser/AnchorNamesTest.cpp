// The fragment-name pass: which names a page offers, and how fragments are looked up in them.
#include "parser/AnchorNames.h"

#include <gtest/gtest.h>

#include <QByteArray>

#include <algorithm>

namespace orel {
namespace {

struct Case
{
    const char *html;
    const char *fragment;
    bool found;
};

TEST(AnchorNames, IdsAndAnchorNamesAreFoundAsWrittenElsewhereNot)
{
    const Case cases[] = {
        { "<h2 id=\"intro\">", "intro", true },
        { "<h2 id='intro'>", "intro", true },
        { "<h2 id=intro>", "intro", true },
        { "<h2 class=x  ID = \"intro\" >", "intro", true }, // attribute names ignore case
        { "<h2 id=\"intro\">", "Intro", false }, // values do not
        { "<a name=\"old-style\">", "old-style", true },
        { "<A NAME=old-style>", "old-style", true },
        { "<meta name=\"description\">", "description", false }, // only an anchor's name
        { "<input name=\"q\">", "q", false },
        { "<!-- <p id=\"commented\"> -->", "commented", false },
        { "<script>var s = '<p id=\"scripted\">';</script><p id=after>", "scripted", false },
        { "<script>x</script><p id=after>", "after", true },
        { "<style>#a{}</style><div id=\"a\">", "a", true },
        { "<p data-id=\"x\">", "x", false },
        { "<p>id=\"text\"</p>", "text", false },
        { "<p id=\"caf&eacute;\"><p id=\"a&amp;b\">", "a%26b", true }, // entity, then escape
        { "<p id=\"&#x20AC;\">", "%E2%82%AC", true }, // numeric reference, UTF-8 escapes
        { "<p id=\"sp ace\">", "sp%20ace", true },
        { "<p id=\"\">", "", false },
        { "<p id=\"unterminated", "unterminated", true },
        { "<p id=", "", false },
        { "", "x", false },
    };
    for (const Case &c : cases) {
        const std::vector<quint64> names = AnchorNames::scan(QByteArray(c.html));
        EXPECT_EQ(AnchorNames::contains(names, QByteArrayView(c.fragment)), c.found)
                << c.html << " #" << c.fragment;
    }
}

TEST(AnchorNames, NamesAreKeptOnceAndSorted)
{
    const std::vector<quint64> names =
            AnchorNames::scan("<p id=b><p id=a><a name=b><p id=c><p id=a>");
    ASSERT_EQ(names.size(), 3u);
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    // The hash is fixed from run to run: names stored early compare with fragments read later.
    EXPECT_EQ(AnchorNames::hashOf("a"), 0xaf63dc4c8601ec8cULL);
}

TEST(AnchorNames, ALargePageIsScannedInOnePass)
{
    QByteArray html;
    for (int i = 0; i < 50000; ++i)
        html.append("<div class=\"row\" id=\"r")
                .append(QByteArray::number(i))
                .append("\"><a href=\"#r1\">x</a>");
    const std::vector<quint64> names = AnchorNames::scan(html);
    EXPECT_EQ(names.size(), 50000u);
    EXPECT_TRUE(AnchorNames::contains(names, "r49999"));
    EXPECT_FALSE(AnchorNames::contains(names, "r50000"));
}

} // namespace
} // namespace orel
