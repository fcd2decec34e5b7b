// How a server's answer says "slow down" or "no robots": the wait a 429 or 503 asks for and
// whether an answer is a refusal of the crawler rather than a missing page; any thread (pure).
#pragma once

#include "links/UrlRequest.h"

#include <QDateTime>

#include <optional>

namespace orel {

namespace ThrottleAnswer {

// A throttled link is tried at most this often in one crawl run, and waits at most this long.
constexpr int kMaxTries = 3;
constexpr double kMaxWaitSeconds = 60;

// Whether the status code asks the client to come back later (429, 503).
bool isThrottle(int statusCode);

// The wait in seconds that "Retry-After" asks for (delta seconds or an HTTP date, RFC 9110
// 10.2.3), measured from now; nullopt when the header is missing or unreadable. A date in the
// past reads 0.
std::optional<double> retryAfter(const HeaderList &headers, const QDateTime &now);

// The wait before try number nextTry (2, 3, ...): the server's own wish when it gave one, else
// 1 s doubling with each try; never more than kMaxWaitSeconds.
double waitBeforeTry(std::optional<double> asked, int nextTry);

// Whether the headers carry a bot-challenge marker of a well-known front end:
// "cf-mitigated: challenge", "x-amzn-waf-action: challenge" or "captcha", or a DataDome
// "x-datadome" header.
bool hasChallengeMarker(const HeaderList &headers);

// The "blocked" verdict of a final answer: 429 (no retry left), 999 (a refusal some large sites
// send to crawlers), or 403/503 with a bot-challenge marker.
bool isBlockedAnswer(int statusCode, const HeaderList &headers);

} // namespace ThrottleAnswer

} // namespace orel
