// The link record: classification rules, keyed fields, on-page lists, sizes and SEO counts.
#include "FakeOwner.h"
#include "TestHome.h"

#include "common/AppSupport.h"
#include "links/ArchiveName.h"
#include "links/OrelOnPage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace orel;
using orel::test::FakeOwner;

TEST(LinkRecordClassification, RulesApplyInTheirOrder)
{
    const struct
    {
        const char *status, *redir;
        bool blacklisted, flagBlacklisted;
        int colour;
        bool good, fine, errorPage, exempt; // fine: shouldBeMemberOfBadCollection (YES = not bad)
    } cases[] = {
        { "", "", false, false, 0, false, true, false, false },
        { "200 no error", "", false, false, 0, true, true, false, false },
        { "200 no error < 301 moved permanently", "", false, false, 0, true, true, false, false },
        { "200 no error < 301 moved permanently", "http://h/b", false, false, 2, true, true, false,
          false },
        { "301 moved permanently", "http://h/b", false, false, 2, true, false, true, false },
        { "404 not found", "", false, false, 3, false, false, true, false },
        { "404 not found", "", true, true, 3, false, false, true, false }, // 4xx before blacklist
        { "500 internal server error", "", true, true, 2, true, false, true, false },
        { "500 internal server error", "", true, false, 4, false, false, true, false },
        { "Not checked", "", false, false, 0, true, true, false, true },
        { "Not checked", "", true, true, 2, true, true, false, true },
        { "missing link url", "", false, false, 4, false, false, false, true }, // non-numeric first
        { "MCMS zref", "", false, false, 4, false, false, false, true },
        { "file doesnt exist", "", false, false, 4, false, false, false, false },
        { "file is directory", "", false, false, 0, true, true, false, false },
        { "The request timed out.", "", false, false, 4, false, false, false, false },
        { "100 continue", "", false, false, 0, true, true, false, false },
        { "100 continue", "http://h/x", false, false, 2, true, true, false, false },
        { "700 odd", "", false, false, 0, true, false, true, false },
    };
    FakeOwner owner;
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.status) + " redir=" + c.redir);
        owner.flagBlacklisted = c.flagBlacklisted;
        LinkCheckerUrl r(&owner);
        r.setStatus(QString::fromLatin1(c.status));
        if (*c.redir)
            r.setRedir(QString::fromLatin1(c.redir));
        r.setIsBlacklisted(c.blacklisted);
        EXPECT_EQ(r.getColour(), c.colour);
        EXPECT_EQ(r.isGoodLink(), c.good);
        EXPECT_EQ(r.shouldBeMemberOfBadCollection(), c.fine);
        EXPECT_EQ(r.isErrorPage(), c.errorPage);
        EXPECT_EQ(r.isExempt(), c.exempt);
    }

    // A recursion colours a 2xx as a redirect; missing status texts are ignored.
    LinkCheckerUrl r;
    r.setStatus(QStringLiteral("200 no error"));
    r.setStatus(QString());
    r.updateStatus(QString());
    r.setRecursion(true);
    EXPECT_EQ(r.getColour(), 2);

    // The first occurrence's nofollow flag stands for all of them.
    for (const bool first : { false, true }) {
        LinkCheckerUrl n;
        n.addNofollow(first);
        n.addNofollow(!first);
        EXPECT_EQ(n.getNofollow(), first ? QStringLiteral("Yes") : QStringLiteral("No"));
    }
}

TEST(LinkRecordFields, KeysFormatsAndNumericColumns)
{
    FakeOwner owner;
    owner.linksOnPage = 7;
    LinkCheckerUrl r(&owner);
    r.setLinkUrl(QStringLiteral("http://h/a"), false);
    r.setRedir(QStringLiteral("http://h/b"));
    r.setFileSize(1023);
    r.setResponseTime(0.25);
    LinkCheckerUrl img1, img2;
    img1.setFileSize(1000);
    img2.setFileSize(1000);
    r.addLinkedImage(&img1);
    r.addLinkedImage(&img2);
    r.addLinkedImage(nullptr);

    // Key, text, number; a key without a number (NaN) is not a numeric column. Columns the exports
    // of the command-line and hub tests show are left to them.
    const float none = std::nanf("");
    const std::tuple<const char *, const char *, float> cases[] = {
        { "filesize", "0kb", 0 },
        { "linkurlhtml", "<a href=\"http://h/a\" target=\"_blank\">http://h/a</a>", none },
        { "linkcount", "7", 7 },
        { "validatorerrors", "", -1 },
        { "responsetime", "0.25", 0.25f },
        { "imageqty", "2", 2 },
        { "imageweight", "1 kb", 0 }, // text: 2000 bytes / 1024; number: 0 kb + 0 kb
        { "totalOcurrences", "0", none },
        { "totalocurrences", "", 0 },
        { "nosuchkey", "", none },
    };
    for (const auto &[key, text, number] : cases) {
        const QString name = QString::fromLatin1(key);
        EXPECT_EQ(r.getFieldByName(name), QString::fromLatin1(text)) << key;
        EXPECT_EQ(OrelDataObject::isNumber(name), !std::isnan(number)) << key;
        if (!std::isnan(number)) {
            EXPECT_EQ(r.getFieldAsNumberByName(name), number) << key;
        }
    }

    // The time stamp follows the send time unless a text was set (a loaded link list).
    EXPECT_EQ(r.getFieldByName(QStringLiteral("timestamp")), QString());
    r.setSentRequest();
    EXPECT_FALSE(r.getTimestamp().isEmpty());
    r.setTimestamp(QStringLiteral("http://h/b"));
    EXPECT_EQ(r.getFieldByName(QStringLiteral("timestamp")), QStringLiteral("http://h/b"));
    r.setValidatorErrors(0);
    EXPECT_EQ(r.getFieldByName(QStringLiteral("validatorerrors")), QStringLiteral("0"));
}

TEST(LinkRecordOnPage, MissingTextsReplacedAndLinkTextFollowsTheLatestOccurrence)
{
    FakeOwner owner;
    LinkCheckerUrl r(&owner);
    r.setLinkUrl(QStringLiteral("http://h/x"), false);
    owner.calls.clear();
    test::LogCapture log;
    // Missing page URLs and titles are replaced; the owner's by-page index hears of each URL.
    r.addOnPageUrl(QString());
    r.addOnPageUrl(QLatin1String(""));
    r.addOnPageName(QString());
    EXPECT_EQ(r.getOnPageUrlArray(), QStringList({ "no url", "no url" }));
    EXPECT_EQ(r.getOnPageNameArray(), QStringList({ "untitled" }));
    EXPECT_EQ(owner.calls, QStringList({ "addLink:no url", "addLink:no url" }));
    EXPECT_EQ(log.count(QStringLiteral("empty string submitted to url:http://h/x")), 1);

    for (const char *text : { "Home", "Home", "Start" })
        r.addLinkTextOccurrence(QLatin1String(text));
    EXPECT_EQ(r.getLinkText(), QStringLiteral("Start"));
    // Null and empty texts are kept apart, as setLinkText keeps them.
    r.addLinkTextOccurrence(QString());
    EXPECT_TRUE(r.getLinkText().isNull());
    r.addLinkTextOccurrence(QLatin1String(""));
    EXPECT_TRUE(r.getLinkText().isEmpty() && !r.getLinkText().isNull());
    EXPECT_EQ(r.getOnPageLinkTextArray(), QStringList({ "Home", "Home", "Start", "no text", "" }));
    EXPECT_EQ(log.count(QStringLiteral("null string submitted to url:http://h/x")), 2);

    // Changing the on-page texts in other ways leaves the record's own text as it was.
    r.addLinkTextOccurrence(QStringLiteral("Menu"));
    r.addOnPageLinkText(QStringLiteral("other"));
    r.setOnPageLinkText({ QStringLiteral("x") });
    EXPECT_EQ(r.getLinkText(), QStringLiteral("Menu"));
}

TEST(LinkRecordOnPage, CellsListRenderingsAndOccurrencePairing)
{
    FakeOwner owner;
    LinkCheckerUrl r(&owner);
    EXPECT_EQ(r.getOnPageUrl(), QString());
    EXPECT_EQ(r.getLastOnPageUrl(), QString()); // sent as the referrer
    r.addOnPageUrl(QStringLiteral("http://h/1"));
    r.addOnPageName(QStringLiteral("One"));
    r.addOnPageLinkText(QStringLiteral("t1"));
    r.addNofollow(false);
    EXPECT_EQ(r.getOnPageUrl(), QStringLiteral("http://h/1"));
    owner.titles = true;
    EXPECT_EQ(r.getOnPageUrl(), QStringLiteral("One"));

    r.addOnPageUrl(QStringLiteral("http://h/2"));
    r.addOnPageLinkText(QStringLiteral("t2"));
    r.addNofollow(true);
    EXPECT_EQ(r.getLastOnPageUrl(), QStringLiteral("http://h/2"));
    EXPECT_TRUE(r.isOnPage(QStringLiteral("http://h/1")));
    // One name short: the pairing below must not read past the shorter list.
    EXPECT_EQ(r.getFieldByName(QStringLiteral("onpagename")),
              QStringLiteral("2 occurrences over more than one page"));
    r.setStatus(QStringLiteral("404 not found"));
    const std::tuple<int, const char *, const char *> pairs[] = {
        { 1, "onpageurl", "http://h/2" },
        { 1, "linktext", "t2" },
        { 1, "onpagename", "" },
        { 1, "nofollow", "Yes" },
        { 1, "status", "404 not found" },
        { 5, "onpageurl", "" },
        { 5, "nofollow", "" },
    };
    for (const auto &[index, key, value] : pairs)
        EXPECT_EQ(OrelOnPage(&r, index).getFieldByName(QString::fromLatin1(key)),
                  QString::fromLatin1(value))
                << index << " " << key;
    EXPECT_EQ(OrelOnPage(&r, 1).getColour(), 3);

    // Lists as text show the titles when the owner asks for them, else the URLs.
    r.addOnPageName(QStringLiteral("Two"));
    EXPECT_EQ(r.getOnPages(), QStringLiteral("http://h/1\rhttp://h/2"));
    const std::pair<const char *, const char *> lists[] = {
        { "onpageurlcsv", "One\rTwo" },
        { "onpageurltext", "One,Two" },
        { "onpageurlhtml",
          "<a href = \"http://h/1\" target=\"_blank\">One</a><br />"
          "<a href = \"http://h/2\" target=\"_blank\">Two</a>" },
    };
    for (const auto &[key, text] : lists)
        EXPECT_EQ(r.getFieldByName(QLatin1String(key)), QLatin1String(text)) << key;
    owner.titles = false;
    EXPECT_EQ(r.getFieldByName(QStringLiteral("onpageurltext")),
              QStringLiteral("http://h/1,http://h/2"));
}

TEST(LinkRecordSEO, OverlappingMatchesCountAndPageTextsOnlyOnce)
{
    // Matches may overlap and ignore case.
    EXPECT_EQ(
            LinkCheckerUrl::countOcurrencesOfString(QStringLiteral("AA"), QStringLiteral("xaAaa")),
            3);

    test::wipeHome();
    LinkCheckerUrl r;
    r.setLinkUrl(QStringLiteral("http://h/widgets/page.html"), false);
    r.setLinkPageTitle(QStringLiteral("Widget shop"));
    r.setMetaDescription(QStringLiteral("widget WIDGET"));

    // Without an archived copy only the fields count: 1 in the URL and title, 2 in the
    // description.
    EXPECT_TRUE(r.countSEOTerm(QStringLiteral("widget")));
    EXPECT_EQ(r.getTotalOccurrences(), 4);

    test::writeFile(
            AppSupport::archiveFolder() + QLatin1Char('/')
                    + archiveFileNameForUrl(r.getActualLinkUrl()),
            "<title>Widget shop</title><meta content=\"widget WIDGET\"> widgets and widgets");

    EXPECT_TRUE(r.countSEOTerm(QStringLiteral("widget")));
    EXPECT_EQ(r.getOcurrencesInArchive(), 2); // 5 minus the title's 1 and description's 2
    EXPECT_EQ(r.getTotalOccurrences(), 6);
    EXPECT_TRUE(r.archiveContainsOneOfTheseTerms(
            { QStringLiteral("nothing"), QStringLiteral("SHOP") }));
    EXPECT_FALSE(r.countSEOTerm(QStringLiteral("gadget")));
    test::wipeHome();
}
