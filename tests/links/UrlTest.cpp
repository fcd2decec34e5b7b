// URL forms of a link record, archive file names and status texts.
#include "FakeOwner.h"

#include "links/ArchiveName.h"
#include "links/ReasonPhrase.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace orel;
using orel::test::FakeOwner;

TEST(LinkUrl, TrimHashCutsFragmentAndOptionallyQuery)
{
    const std::tuple<const char *, bool, const char *> cases[] = {
        { "http://h/a?q=1#frag", false, "http://h/a?q=1" },
        { "http://h/a?q=1#frag", true, "http://h/a" },
        { "#", false, "#" }, // shorter than 2 bytes: left alone
        { "#a", false, "" },
    };
    for (const auto &[in, trimQuery, out] : cases) {
        QByteArray b(in);
        LinkCheckerUrl::trimHash(b, trimQuery);
        EXPECT_EQ(b, QByteArray(out)) << in << " trimQuery=" << trimQuery;
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
    EXPECT_EQ(owner.calls, QStringList({ "addToLookup:http://h/dir" }));

    // A redirect target keeps fragment and query, is not registered, and becomes the actual URL.
    owner.calls.clear();
    r.setRedir(QStringLiteral("http://h/new/?x#y"));
    EXPECT_EQ(r.getRedirBytes(), QByteArray("http://h/new/?x#y"));
    EXPECT_EQ(r.getActualLinkUrl(), QStringLiteral("http://h/new/?x#y"));
    EXPECT_TRUE(owner.calls.isEmpty());
    r.setRedir(QStringLiteral("http://h/new/"));
    EXPECT_EQ(r.getRedirBytes(), QByteArray("http://h/new"));
    EXPECT_TRUE(r.hasHadRedirSlashTrimmed());

    // Null texts are ignored.
    r.setLinkUrl(QString(), false);
    r.setRedir(QString());
    EXPECT_EQ(r.getLinkUrl(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(r.getRedir(), QStringLiteral("http://h/new/"));
}

TEST(LinkUrl, CandidateComparison)
{
    // stored, redirect, candidate, trimmed, ignoreSlash, equal, recursion
    const std::tuple<const char *, const char *, const char *, bool, bool, bool, bool> cases[] = {
        { "http://h/a", "", "http://h/a#frag", false, false, true, false },
        { "http://h/a/", "", "http://h/a/", false, false, true, false }, // no owner: slash kept
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
    for (const auto &[stored, redir, cand, trimmed, ignoreSlash, equal, recursion] : cases) {
        SCOPED_TRACE(std::string(stored) + " vs " + cand);
        LinkCheckerUrl r;
        r.setLinkUrl(QString::fromLatin1(stored), false);
        if (*redir)
            r.setRedir(QString::fromLatin1(redir));
        const QByteArray candidate(cand);
        EXPECT_EQ(r.isEqualToUrl(candidate, trimmed, ignoreSlash), equal);
        EXPECT_EQ(r.getRecursion(), recursion);
        EXPECT_EQ(candidate, QByteArray(cand)); // the caller's buffer is untouched
    }
}

TEST(LinkUrl, CanonicalTooHighHighlightUrlAndTermTests)
{
    LinkCheckerUrl r;
    r.setLinkUrl(QStringLiteral("http://h/dir/page"), false);
    EXPECT_TRUE(r.canonicalMatchesUrl());
    r.setCanonical(QStringLiteral("http://h/dir/page/"));
    EXPECT_TRUE(r.canonicalMatchesUrl());
    r.setCanonical(QStringLiteral("http://h/other"));
    EXPECT_FALSE(r.canonicalMatchesUrl());

    for (const auto &[url, tooHigh] : { std::pair { "http://h/dir/page", false },
                                        { "http://h/../x", true },
                                        { "http://h/a..b", false } }) {
        LinkCheckerUrl u;
        u.setLinkUrl(QString::fromLatin1(url), false);
        EXPECT_EQ(u.directoryTooHigh(), tooHigh) << url;
    }

    // A highlight fetch asks for the page chosen in the inspector.
    r.addOnPageUrl(QStringLiteral("http://h/p1"));
    r.addOnPageUrl(QStringLiteral("http://h/p2"));
    r.setLastClickedOnPage(1);
    r.setHighlightCallback(true);
    EXPECT_EQ(r.getLinkUrlForTesting(), QStringLiteral("http://h/p2"));

    // The views' search ignores case (the link text and status are searched in the views test).
    EXPECT_TRUE(r.contains(QStringLiteral("DIR/PAGE")));
    EXPECT_FALSE(r.contains(QStringLiteral("absent")));

    EXPECT_TRUE(r.linkContainsOneOfTheseTerms({ QStringLiteral("zzz"), QStringLiteral("/dir/") }));
    EXPECT_FALSE(r.linkContainsOneOfTheseTerms({ QStringLiteral("/DIR/") })); // case-sensitive
    EXPECT_TRUE(r.linkContainsOneOfTheseTerms({ QStringLiteral("zzz"), QString() })); // in any URL
    EXPECT_FALSE(r.linkContainsOneOfTheseTerms({}));
}

TEST(ArchiveName, PathAfterHostWithSlashesEscaped)
{
    const std::pair<const char *, const char *> cases[] = {
        { "http://h.example/dir/page.html", "dir%2Fpage.html" },
        { "http://h.example/", "h.example%2F" },
        { "https://h/", "%2Fh%2F" }, // fixed position 7 keeps part of the separator
        { "https://h/a/b/?q=1", "a%2Fb%2F?q=1" },
    };
    for (const auto &[url, name] : cases)
        EXPECT_EQ(archiveFileNameForUrl(QString::fromLatin1(url)), QString::fromLatin1(name))
                << url;
    // Names that would leave the folder or that no file system takes.
    for (const QString &url : { QStringLiteral("http://h/.."), QStringLiteral("http://h/."),
                                QString("http://h/" + QString(256, 'a')), QStringLiteral("x") })
        EXPECT_FALSE(isSafeArchiveFileName(archiveFileNameForUrl(url))) << url.toStdString();
    EXPECT_TRUE(
            isSafeArchiveFileName(archiveFileNameForUrl(QString("http://h/" + QString(255, 'a')))));
}

TEST(ReasonPhrase, StatusTexts)
{
    const std::pair<int, const char *> cases[] = {
        { 200, "200 no error" },     { 404, "404 not found" }, { 299, "299 success" },
        { 599, "599 server error" }, { 999, "999 unknown" },   { 0, "0 unknown" },
    };
    for (const auto &[code, text] : cases)
        EXPECT_EQ(statusText(code), QString::fromLatin1(text));
}
