// The SEO counts of a link record: occurrences of a search term in its URL, page data and
// archived page, and the term lists of the soft-404 check.
#include "links/LinkCheckerUrl.h"

#include "common/AppSupport.h"
#include "common/LocalFile.h"
#include "links/ArchiveName.h"
#include "links/LinkCheckerUrlExtras.h"

namespace orel {

// ---- SEO counts ------------------------------------------------------------------------------

int LinkCheckerUrl::countOcurrencesOfString(const QString &term, const QString &text)
{
    if (term.isEmpty() || text.isEmpty())
        return 0;
    int count = 0;
    qsizetype from = 0;
    while (text.size() - from >= term.size()) {
        const qsizetype at = text.indexOf(term, from, Qt::CaseInsensitive);
        if (at < 0)
            break;
        ++count;
        from = at + 1; // overlapping matches count
    }
    return count;
}

namespace {

// The archived copy of a page as text; null when there is none.
QString readArchive(const QString &actualUrl)
{
    if (actualUrl.isEmpty())
        return QString();
    const std::optional<QByteArray> page = LocalFile::readRegular(
            AppSupport::archiveFolder() + QLatin1Char('/') + archiveFileNameForUrl(actualUrl));
    return page ? QString::fromUtf8(*page) : QString();
}

bool textContainsOneOf(const QString &text, const QStringList &terms)
{
    for (const QString &term : terms) {
        if (LinkCheckerUrl::countOcurrencesOfString(term, text) > 0)
            return true;
    }
    return false;
}

} // namespace

bool LinkCheckerUrl::countSEOTerm(const QString &term)
{
    PageExtras &x = extras();
    x.ocurrencesInUrl = countOcurrencesOfString(term, getActualLinkUrl());
    x.ocurrencesInTitle = countOcurrencesOfString(term, m_linkPageTitle);
    x.ocurrencesInDescription = countOcurrencesOfString(term, x.metaDescription);
    x.ocurrencesInHeadings = countOcurrencesOfString(term, x.headings);
    x.ocurrencesInKeywords = countOcurrencesOfString(term, x.keywords);
    // The archived page holds the title, description, headings and keywords too; count them
    // once only.
    const int archive = countOcurrencesOfStringInArchive(term) - x.ocurrencesInTitle
            - x.ocurrencesInDescription - x.ocurrencesInHeadings - x.ocurrencesInKeywords;
    x.ocurrencesInArchive = archive > 0 ? archive : 0;
    x.totalOcurrences = x.ocurrencesInUrl + x.ocurrencesInTitle + x.ocurrencesInDescription
            + x.ocurrencesInHeadings + x.ocurrencesInKeywords + x.ocurrencesInArchive;
    return x.totalOcurrences != 0;
}

int LinkCheckerUrl::countOcurrencesOfStringInArchive(const QString &term) const
{
    const QString text = readArchive(getActualLinkUrl());
    return text.isNull() ? 0 : countOcurrencesOfString(term, text);
}

// Falls back to the body still held when the page was not archived.
bool LinkCheckerUrl::archiveContainsOneOfTheseTerms(const QStringList &terms) const
{
    QString text = readArchive(getActualLinkUrl());
    if (text.isNull())
        text = QString::fromUtf8(m_data);
    return textContainsOneOf(text, terms);
}

bool LinkCheckerUrl::dataContainsOneOfTheseTerms(const QStringList &terms) const
{
    return textContainsOneOf(QString::fromUtf8(m_data), terms);
}

#define OREL_EXTRA_COUNT(getter, field)                                                            \
    int LinkCheckerUrl::getter() const                                                             \
    {                                                                                              \
        return m_extra ? m_extra->field : 0;                                                       \
    }

OREL_EXTRA_COUNT(getOcurrencesInUrl, ocurrencesInUrl)
OREL_EXTRA_COUNT(getOcurrencesInTitle, ocurrencesInTitle)
OREL_EXTRA_COUNT(getOcurrencesInDescription, ocurrencesInDescription)
OREL_EXTRA_COUNT(getOcurrencesInKeywords, ocurrencesInKeywords)
OREL_EXTRA_COUNT(getOcurrencesInHeadings, ocurrencesInHeadings)
OREL_EXTRA_COUNT(getOcurrencesInArchive, ocurrencesInArchive)
OREL_EXTRA_COUNT(getTotalOccurrences, totalOcurrences)

#undef OREL_EXTRA_COUNT

} // namespace orel
