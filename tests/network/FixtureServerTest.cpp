// The fixture server helper: serves a folder with the script or with nginx, logs requests (the
// TLS variant is exercised by the connection tests).
#include "FixtureServer.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include <curl/curl.h>

using orel::test::FixtureServer;

namespace {

struct Fetched
{
    long status = 0;
    QByteArray body;
    CURLcode rc = CURLE_OK;
};

size_t append(char *ptr, size_t size, size_t n, void *userdata)
{
    static_cast<QByteArray *>(userdata)->append(ptr, qsizetype(size * n));
    return size * n;
}

// A blocking fetch, independent of the code under test.
Fetched fetch(const QString &url)
{
    Fetched f;
    CURL *easy = curl_easy_init();
    const QByteArray u = url.toUtf8();
    curl_easy_setopt(easy, CURLOPT_URL, u.constData());
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &f.body);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT, 10L);
    curl_easy_setopt(easy, CURLOPT_NOPROXY, "*");
    f.rc = curl_easy_perform(easy);
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &f.status);
    curl_easy_cleanup(easy);
    return f;
}

} // namespace

TEST(FixtureServer, ServesFixedRoutesAStaticFolderAndLogsRequests)
{
    QDir site(orel::test::home());
    site.mkpath(QStringLiteral("site/sub"));
    QFile page(site.filePath(QStringLiteral("site/sub/a page.html")));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write("<html>written by the test</html>");
    page.close();

    FixtureServer server(site.filePath(QStringLiteral("site")));
    ASSERT_TRUE(server.isRunning());
    EXPECT_TRUE(server.url(QStringLiteral("/x")).startsWith(QStringLiteral("http://127.0.0.1:")));

    Fetched f = fetch(server.url(QStringLiteral("/sub/a%20page.html")));
    EXPECT_EQ(f.status, 200);
    EXPECT_EQ(f.body, QByteArray("<html>written by the test</html>"));
    EXPECT_EQ(fetch(server.url(QStringLiteral("/sub"))).status, 301);
    EXPECT_EQ(fetch(server.url(QStringLiteral("/status/410"))).status, 410);
    EXPECT_EQ(fetch(server.url(QStringLiteral("/nothing-here"))).status, 404);

    const QStringList log = server.requestLog();
    ASSERT_EQ(log.size(), 4);
    EXPECT_EQ(log.first(), QStringLiteral("GET /sub/a%20page.html"));
    server.clearRequestLog();
    EXPECT_TRUE(server.requestLog().isEmpty());
}

TEST(FixtureServer, NginxServesAStaticFolderAndLogsRequests)
{
    QDir site(orel::test::home());
    site.mkpath(QStringLiteral("nginx-site"));
    QFile page(site.filePath(QStringLiteral("nginx-site/index.html")));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write("<html>nginx index</html>");
    page.close();

    FixtureServer server(FixtureServer::Nginx, site.filePath(QStringLiteral("nginx-site")));
    ASSERT_TRUE(server.isRunning());
    Fetched f = fetch(server.url(QStringLiteral("/")));
    EXPECT_EQ(f.status, 200);
    EXPECT_EQ(f.body, QByteArray("<html>nginx index</html>"));
    EXPECT_EQ(fetch(server.url(QStringLiteral("/missing?x=1"))).status, 404);
    QDeadlineTimer deadline(3000);
    while (server.requestLog().size() < 2 && !deadline.hasExpired())
        QThread::msleep(20);
    EXPECT_EQ(server.requestLog(),
        QStringList({ QStringLiteral("GET /"), QStringLiteral("GET /missing?x=1") }));
}
