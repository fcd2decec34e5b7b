// The locate report over pages read by hand into a paused crawl: the route from the start page,
// the link's item by kind, the sentences on other occurrences, and a route that runs in a circle.
#include "HubTestSupport.h"

using namespace orel;
using orel::test::HubTest;

namespace {

const char kStyle[] = "<style>li,p,h1{font-family:arial;}h1{font-size:1em;}</style>";

QString heading(const QString &url, const QString &page, const QString &status)
{
    return QStringLiteral("<h1>Locating the link with target url: \"%1\" on the page: \"%2\". It "
                          "has status: %3.</h1><p>There may be other routes through to this link, "
                          "this is the shortest.</p>")
            .arg(url, page, status);
}

QString route(const QString &page, const QString &title, const QString &text)
{
    return QStringLiteral("<ul><li>On the page <a href = \"%1\" target = \"Orrelwick\">%1</a> (%2) "
                          "click the link with text: \"%3\"</li></ul>")
            .arg(page, title, text);
}

QString page(const char *name)
{
    return QStringLiteral("http://site.test/") + name;
}

} // namespace

// index -> a.html -> b.html, which links to x.html twice; a.html links to x.html once and shows
// logo.png.
TEST_F(HubTest, LocateRoutesSentencesImagesAndACircularRoute)
{
    controls.imgButton = CheckState::On;
    pausedHub();
    LinkCheckerUrl *home = addPage(page("index.html"));
    home->setIsStartingPoint(true);
    read(home, "<title>Home</title><a href=\"a.html\">to a</a><a href=\"x.html\">x home</a>");
    read(byUrl(page("a.html")),
         "<title>A</title><a href=\"b.html\">to b</a><a href=\"x.html\">x once</a>"
         "<img src=\"logo.png\" alt=\"Logo\">");
    read(byUrl(page("b.html")),
         "<title>B</title><a href=\"x.html\">x first</a><a href=\"x.html\">x again</a>");
    LinkCheckerUrl *x = byUrl(page("x.html"));
    ASSERT_EQ(x->onPageCount(), 4); // index, a, b, b
    const QString status = x->getStatus();
    const QString item = QStringLiteral(
            "<ul><li>On the page <a href = \"%1\" target = \"Orrelwick\">%1</a> (%2) our link has "
            "target url: \"%3\", link text: \"%4\" and status: %5</li></ul>");

    // On the start page: the heading and the item, then how often it occurs elsewhere.
    EXPECT_EQ(
            hub->locate(x, 0),
            kStyle + heading(page("x.html"), page("index.html"), status)
                    + item.arg(page("index.html"), "Home", page("x.html"), "x home", status)
                    + "<p>&nbsp;</p><p>There are 3 occurrences of this link on other pages. </p>");
    // Two clicks deep, twice on its page: the route names the start page first, and one more
    // time and one other page stay singular while "occurrences" does not.
    EXPECT_EQ(hub->locate(x, 3),
              kStyle + heading(page("x.html"), page("b.html"), status)
                      + route(page("index.html"), "Home", "to a")
                      + route(page("a.html"), "A", "to b")
                      + item.arg(page("b.html"), "B", page("x.html"), "x again", status)
                      + "<p>&nbsp;</p><p>The same link also appears on this page 1 more time. "
                        "There are 2 occurrences of this link on other pages. </p>");
    EXPECT_EQ(hub->locate(x, 4), QString());
    EXPECT_EQ(hub->locate(nullptr, 0), QString());

    // An image is named as one, with its alt text.
    LinkCheckerUrl *logo = byUrl(page("logo.png"));
    ASSERT_TRUE(logo);
    EXPECT_TRUE(hub->locate(logo, 0).contains(
            QStringLiteral("our image has url: \"%1\", alt text: \"%2\" and status:")
                    .arg(page("logo.png"), logo->onPageLinkTextAt(0).mid(9))));

    // c.html was first found on d.html and d.html on c.html: the route stops where it closes.
    LinkCheckerUrl *c = addPage(page("c.html"), 1);
    LinkCheckerUrl *d = addPage(page("d.html"), 1);
    read(d, "<title>D</title><a href=\"c.html\">to c</a>");
    read(c, "<title>C</title><a href=\"d.html\">to d</a><a href=\"y.html\">y</a>");
    const QString report = hub->locate(byUrl(page("y.html")), 0);
    EXPECT_EQ(report.count("<li>"), 3) << report.toStdString();
    EXPECT_TRUE(report.contains(route(page("d.html"), "D", "to c")));
    EXPECT_TRUE(report.contains(route(page("c.html"), "C", "to d")));
}
