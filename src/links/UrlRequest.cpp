#include "links/UrlRequest.h"

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

} // namespace orel
