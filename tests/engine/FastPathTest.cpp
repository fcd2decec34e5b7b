#include "engine/CrawlScope.h"
#include "engine/HashedKey.h"
#include "engine/HrefResolver.h"

#include <gtest/gtest.h>

#include <QHash>
#include <QUrl>

#include <tuple>

using orel::CrawlScope;
using orel::HashedKey;
using orel::HrefResolver;

// The resolver reuses one buffer for its joins: answers kept while it goes on must not change.
TEST(FastPath, ResolvedUrlsKeptAcrossCallsStayIntact)
{
    const QUrl base(QStringLiteral("http://h.test/a/b/page.html"));
    const HrefResolver resolver(base);
    const QStringList hrefs { "p.html",        "../q.html",  "/r.html",
                              "./s/../t.html", "x y.html",   "p.html",
                              "a/./b/../c",    "//o.test/z", "../../../../up.html" };
    QList<std::optional<QString>> kept;
    for (const QString &h : hrefs)
        kept.append(resolver.resolve(h));
    for (qsizetype i = 0; i < hrefs.size(); ++i)
        EXPECT_EQ(kept[i], CrawlScope::resolveHref(base, hrefs[i])) << hrefs[i].toStdString();
}

// The key scan stops at the fragment and leaves any triple slash to the full rewrite.
TEST(FastPath, LookupKeyFragmentsQueriesAndTripleSlashes)
{
    const std::tuple<const char *, bool, bool, const char *> cases[] = {
        { "http://h/a#x///y", false, false, "http://h/a" },
        { "http://h/a#x?y", true, false, "http://h/a" },
        { "http://h/a/#x?y/", true, true, "http://h/a" },
        { "http://h/a?x///y#z", false, false, "http://h/a?x//y" },
        { "http://h/a?x///y#z", true, false, "http://h/a" },
        { "http://h//a", false, true, "http://h//a" },
        { "FILE:///srv/a/", false, true, "FILE:///srv/a" },
        { "file:////srv", false, false, "file:////srv" }, // the slashes of the prefix only
        { "http://h/a////b", false, false, "http://h/a///b" },
        { "http://h/a/?q=//x", false, true, "http://h/a/?q=//x" },
        { "", true, true, "" },
    };
    for (const auto &[url, trimQuery, ignoreSlash, key] : cases)
        EXPECT_EQ(CrawlScope::lookupKey(QString::fromUtf8(url), trimQuery, ignoreSlash),
                  QString::fromUtf8(key))
                << url;
}

// Keys that share a hash bucket are still told apart by their text, and equal texts meet.
TEST(FastPath, HashedKeysInATable)
{
    QHash<HashedKey, int> table;
    for (int i = 0; i < 2000; ++i)
        table.insert(QStringLiteral("http://h.test/p-%1.html").arg(i), i);
    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ(table.value(QStringLiteral("http://h.test/p-%1.html").arg(i), -1), i);
    EXPECT_FALSE(table.contains(QStringLiteral("http://h.test/p-2000.html")));
    EXPECT_FALSE(table.contains(QString()));
}
