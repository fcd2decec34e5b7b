// Reading throttling and bot-refusal answers: Retry-After, back-off and challenge markers.
#include "links/ThrottleAnswer.h"

#include <QLocale>
#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace orel::ThrottleAnswer {

namespace {

// The three date forms a recipient must accept (RFC 9110 5.6.7), all in GMT. The day name is
// redundant and dropped first: checking it would refuse a two-digit year read in the wrong
// century.
std::optional<QDateTime> httpDate(const QString &text)
{
    static const char *const formats[] = {
        "dd MMM yyyy HH:mm:ss 'GMT'", // IMF-fixdate
        "dd-MMM-yy HH:mm:ss 'GMT'", // obsolete RFC 850 form
        "MMM d HH:mm:ss yyyy", // asctime
    };
    const QLocale c = QLocale::c();
    const QString simplified = text.simplified();
    const qsizetype comma = simplified.indexOf(QLatin1Char(','));
    const QString rest = comma >= 0 ? simplified.mid(comma + 1).trimmed()
                                    : simplified.section(QLatin1Char(' '), 1);
    for (const char *format : formats) {
        QDateTime when = c.toDateTime(rest, QLatin1String(format));
        if (!when.isValid())
            continue;
        if (when.date().year() < 1970) // two-digit years of the RFC 850 form
            when = when.addYears(100);
        when.setTimeZone(QTimeZone::utc());
        return when;
    }
    return std::nullopt;
}

} // namespace

bool isThrottle(int statusCode)
{
    return statusCode == 429 || statusCode == 503;
}

std::optional<double> retryAfter(const HeaderList &headers, const QDateTime &now)
{
    bool found = false;
    const QByteArray value = headerValue(headers, "Retry-After", &found).trimmed();
    if (!found || value.isEmpty())
        return std::nullopt;
    bool isNumber = false;
    const qlonglong seconds = value.toLongLong(&isNumber);
    if (isNumber)
        return seconds < 0 ? std::nullopt : std::optional<double>(double(seconds));
    const std::optional<QDateTime> when = httpDate(QString::fromLatin1(value));
    if (!when)
        return std::nullopt;
    return std::max(0.0, now.msecsTo(*when) / 1000.0);
}

double waitBeforeTry(std::optional<double> asked, int nextTry)
{
    const double wait = asked ? *asked : std::ldexp(1.0, std::max(0, nextTry - 2));
    return std::clamp(wait, 0.0, kMaxWaitSeconds);
}

bool hasChallengeMarker(const HeaderList &headers)
{
    bool found = false;
    if (headerValue(headers, "cf-mitigated").trimmed().toLower() == "challenge")
        return true;
    const QByteArray waf = headerValue(headers, "x-amzn-waf-action").trimmed().toLower();
    if (waf == "challenge" || waf == "captcha")
        return true;
    headerValue(headers, "x-datadome", &found);
    return found;
}

bool isBlockedAnswer(int statusCode, const HeaderList &headers)
{
    if (statusCode == 429 || statusCode == 999)
        return true;
    return (statusCode == 403 || statusCode == 503) && hasChallengeMarker(headers);
}

} // namespace orel::ThrottleAnswer
