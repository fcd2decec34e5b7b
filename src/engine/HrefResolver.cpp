#include "engine/HrefResolver.h"

#include "engine/CrawlScope.h"

#include <cstring>
#include <utility>

namespace orel {

namespace {

// Characters that stand for themselves in every form of a URL path.
bool isPlainPath(QStringView text)
{
    for (QChar c : text) {
        const char16_t u = c.unicode();
        const bool plain = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z')
                || (u >= '0' && u <= '9') || u == '-' || u == '.' || u == '_' || u == '~'
                || u == '/';
        if (!plain)
            return false;
    }
    return true;
}

// Whether the path written between from and end ends in the segment "..".
inline bool endsWithDotDotSegment(const QChar *d, qsizetype from, qsizetype end)
{
    return end - from >= 3 && d[end - 1] == QLatin1Char('.') && d[end - 2] == QLatin1Char('.')
            && d[end - 3] == QLatin1Char('/');
}

} // namespace

HrefResolver::HrefResolver(const QUrl &base) : m_base(base)
{
    const QString scheme = base.scheme();
    if ((scheme != QLatin1String("http") && scheme != QLatin1String("https")) || !base.isValid()
        || base.host().isEmpty() || !base.userInfo().isEmpty())
        return;
    const QString path = base.path(QUrl::FullyEncoded);
    if (!isPlainPath(path) || (!path.isEmpty() && !path.startsWith(QLatin1Char('/'))))
        return;
    m_origin = QString::fromLatin1(
            base.toEncoded(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment));
    if (m_origin.endsWith(QLatin1Char('/')))
        m_origin.chop(1);
    m_folder = path.left(path.lastIndexOf(QLatin1Char('/')) + 1);
    if (m_folder.isEmpty())
        m_folder = QStringLiteral("/");
    m_plainBase = true;
}

std::optional<QString> HrefResolver::resolve(const QString &href) const
{
    if (!m_plainBase || href.isEmpty() || href.startsWith(QLatin1String("//"))
        || !isPlainPath(href))
        return CrawlScope::resolveHref(m_base, href);
    // Built in a buffer kept between calls: origin, then the folder unless the href is
    // root-relative. Most results are only looked up and dropped before the next call, so the
    // buffer is no longer shared then and is reused without an allocation; a result that is
    // kept makes the next call start a fresh buffer (implicit sharing detaches it).
    const bool rooted = href.front() == QLatin1Char('/');
    QString &out = m_buffer;
    if (out.isDetached())
        out.resize(0);
    else
        out = QString();
    out.reserve(m_origin.size() + (rooted ? 0 : m_folder.size()) + href.size());
    out += m_origin;
    const qsizetype pathStart = out.size();
    if (!rooted)
        out += m_folder;
    out += href;
    if (hasDotSegment(QStringView(out).sliced(pathStart)))
        removeDotSegmentsInPlace(out, pathStart);
    return out;
}

bool HrefResolver::hasDotSegment(QStringView path)
{
    // A segment that is exactly "." or "..", i.e. "/." or "/.." followed by "/" or the end.
    const qsizetype n = path.size();
    for (qsizetype i = 0; i + 1 < n; ++i) {
        if (path[i] != QLatin1Char('/') || path[i + 1] != QLatin1Char('.'))
            continue;
        qsizetype j = i + 2;
        if (j < n && path[j] == QLatin1Char('.'))
            ++j;
        if (j == n || path[j] == QLatin1Char('/'))
            return true;
    }
    return false;
}

void HrefResolver::removeDotSegmentsInPlace(QString &text, qsizetype pathStart)
{
    // One pass over the segments after each "/": a "." is dropped, a ".." drops the segment
    // before it, and either one at the end leaves the path ending in "/". A ".." with nothing
    // before it to drop (at the root, or after a kept "..") stays, so that a link climbing above
    // the site root is seen as such and not taken for a file at the root. The path only
    // shrinks, so kept segments are moved forward within the same buffer.
    QChar *d = text.data();
    const qsizetype n = text.size();
    qsizetype w = pathStart; // end of the path written so far
    qsizetype at = pathStart + 1; // just past a "/"
    bool trailingSlash = false;
    while (true) {
        qsizetype next = at;
        while (next < n && d[next] != QLatin1Char('/'))
            ++next;
        const bool last = next >= n;
        const qsizetype length = next - at;
        const bool dot = length == 1 && d[at] == QLatin1Char('.');
        const bool dotDot =
                length == 2 && d[at] == QLatin1Char('.') && d[at + 1] == QLatin1Char('.');
        if (dot) {
            trailingSlash = last;
        } else if (dotDot && w > pathStart && !endsWithDotDotSegment(d, pathStart, w)) {
            while (w > pathStart && d[--w] != QLatin1Char('/')) { }
            trailingSlash = last;
        } else {
            d[w++] = QLatin1Char('/');
            std::memmove(d + w, d + at, size_t(length) * sizeof(QChar));
            w += length;
            trailingSlash = false;
        }
        if (last)
            break;
        at = next + 1;
    }
    if (trailingSlash || w == pathStart)
        d[w++] = QLatin1Char('/');
    text.truncate(w);
}

} // namespace orel
