// The names a page's fragment links can point at: every element's id and every <a name>, read
// from the raw bytes in one pass of their own; any thread (no state).
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <vector>

namespace orel {

// Kept apart from the link scanner so that a crawl that does not check fragments pays nothing
// for it. Names are kept as 64-bit hashes, sorted and unique: a page with many ids costs eight
// bytes a name, and the crawl only ever asks whether a name is there.
class AnchorNames
{
public:
    // Scans the markup: comments and the contents of script and style elements are skipped;
    // attribute values may be quoted with " or ' or unquoted. Values are compared as written,
    // after the five XML entities and numeric references are decoded.
    static std::vector<quint64> scan(const QByteArray &html);

    // The hash a name is stored under; name is the decoded fragment's UTF-8 bytes.
    static quint64 hashOf(QByteArrayView name);

    // Whether the sorted names hold name. A fragment is percent-decoded before the look-up.
    static bool contains(const std::vector<quint64> &names, QByteArrayView fragment);
};

} // namespace orel
