// Turns the hrefs of one page into absolute URLs; main thread (one page at a time).
#pragma once

#include <QString>
#include <QUrl>

#include <optional>

namespace orel {

// The URL parser is the costly part of reading a page's links. Plain hrefs (letters, digits
// and "-._~/" only) against a plain http(s) base are joined as strings, with dot segments
// removed as CrawlScope::resolveHref() removes them (".." segments that would climb above the
// root are kept); everything else goes through the parser. Both ways give the same text.
class HrefResolver
{
public:
    explicit HrefResolver(const QUrl &base);

    // The absolute URL of href, ASCII; none when no URL can be formed.
    std::optional<QString> resolve(const QString &href) const;

private:
    static bool hasDotSegment(QStringView path);
    // Removes "." and ".." segments from the path that starts at pathStart (a "/") and runs to
    // the end of text; a ".." with no segment before it to remove is kept.
    static void removeDotSegmentsInPlace(QString &text, qsizetype pathStart);

    QUrl m_base;
    QString m_origin; // scheme "://" authority
    QString m_folder; // the base path up to and including its last "/"
    bool m_plainBase = false;
    mutable QString m_buffer; // the last joined URL; see resolve()
};

} // namespace orel
