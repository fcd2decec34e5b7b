// The robots.txt rules of every host a crawl fetches from: each host's file fetched once, before
// that host's first fetch, with the host's links held back until it has arrived; main thread.
#pragma once

#include "engine/RobotsTxt.h"

#include <QString>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace orel {

class LinkCheckerUrl;
class RobotsFetch;

// Only http and https links are looked at. Links waiting for their host's file hold no fetch
// slot, so other hosts go on meanwhile. The file is read as RFC 9309 says: a 2xx answer is
// parsed for the crawler's user agent, any 4xx allows everything, a 5xx or no answer at all
// (refused, time-out) disallows everything.
class RobotsGate
{
public:
    enum class Verdict { Allowed, Disallowed, Wait };

    // arrived is called (from the event loop) each time a host's file has been settled and
    // links were waiting for it; they are then in released() and refused().
    RobotsGate(QString userAgent, double timeoutSeconds, std::function<void()> arrived);
    ~RobotsGate();
    RobotsGate(const RobotsGate &) = delete;
    RobotsGate &operator=(const RobotsGate &) = delete;

    // Whether the record may be fetched now; Wait holds it (and starts its host's fetch).
    Verdict check(LinkCheckerUrl *record);
    // Whether url's host has a file already read that disallows url (a redirect's target: a host
    // whose file has not been read yet is not waited for).
    bool knownToDisallow(const QString &url) const;
    // The next held record that its host's file allows; nullptr when none is left.
    LinkCheckerUrl *takeReleased();
    // The held records that their host's file disallows, handed over once.
    std::vector<LinkCheckerUrl *> takeRefused();
    // A pause: fetches of files in flight are dropped and held records let go (they have no
    // status, so the crawl picks them up again on continuing). Files already read are kept.
    void cancel();

    // The origin ("scheme://host:port") whose robots.txt governs url; empty for other schemes.
    static QString originOf(const QString &url);

private:
    friend class RobotsFetch;
    struct Host
    {
        std::unique_ptr<RobotsTxt> rules; // null while the file is being fetched
        RobotsFetch *fetch = nullptr; // owned while the file is being fetched
        std::vector<LinkCheckerUrl *> waiting;
    };
    void settle(const QString &origin, RobotsTxt rules);
    static bool allows(const RobotsTxt &rules, const QString &url);

    QString m_userAgent;
    double m_timeout;
    std::function<void()> m_arrived;
    std::map<QString, Host> m_hosts;
    std::deque<LinkCheckerUrl *> m_released;
    std::vector<LinkCheckerUrl *> m_refused;
};

} // namespace orel
