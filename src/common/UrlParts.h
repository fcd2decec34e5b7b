// Scheme, host and port of a URL text, read without building a QUrl when the text is plain;
// any thread.
#pragma once

#include <QByteArray>
#include <QString>

namespace orel {

// The parts as QUrl reports them: scheme(), host() (lower case; decoded or, when asked, encoded
// as sent on the wire) and port() (-1 when none is written).
struct UrlParts
{
    QString scheme;
    QString host;
    int port = -1;

    // Plain texts ("scheme://host[:port][/...]" with a lower-case ASCII scheme and host and a
    // port without leading zeros) are split directly; anything else goes through QUrl, so the
    // answer is the same either way. The crawl asks this for every new link and every request.
    static UrlParts of(const QString &url, bool encodedHost = false);

    // "host" or "host:port" of a URL as sent in a "Host" header: the host as on the wire (an
    // international name in its ASCII form, an IPv6 address in brackets), the port when one is
    // written. Read from the text when it is plain; asked for every request of a crawl.
    static QByteArray hostHeader(const QString &url);

    // text with the user info ("user:password@") taken out of every "scheme://" authority in
    // it, for whatever others may see: a Referer, a log line, a file name, an export. Texts
    // without "@" (almost all) come back shared, after one scan.
    static QString withoutUserInfo(const QString &text);

    // url without its first seven characters ("http://") and its host, when it is longer than
    // that; else unchanged. A longer scheme keeps part of its separator, as the graph has it.
    static QString stripHost(const QString &url);
};

} // namespace orel
