// URL forms of a link record: trimming when stored, comparison with a candidate URL, and the
// small text tests on the record's URL and titles.
#include "links/LinkCheckerUrl.h"

#include "common/Log.h"
#include "links/LinkOwner.h"

#include <new>

namespace orel {

// URLs are kept as UTF-8 bytes: for the ASCII URLs the crawl produces this is the plain byte
// form, and comparisons stay byte-exact. Allocation failure stops the crawl through the owner.
bool LinkCheckerUrl::copyToBuffer(const QString &text, QByteArray &buffer)
{
    try {
        buffer = text.toUtf8();
        return true;
    } catch (const std::bad_alloc &) {
        if (m_owner)
            m_owner->emergencyMemoryStop();
        return false;
    }
}

void LinkCheckerUrl::trimHash(QByteArray &buffer, bool trimQuery)
{
    if (buffer.size() < 2)
        return;
    const qsizetype hash = buffer.indexOf('#');
    if (hash >= 0)
        buffer.truncate(hash);
    if (trimQuery) {
        const qsizetype query = buffer.indexOf('?');
        if (query >= 0)
            buffer.truncate(query);
    }
}

void LinkCheckerUrl::setLinkUrl(const QString &text, bool trimQuery)
{
    if (text.isNull())
        return;
    QByteArray buffer;
    if (!copyToBuffer(text, buffer))
        return;
    const qsizetype fullLength = buffer.size();
    trimHash(buffer, trimQuery);
    m_nsslinkUrl = buffer.size() == fullLength ? text : QString::fromUtf8(buffer);
    // Records are many and live as long as the results: neither form keeps the spare room of
    // the buffer it came from (a resolver's string, a UTF-8 conversion's threefold room).
    m_nsslinkUrl.squeeze();

    // Only the matching form loses the trailing slash; the displayed and fetched form keeps it.
    bool slashTrimmed = false;
    if (m_owner && m_owner->shouldIgnoreSlash() && buffer.endsWith('/')) {
        buffer.chop(1);
        m_hasHadSlashTrimmed = true;
        slashTrimmed = true;
    }
    buffer.squeeze();
    m_linkUrl = buffer;
    if (m_owner)
        m_owner->addToLookup(this, slashTrimmed ? QString::fromUtf8(m_linkUrl) : m_nsslinkUrl);
}

void LinkCheckerUrl::setFragmentLinkUrl(const QString &text)
{
    QByteArray buffer;
    if (text.isNull() || !copyToBuffer(text, buffer))
        return;
    trimHash(buffer, false);
    buffer.squeeze();
    m_linkUrl = buffer;
    m_nsslinkUrl = text;
    m_nsslinkUrl.squeeze();
}

// Unlike the link URL, a redirect target keeps its fragment and query and is not registered.
void LinkCheckerUrl::setRedir(const QString &text)
{
    if (text.isNull())
        return;
    QByteArray buffer;
    if (!copyToBuffer(text, buffer))
        return;
    m_nssredir = text;
    if (m_owner && m_owner->shouldIgnoreSlash() && buffer.endsWith('/')) {
        buffer.chop(1);
        m_hasHadRedirSlashTrimmed = true;
    }
    buffer.squeeze();
    m_redir = buffer;
}

bool LinkCheckerUrl::isEqualToUrl(QByteArray candidate, bool trimmed, bool ignoreTrailingSlash)
{
    if (candidate.isEmpty())
        return false;
    trimHash(candidate, trimmed);
    if (ignoreTrailingSlash && candidate.endsWith('/'))
        candidate.chop(1);
    // A "///" after the scheme's own slashes is a doubled slash in the path; it matches the
    // record written with "//", which then shows as a redirect.
    bool reducedTripleSlash = false;
    if (candidate.size() > 7) {
        const qsizetype at = candidate.indexOf("///", 7);
        if (at >= 0) {
            candidate.remove(at, 1);
            reducedTripleSlash = true;
        }
    }
    if (candidate.isEmpty())
        return false;
    const bool match = candidate == m_linkUrl || (!m_redir.isEmpty() && candidate == m_redir);
    if (match && reducedTripleSlash)
        m_recursion = true;
    return match;
}

bool LinkCheckerUrl::canonicalMatchesUrl()
{
    const QString canonical = getCanonical();
    if (canonical.isEmpty())
        return true;
    QByteArray buffer;
    if (!copyToBuffer(canonical, buffer))
        return false;
    return isEqualToUrl(buffer, false, true);
}

bool LinkCheckerUrl::directoryTooHigh() const
{
    return m_linkUrl.contains("../");
}

QString LinkCheckerUrl::getLinkUrlForTesting() const
{
    if (m_highlightCallback) {
        if (m_lastClickedOnPage >= 0 && m_lastClickedOnPage < m_onPage.urlCount())
            return m_onPage.urlAt(m_lastClickedOnPage);
        return QString(QLatin1String(""));
    }
    const QString actual = getActualLinkUrl();
    return actual.isNull() ? QString(QLatin1String("")) : actual;
}

bool LinkCheckerUrl::contains(const QString &text) const
{
    return QString::fromUtf8(m_linkUrl).contains(text, Qt::CaseInsensitive)
            || QString::fromUtf8(m_redir).contains(text, Qt::CaseInsensitive)
            || getLinkText().contains(text, Qt::CaseInsensitive)
            || m_status.contains(text, Qt::CaseInsensitive);
}

bool LinkCheckerUrl::isEqualToTitle(const QString &title) const
{
    if (title.isNull() || m_linkPageTitle.isNull())
        return false;
    return title.toUtf8() == m_linkPageTitle.toUtf8();
}

bool LinkCheckerUrl::hasTitle(const QString &title) const
{
    return m_onPage.containsName(title);
}

// A byte substring test, so an empty term occurs in every URL: the folder limit of a crawl that
// starts in a folder directly under the root of a default-port site is "", and limits nothing.
bool LinkCheckerUrl::linkContainsOneOfTheseTerms(const QStringList &terms) const
{
    for (const QString &term : terms) {
        if (term.isEmpty())
            return true;
        try {
            if (m_linkUrl.contains(term.toUtf8()))
                return true;
        } catch (const std::bad_alloc &) {
            if (m_owner)
                m_owner->emergencyMemoryStop();
            return false;
        }
    }
    return false;
}

} // namespace orel
