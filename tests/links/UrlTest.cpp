// URL forms of a link record, archive file names and status texts.
#include "FakeOwner.h"
#include "TestHome.h"

#include "links/ArchiveName.h"
#include "links/ReasonPhrase.h"

#include <gtest/gtest.h>

using namespace orel;
using orel::test::FakeOwner;

TEST(LinkUrl, TrimHashCutsFragmentAndOptionallyQuery)
{
    const struct
    {
        const char *in;
        bool trimQuery;
        const char *out;
    } cases[] = {
        { "http://h/a?q=1#frag", false, "http://h/a?q=1" },
        { "http://h/a?q=1#frag", true, "http://h/a" },
        { "http://h/a#x?y", true, "http://h/a" },
        { "#", false, "#" }, // shorter than 2 bytes: left alone
        { "?", true, "?" },
        { "#a", false, "" },
        { "http://h/", true, "http://h/" },
    };
    for (const auto &c : cases) {
        QByteArray b(c.in);
        LinkCheckerUrl::trimHash(b, c.trimQuery);
        EXPECT_EQ(b, QByteArray(c.out)) << c.in;
    }
}

TEST(LinkUrl, SettingTheUrlTrimsRegistersAndKeepsTheSlashInTheStringForm)
{
    FakeOwner owner;
    owner.ignoreSlash = true;
    LinkCheckerUrl r(&owner);
    r.setLinkUrl(QStringLiteral("http://h/dir/?q=1#top"), true);
    EXPECT_EQ(r.getLinkUrl(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(r.getLinkUrlBytes(), QByteArray("http://h/dir"));
    EXPECT_TRUE(r.hasHadSlashTrimmed());
    EXPECT_EQ(r.getActualLinkUrl(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(owner.calls, QStringList({ "addToLookup:http://h/dir" }));

    // A redirect target keeps fragment and query, is not registered, and becomes the actual URL.
    owner.calls.clear();
    r.setRedir(QStringLiteral("http://h/new/?x#y"));
    EXPECT_EQ(r.getRedir(), QStringLiteral("http://h/new/?x#y"));
    EXPECT_EQ(r.getActualLinkUrl(), QStringLiteral("http://h/new/?x#y"));
    EXPECT_FALSE(r.hasHadRedirSlashTrimmed());
    EXPECT_TRUE(owner.calls.isEmpty());
    r.setRedir(QStringLiteral("http://h/new/"));
    EXPECT_EQ(r.getRedirBytes(), QByteArray("http://h/new"));
    EXPECT_TRUE(r.hasHadRedirSlashTrimmed());

    // Null texts are ignored.
    r.setLinkUrl(QString(), false);
    r.setRedir(QString());
    EXPECT_EQ(r.getLinkUrl(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(r.getRedir(), QStringLiteral("http://h/new/"));

    // Without slash ignoring the byte form keeps its slash.
    FakeOwner plain;
    LinkCheckerUrl s(&plain);
    s.setLinkUrl(QStringLiteral("http://h/dir/"), false);
    EXPECT_EQ(s.getLinkUrlBytes(), QByteArray("http://h/dir/"));
    EXPECT_FALSE(s.hasHadSlashTrimmed());

    // A record without an owner works and sends nothing.
    LinkCheckerUrl orphan;
    orphan.setLinkUrl(QStringLiteral("http://h/a#b"), false);
    EXPECT_EQ(orphan.getActualLinkUrl(), QStringLiteral("http://h/a"));
}

TEST(LinkUrl, CandidateComparison)
{
    const struct
    {
        const char *stored;
        const char *redir;
        const char *candidate;
        bool trimmed;
        bool ignoreSlash;
        bool equal;
        bool recursion;
    } cases[] = {
        { "http://h/a", "", "http://h/a", false, false, true, false },
        { "http://h/a", "", "http://h/a#frag", false, false, true, false },
        { "http://h/a", "", "http://h/a?q", false, false, false, false },
        { "http://h/a", "", "http://h/a?q", true, false, true, false },
        { "http://h/a", "", "http://h/a/", false, false, false, false },
        { "http://h/a", "", "http://h/a/", false, true, true, false },
        { "http://h/a", "", "HTTP://h/a", false, false, false, false }, // byte-exact
        { "http://h//a", "", "http://h///a", false, false, true, true },
        { "http://h/a", "", "http://h///a", false, false, false, false },
        { "file:///x", "", "file:///x", false, false, true, false }, // scheme's own slashes
        { "http://h/a", "http://h/b", "http://h/b", false, false, true, false },
        { "http://h/a", "", "", false, false, false, false },
        { "", "", "#a", false, false, false, false },
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.stored) + " vs " + c.candidate);
        LinkCheckerUrl r;
        r.setLinkUrl(QString::fromLatin1(c.stored), false);
        if (*c.redir)
            r.setRedir(QString::fromLatin1(c.redir));
        const QByteArray candidate(c.candidate);
        EXPECT_EQ(r.isEqualToUrl(candidate, c.trimmed, c.ignoreSlash), c.equal);
        EXPECT_EQ(r.getRecursion(), c.recursion);
        EXPECT_EQ(candidate, QByteArray(c.candidate)); // the caller's buffer is untouched
    }
}

TEST(LinkUrl, CanonicalTooHighTestingUrlAndTextTests)
{
    LinkCheckerUrl r;
    r.setLinkUrl(QStringLiteral("http://h/dir/page"), false);
    EXPECT_TRUE(r.canonicalMatchesUrl());
    r.setCanonical(QStringLiteral("http://h/dir/page/"));
    EXPECT_TRUE(r.canonicalMatchesUrl());
    r.setCanonical(QStringLiteral("http://h/other"));
    EXPECT_FALSE(r.canonicalMatchesUrl());

    EXPECT_FALSE(r.directoryTooHigh());
    LinkCheckerUrl up;
    up.setLinkUrl(QStringLiteral("http://h/../x"), false);
    EXPECT_TRUE(up.directoryTooHigh());
    LinkCheckerUrl dots;
    dots.setLinkUrl(QStringLiteral("http://h/a..b"), false);
    EXPECT_FALSE(dots.directoryTooHigh());

    EXPECT_EQ(r.getLinkUrlForTesting(), QStringLiteral("http://h/dir/page"));
    r.addOnPageUrl(QStringLiteral("http://h/p1"));
    r.addOnPageUrl(QStringLiteral("http://h/p2"));
    r.setLastClickedOnPage(1);
    r.setHighlightCallback(true);
    EXPECT_EQ(r.getLinkUrlForTesting(), QStringLiteral("http://h/p2"));
    EXPECT_EQ(LinkCheckerUrl().getLinkUrlForTesting(), QString(QLatin1String("")));

    r.setLinkText(QStringLiteral("Click Here"));
    r.setStatus(QStringLiteral("404 not found"));
    EXPECT_TRUE(r.contains(QStringLiteral("DIR/PAGE")));
    EXPECT_TRUE(r.contains(QStringLiteral("click")));
    EXPECT_TRUE(r.contains(QStringLiteral("NOT FOUND")));
    EXPECT_FALSE(r.contains(QStringLiteral("absent")));

    EXPECT_TRUE(r.linkContainsOneOfTheseTerms({ QStringLiteral("zzz"), QStringLiteral("/dir/") }));
    EXPECT_FALSE(r.linkContainsOneOfTheseTerms({ QStringLiteral("/DIR/") })); // case-sensitive
    EXPECT_FALSE(r.linkContainsOneOfTheseTerms({ QString() }));
    EXPECT_FALSE(r.linkContainsOneOfTheseTerms({}));

    r.setLinkPageTitle(QStringLiteral("Café"));
    EXPECT_TRUE(r.isEqualToTitle(QStringLiteral("Café")));
    EXPECT_FALSE(r.isEqualToTitle(QStringLiteral("cafe")));
    EXPECT_FALSE(r.isEqualToTitle(QString()));
    r.addOnPageName(QStringLiteral("Home"));
    EXPECT_TRUE(r.hasTitle(QStringLiteral("Home")));
    EXPECT_FALSE(r.hasTitle(QStringLiteral("home")));
}

TEST(ArchiveName, PathAfterHostWithSlashesEscaped)
{
    const std::pair<const char *, const char *> cases[] = {
        { "http://h.example/dir/page.html", "dir%2Fpage.html" },
        { "http://h.example/", "h.example%2F" },
        { "https://h/", "%2Fh%2F" }, // fixed position 7 keeps part of the separator
        { "http://other.example/dir/page.html", "dir%2Fpage.html" },
        { "http://h/a/b/?q=1", "a%2Fb%2F?q=1" },
    };
    for (const auto &[url, name] : cases)
        EXPECT_EQ(archiveFileNameForUrl(QString::fromLatin1(url)), QString::fromLatin1(name))
            << url;
}

TEST(ReasonPhrase, StatusTexts)
{
    const std::pair<int, const char *> cases[] = {
        { 200, "200 no error" },
        { 301, "301 moved permanently" },
        { 302, "302 found" },
        { 404, "404 not found" },
        { 410, "410 gone" },
        { 500, "500 internal server error" },
        { 503, "503 service unavailable" },
        { 100, "100 continue" },
        { 299, "299 success" },
        { 499, "499 client error" },
        { 599, "599 server error" },
        { 999, "999 unknown" },
        { 0, "0 unknown" },
    };
    for (const auto &[code, text] : cases)
        EXPECT_EQ(statusText(code), QString::fromLatin1(text));
}
