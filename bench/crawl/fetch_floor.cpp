// Fetch floor: how fast one thread can merely fetch a list of URLs, bodies thrown away, with a
// fixed number of transfers in flight. The crawl does this and reads every page on top, so these
// figures bound what any crawl on this machine can reach; main thread only.
//
//   fetch_floor --via orrelwick|libcurl [--slots N] BASE_URL URL_LIST
//
// "orrelwick" goes through the program's own connection layer (the shared multi handle in the Qt
// event loop, the same request headers, the next transfer started by a queued call as a crawl
// does); "libcurl" is a bare libcurl loop (curl_multi_poll, handles reused, nothing else).
// Prints one line: "requests N failed F wall S cpu S req/s R".
#include "common/HeapTuning.h"
#include "links/ConnectionDelegate.h"
#include "links/myNSURLConnection.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMetaObject>
#include <QStringList>
#include <QUrl>

#include <curl/curl.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

double cpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval &t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Totals
{
    int done = 0;
    int failed = 0;
};

// Keeps `slots` connections going until the list is used up, then quits the event loop.
class Fetcher : public orel::ConnectionDelegate
{
public:
    Fetcher(const QStringList &urls, int slots, Totals &totals)
        : m_urls(urls),
          m_slots(slots),
          m_totals(totals),
          m_host(QUrl(urls.constFirst()).authority().toUtf8()) // every URL is on one host
    { }

    void begin()
    {
        for (int i = 0; i < m_slots; ++i)
            startNext();
    }

    std::optional<orel::UrlRequest> willSendRequest(orel::myNSURLConnection *,
                                                    const orel::UrlRequest &proposed,
                                                    const orel::UrlResponse *redirect) override
    {
        if (redirect)
            return std::nullopt; // the generated site has none; a redirect would be a fault
        return proposed;
    }
    bool canAuthenticateAgainstProtectionSpace(orel::myNSURLConnection *, orel::AuthMethod) override
    {
        return false;
    }
    void didReceiveAuthenticationChallenge(orel::myNSURLConnection *,
                                           orel::AuthChallenge &challenge) override
    {
        challenge.cancel();
    }
    void didReceiveResponse(orel::myNSURLConnection *, const orel::UrlResponse &) override { }
    void didReceiveData(orel::myNSURLConnection *, const char *, qsizetype) override { }
    void connectionDidFinishLoading(orel::myNSURLConnection *) override { finished(false); }
    void didFailWithError(orel::myNSURLConnection *, const orel::UrlError &) override
    {
        finished(true);
    }

private:
    void finished(bool failed)
    {
        ++m_totals.done;
        m_totals.failed += failed ? 1 : 0;
        // A crawl starts its next fetch from a queued call after reading the page; so does this.
        QMetaObject::invokeMethod(
                QCoreApplication::instance(), [this] { startNext(); }, Qt::QueuedConnection);
    }

    void startNext()
    {
        if (m_next >= m_urls.size()) {
            if (m_totals.done == m_urls.size())
                QCoreApplication::quit();
            return;
        }
        orel::UrlRequest request;
        request.url = m_urls.at(m_next++);
        request.timeoutSeconds = 30;
        request.setHeader("User-Agent", "fetch_floor");
        request.setHeader("Referer", m_urls.constFirst().toUtf8());
        request.setHeader("Host", m_host);
        new orel::myNSURLConnection(request, this, orel::CrawlFetch);
    }

    QStringList m_urls;
    qsizetype m_next = 0;
    int m_slots;
    Totals &m_totals;
    QByteArray m_host;
};

size_t discard(char *, size_t size, size_t count, void *)
{
    return size * count;
}

// libcurl on its own: the same requests, no event loop of ours in between.
void fetchWithLibcurl(const QStringList &urls, int slots, Totals &totals)
{
    CURLM *multi = curl_multi_init();
    std::vector<QByteArray> urlBytes;
    urlBytes.reserve(size_t(urls.size()));
    for (const QString &u : urls)
        urlBytes.push_back(u.toUtf8());
    const QByteArray referer = "Referer: " + urlBytes.front();
    curl_slist *headers = curl_slist_append(nullptr, "User-Agent: fetch_floor");
    headers = curl_slist_append(headers, referer.constData());
    size_t next = 0;
    auto startOn = [&](CURL *easy) {
        curl_easy_setopt(easy, CURLOPT_URL, urlBytes[next++].constData());
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &discard);
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
        curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, 65536L);
        curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, 30000L);
        curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
        curl_multi_add_handle(multi, easy);
    };
    for (int i = 0; i < slots && next < urlBytes.size(); ++i)
        startOn(curl_easy_init());
    int running = 1;
    while (running > 0 || next < urlBytes.size()) {
        curl_multi_perform(multi, &running);
        int left = 0;
        while (CURLMsg *msg = curl_multi_info_read(multi, &left)) {
            if (msg->msg != CURLMSG_DONE)
                continue;
            CURL *easy = msg->easy_handle;
            ++totals.done;
            totals.failed += msg->data.result == CURLE_OK ? 0 : 1;
            curl_multi_remove_handle(multi, easy);
            if (next < urlBytes.size()) {
                startOn(easy);
                ++running;
            } else {
                curl_easy_cleanup(easy);
            }
        }
        if (running > 0)
            curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    }
    curl_slist_free_all(headers);
    curl_multi_cleanup(multi);
}

int usage()
{
    std::fputs("usage: fetch_floor --via orrelwick|libcurl [--slots N] BASE_URL URL_LIST\n",
               stderr);
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    // The same heap settings and event dispatcher as a command-line crawl.
    orel::tuneHeap();
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    QString via;
    int slots = 16;
    QStringList positional;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--via") && i + 1 < args.size())
            via = args[++i];
        else if (args[i] == QLatin1String("--slots") && i + 1 < args.size())
            slots = args[++i].toInt();
        else
            positional.append(args[i]);
    }
    if ((via != QLatin1String("orrelwick") && via != QLatin1String("libcurl"))
        || positional.size() != 2 || slots < 1)
        return usage();

    QFile list(positional[1]);
    if (!list.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "fetch_floor: cannot read %s\n", qPrintable(positional[1]));
        return 2;
    }
    QString base = positional[0];
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    QStringList urls;
    while (!list.atEnd()) {
        const QString path = QString::fromUtf8(list.readLine()).trimmed();
        if (!path.isEmpty())
            urls.append(base + path);
    }
    if (urls.isEmpty())
        return usage();

    Totals totals;
    QElapsedTimer clock;
    const double cpuBefore = cpuSeconds();
    clock.start();
    if (via == QLatin1String("libcurl")) {
        fetchWithLibcurl(urls, slots, totals);
    } else {
        Fetcher fetcher(urls, slots, totals);
        QMetaObject::invokeMethod(
                &app, [&fetcher] { fetcher.begin(); }, Qt::QueuedConnection);
        app.exec();
    }
    const double wall = double(clock.nsecsElapsed()) / 1e9;
    const double cpu = cpuSeconds() - cpuBefore;
    std::printf("requests %d failed %d wall %.3f cpu %.3f req/s %.0f\n", totals.done, totals.failed,
                wall, cpu, totals.done / wall);
    return totals.failed == 0 ? 0 : 1;
}
