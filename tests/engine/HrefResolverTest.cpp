#include "engine/CrawlScope.h"
#include "engine/HrefResolver.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>
#include <QUrl>

using orel::CrawlScope;
using orel::HrefResolver;

// The string join must give exactly what the URL parser gives, for every base and href; the two
// remove dot segments, and keep those that climb above the root, each in its own way. The
// resolver reuses one buffer for its joins, so a base's answers are compared only once all its
// hrefs are resolved: answers kept while it goes on must not change. Hostile hrefs from a page
// (bytes that are not UTF-8, control characters, a huge one) are among them.
TEST(HrefResolver, AgreesWithTheUrlParser)
{
    const auto words = [](const char *text) { return QString::fromUtf8(text).split(' '); };
    const QStringList bases = words(
            "http://h.test/dir/page.html http://h.test http://h.test/ https://H.Test:8443/a/b/ "
            "http://h.test/a/b/c?x=1#f http://h.test/a%20b/p.html file:///srv/site/index.html "
            "http://u:p@h.test/a/ http://[::1]:8080/x/y http://h.test/a/./b/../c.html "
            "http://h.test/../up/ http://h.test/a/b/page.html");
    QStringList hrefs = words(
            "p.html /p.html ../p.html ../../../../p.html ./p.html . .. ./ ../ / a/./b/../c a//b "
            "~user/x x. /.. /. .hidden/x a/.. a/. ..a/b a..b -_~. ?q #f //other.test/x "
            "./s/../t.html caf\u00e9.html %41.html http://x.test/a/../b mailto:x@y a:b");
    hrefs += QStringList {
        "p q.html", "MCMS zref",   "caf\u00e9 \u00ff\u00fe.html",     "a\tb\nc.html",
        "%%%",      "http://[::1", QString(100 * 1024, 'a') + ".html"
    };
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
        QList<std::optional<QString>> kept;
        for (const QString &h : hrefs)
            kept.append(resolver.resolve(h));
        for (qsizetype i = 0; i < hrefs.size(); ++i) {
            ASSERT_EQ(kept[i], CrawlScope::resolveHref(base, hrefs[i]))
                    << b.toStdString() << " + " << hrefs[i].toStdString();
            // URLs are ASCII, whatever the page held: as long in UTF-8 as in characters.
            ASSERT_TRUE(!kept[i] || kept[i]->toUtf8().size() == kept[i]->size());
        }
    }
}
