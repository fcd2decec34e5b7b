#include "links/UrlRequest.h"

#include "common/UrlParts.h"

namespace orel {

QByteArray headerValue(const HeaderList &headers, const QByteArray &name, bool *found)
{
    for (const auto &h : headers) {
        if (h.first.compare(name, Qt::CaseInsensitive) == 0) {
            if (found)
                *found = true;
            return h.second;
        }
    }
    if (found)
        *found = false;
    return {};
}

void UrlRequest::setHeader(const QByteArray &name, const QByteArray &value)
{
    for (auto &h : headers) {
        if (h.first.compare(name, Qt::CaseInsensitive) == 0) {
            h.second = value;
            return;
        }
    }
    headers.append({ name, value });
}

UrlRequest fetchRequest(const QString &url, const QString &userAgent, double timeoutSeconds)
{
    UrlRequest request;
    request.url = url;
    request.timeoutSeconds = timeoutSeconds;
    request.reloadIgnoringCache = true;
    request.handleCookies = false;
    request.setHeader("User-Agent", userAgent.toUtf8());
    const QByteArray host = UrlParts::hostHeader(url);
    if (!host.isEmpty())
        request.setHeader("Host", host);
    return request;
}

} // namespace orel
