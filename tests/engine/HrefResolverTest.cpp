#include "engine/CrawlScope.h"
#include "engine/HrefResolver.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>
#include <QUrl>

using orel::CrawlScope;
using orel::HrefResolver;

// The string join must give exactly what the URL parser gives, for every base and href; the two
// remove dot segments, and keep those that climb above the root, each in its own way.
TEST(HrefResolver, AgreesWithTheUrlParser)
{
    const QStringList bases { "http://h.test/dir/page.html",
                              "http://h.test",
                              "http://h.test/",
                              "https://H.Test:8443/a/b/",
                              "http://h.test/a/b/c?x=1#f",
                              "http://h.test/a%20b/p.html",
                              "file:///srv/site/index.html",
                              "http://u:p@h.test/a/",
                              "http://[::1]:8080/x/y",
                              "http://h.test/a/./b/../c.html",
                              "http://h.test/../up/" };
    QStringList hrefs { "p.html",
                        "/p.html",
                        "../p.html",
                        "../../../../p.html",
                        "./p.html",
                        ".",
                        "..",
                        "./",
                        "../",
                        "/",
                        "a/./b/../c",
                        "a//b",
                        "~user/x",
                        "x.",
                        "/..",
                        "/.",
                        ".hidden/x",
                        "a/..",
                        "a/.",
                        "..a/b",
                        "a..b",
                        "-_~.",
                        "?q",
                        "#f",
                        "//other.test/x",
                        "p q.html",
                        "caf\u00e9.html",
                        "%41.html",
                        "http://x.test/a/../b",
                        "mailto:x@y",
                        "MCMS zref",
                        "a:b" };
    // Random plain hrefs made of the characters that matter most for dot segments.
    QRandomGenerator rng(42);
    const QString alphabet = QStringLiteral("a./-~");
    for (int i = 0; i < 3000; ++i) {
        QString h;
        for (int j = 0, n = 1 + int(rng.bounded(12)); j < n; ++j)
            h += alphabet.at(int(rng.bounded(alphabet.size())));
        hrefs.append(h);
    }
    for (const QString &b : bases) {
        const QUrl base(b);
        const HrefResolver resolver(base);
        for (const QString &h : hrefs)
            ASSERT_EQ(resolver.resolve(h), CrawlScope::resolveHref(base, h))
                    << b.toStdString() << " + " << h.toStdString();
    }
}
