// A host's robots.txt fetched through the one transfer path, and the links held back for it.
#include "engine/RobotsGate.h"

#include "common/Log.h"
#include "common/UrlParts.h"
#include "links/LinkCheckerUrl.h"
#include "links/myNSURLConnection.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QUrl>

namespace orel {

namespace {

// RFC 9309 lets a crawler stop reading after 500 KiB; a little more is read so that the parser
// sees the whole of its limit.
constexpr qsizetype kMaxBody = 512 * 1024;
// "at least five consecutive redirects" are to be followed; after that the file counts as
// unavailable.
constexpr int kMaxHops = 5;

} // namespace

// One fetch of one origin's robots.txt; ends by handing the rules to the gate from the event
// loop, never from inside a transfer's callback.
class RobotsFetch : public QObject, public ConnectionDelegate
{
public:
    RobotsFetch(RobotsGate *gate, QString origin) : m_gate(gate), m_origin(std::move(origin)) { }
    ~RobotsFetch() override
    {
        if (m_connection && !m_connection->isCancelled())
            m_connection->cancel();
    }

    void start(const QString &userAgent, double timeout)
    {
        m_userAgent = userAgent;
        const UrlRequest request =
                fetchRequest(m_origin + QStringLiteral("/robots.txt"), userAgent, timeout);
        m_connection = new myNSURLConnection(request, this, CrawlFetch);
    }

    std::optional<UrlRequest> willSendRequest(myNSURLConnection *, const UrlRequest &proposed,
                                              const UrlResponse *redirectResponse) override
    {
        if (redirectResponse && ++m_hops > kMaxHops) {
            end(RobotsTxt()); // unavailable, as a 4xx is
            return std::nullopt;
        }
        UrlRequest next = proposed;
        next.setHeader("Host", UrlParts::hostHeader(proposed.url));
        return next;
    }
    bool canAuthenticateAgainstProtectionSpace(myNSURLConnection *, AuthMethod) override
    {
        return false;
    }
    void didReceiveAuthenticationChallenge(myNSURLConnection *, AuthChallenge &challenge) override
    {
        challenge.cancel();
    }
    void didReceiveResponse(myNSURLConnection *, const UrlResponse &response) override
    {
        m_status = response.isHttp ? response.statusCode : 200;
        if (m_status >= 500)
            end(RobotsTxt::disallowAll());
        else if (m_status >= 300) // 4xx, and redirects that were not followed
            end(RobotsTxt());
    }
    void didReceiveData(myNSURLConnection *, const char *bytes, qsizetype length) override
    {
        m_body.append(bytes, std::min(length, kMaxBody - m_body.size()));
        if (m_body.size() >= kMaxBody)
            end(RobotsTxt::parse(m_body, m_userAgent));
    }
    void connectionDidFinishLoading(myNSURLConnection *) override
    {
        end(RobotsTxt::parse(m_body, m_userAgent));
    }
    void didFailWithError(myNSURLConnection *, const UrlError &error) override
    {
        log(QStringLiteral("robots.txt of %1 not read (%2): nothing there is fetched")
                    .arg(m_origin, error.localizedDescription));
        end(RobotsTxt::disallowAll());
    }

private:
    void end(RobotsTxt rules)
    {
        if (m_ended)
            return;
        m_ended = true;
        if (m_connection && !m_connection->isCancelled())
            m_connection->cancel();
        m_connection = nullptr;
        QMetaObject::invokeMethod(
                this,
                [this, rules = std::move(rules)]() mutable {
                    m_gate->settle(m_origin, std::move(rules));
                },
                Qt::QueuedConnection);
    }

    RobotsGate *m_gate;
    QString m_origin;
    QString m_userAgent;
    QPointer<myNSURLConnection> m_connection;
    QByteArray m_body;
    int m_status = 0;
    int m_hops = 0;
    bool m_ended = false;
};

RobotsGate::RobotsGate(QString userAgent, double timeoutSeconds, std::function<void()> arrived)
    : m_userAgent(std::move(userAgent)), m_timeout(timeoutSeconds), m_arrived(std::move(arrived))
{ }

RobotsGate::~RobotsGate()
{
    cancel();
}

QString RobotsGate::originOf(const QString &url)
{
    const QUrl u(url);
    const QString scheme = u.scheme().toLower();
    if ((scheme != QLatin1String("http") && scheme != QLatin1String("https")) || u.host().isEmpty())
        return {};
    return u.adjusted(QUrl::RemoveUserInfo | QUrl::RemovePath | QUrl::RemoveQuery
                      | QUrl::RemoveFragment)
            .toString(QUrl::FullyEncoded);
}

bool RobotsGate::allows(const RobotsTxt &rules, const QString &url)
{
    const QUrl u(url);
    QString path = u.path(QUrl::FullyEncoded);
    if (path.isEmpty())
        path = QStringLiteral("/");
    if (u.hasQuery())
        path += QLatin1Char('?') + u.query(QUrl::FullyEncoded);
    return rules.allowed(path);
}

bool RobotsGate::knownToDisallow(const QString &url) const
{
    const auto it = m_hosts.find(originOf(url));
    return it != m_hosts.end() && it->second.rules && !allows(*it->second.rules, url);
}

RobotsGate::Verdict RobotsGate::check(LinkCheckerUrl *record)
{
    const QString url = record->getActualLinkUrl();
    const QString origin = originOf(url);
    if (origin.isEmpty())
        return Verdict::Allowed;
    Host &host = m_hosts[origin];
    if (host.rules)
        return allows(*host.rules, url) ? Verdict::Allowed : Verdict::Disallowed;
    host.waiting.push_back(record);
    if (!host.fetch) {
        host.fetch = new RobotsFetch(this, origin);
        host.fetch->start(m_userAgent, m_timeout);
    }
    return Verdict::Wait;
}

void RobotsGate::settle(const QString &origin, RobotsTxt rules)
{
    auto it = m_hosts.find(origin);
    if (it == m_hosts.end())
        return;
    Host &host = it->second;
    if (host.fetch) {
        host.fetch->deleteLater(); // this call comes from the fetch's own queued call
        host.fetch = nullptr;
    }
    host.rules = std::make_unique<RobotsTxt>(std::move(rules));
    std::vector<LinkCheckerUrl *> waiting = std::exchange(host.waiting, {});
    for (LinkCheckerUrl *record : waiting) {
        if (allows(*host.rules, record->getActualLinkUrl()))
            m_released.push_back(record);
        else
            m_refused.push_back(record);
    }
    if (!waiting.empty() && m_arrived)
        m_arrived();
}

LinkCheckerUrl *RobotsGate::takeReleased()
{
    if (m_released.empty())
        return nullptr;
    LinkCheckerUrl *record = m_released.front();
    m_released.pop_front();
    return record;
}

std::vector<LinkCheckerUrl *> RobotsGate::takeRefused()
{
    return std::exchange(m_refused, {});
}

void RobotsGate::cancel()
{
    for (auto it = m_hosts.begin(); it != m_hosts.end();) {
        Host &host = it->second;
        host.waiting.clear();
        if (host.fetch) {
            delete host.fetch; // cancels its transfer; its queued call goes with it
            host.fetch = nullptr;
        }
        it = host.rules ? std::next(it) : m_hosts.erase(it);
    }
    m_released.clear();
    m_refused.clear();
}

} // namespace orel
