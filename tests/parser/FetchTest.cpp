// Fetching a page by URL from a local HTTP server.
#include "ParserTestUtil.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace orel;

namespace {

// python3's http.server on 127.0.0.1 serving a temporary folder; its request log is kept.
class PageServer
{
public:
    PageServer()
    {
        write("page.html", "<html><head><title>Served</title></head><body><a href=x>x</a>");
        write("notes.txt", "<html><head><title>Not html</title></head>");
        write("dir/index.html", "<title>Index</title>");
        write("doc.pdf", "%PDF-1.4");
        server.setProgram(QStringLiteral("python3"));
        server.setArguments({ QStringLiteral("-u"), QStringLiteral("-m"),
            QStringLiteral("http.server"), QStringLiteral("0"), QStringLiteral("--bind"),
            QStringLiteral("127.0.0.1"), QStringLiteral("--directory"), root.path() });
        server.start();
        if (!server.waitForStarted(5000))
            return;
        const QRegularExpression portLine(QStringLiteral("port (\\d+)"));
        for (int i = 0; i < 100 && port == 0; ++i) {
            server.waitForReadyRead(100);
            output += server.readAllStandardOutput();
            const auto m = portLine.match(QString::fromLatin1(output));
            if (m.hasMatch())
                port = m.captured(1).toInt();
        }
    }
    ~PageServer()
    {
        server.kill();
        server.waitForFinished(3000);
    }
    QString url(const char *path) const
    {
        return QStringLiteral("http://127.0.0.1:%1/%2").arg(port).arg(QLatin1String(path));
    }
    QString requests()
    {
        server.waitForReadyRead(200);
        log += server.readAllStandardError();
        return QString::fromLatin1(log);
    }
    int port = 0;

private:
    void write(const char *name, const QByteArray &content)
    {
        const QString path = root.filePath(QLatin1String(name));
        QDir().mkpath(QFileInfo(path).path());
        QFile f(path);
        if (f.open(QIODevice::WriteOnly))
            f.write(content);
    }
    QTemporaryDir root;
    QProcess server;
    QByteArray output;
    QByteArray log;
};

} // namespace

TEST(ParserFetch, FetchesHtmlOnlyAndSkipsMediaWithoutFetching)
{
    PageServer server;
    ASSERT_NE(server.port, 0) << "python3 http.server did not start";

    auto page = OrelParser::initWithUrl(server.url("page.html"), QStringLiteral("Agent/1"));
    ASSERT_TRUE(page);
    EXPECT_EQ(page->getInitialStatus(), 200);
    EXPECT_EQ(page->getTitle(), QStringLiteral("Served"));
    ASSERT_TRUE(page->getBaseHref());
    EXPECT_EQ(page->getBaseHref()->toString(), server.url("page.html"));
    EXPECT_EQ(page->getNextHref(true, true), QStringLiteral("x"));

    // A missing page still answers with an HTML body, and its status is kept.
    auto missing = OrelParser::initWithUrl(server.url("gone.html"), QStringLiteral("Agent/1"));
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->getInitialStatus(), 404);

    // A folder without its slash is redirected; the base is where the page was found.
    auto dir = OrelParser::initWithUrl(server.url("dir"), QStringLiteral("Agent/1"));
    ASSERT_TRUE(dir);
    EXPECT_EQ(dir->getTitle(), QStringLiteral("Index"));
    EXPECT_EQ(dir->getBaseHref()->toString(), server.url("dir/"));

    EXPECT_FALSE(OrelParser::initWithUrl(server.url("notes.txt"), QStringLiteral("Agent/1")));
    EXPECT_FALSE(OrelParser::initWithUrl(server.url("doc.pdf"), QStringLiteral("Agent/1")));
    EXPECT_FALSE(OrelParser::initWithUrl(server.url("x/clip.Mp4/"), QStringLiteral("Agent/1")));

    const QString requests = server.requests();
    EXPECT_TRUE(requests.contains(QStringLiteral("GET /notes.txt")));
    EXPECT_FALSE(requests.contains(QStringLiteral("doc.pdf")));
    EXPECT_FALSE(requests.contains(QStringLiteral("clip")));

    orel::test::LogCapture log;
    EXPECT_FALSE(OrelParser::initWithUrl(QStringLiteral("http://[bad"), QString()));
    EXPECT_TRUE(log.contains(QStringLiteral("url is badly formed")));
    // Nothing listens on port 9 of the loopback: no data, no parser.
    EXPECT_FALSE(OrelParser::initWithUrl(QStringLiteral("http://127.0.0.1:9/"), QString()));
}
