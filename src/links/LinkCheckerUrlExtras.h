// The rarely used part of a link record, allocated on first use to keep records small; main
// thread. Internal to the LinkCheckerUrl sources.
#pragma once

#include "links/LinkCheckerUrl.h"

namespace orel {

// An empty, not null, text: a cell that is blank rather than missing.
inline QString emptyString()
{
    return QString(QLatin1String(""));
}

struct LinkCheckerUrl::PageExtras
{
    QString metaDescription;
    QString keywords;
    QString headings;
    QString canonical;
    QString changeFrequency;
    QString validatorStatus;
    QString timestamp; // set explicitly; null = derived from the send time
    int validatorErrors = -1; // -1 = not validated
    int validatorWarnings = -1;

    int ocurrencesInUrl = 0;
    int ocurrencesInTitle = 0;
    int ocurrencesInDescription = 0;
    int ocurrencesInKeywords = 0;
    int ocurrencesInHeadings = 0;
    int ocurrencesInArchive = 0;
    int totalOcurrences = 0;

    QList<LinkCheckerUrl *> linkedImages; // not owned
    std::optional<QByteArray> cacheData; // body of a cached response, once one was offered
    QByteArray onPageData; // the page that holds this link, fetched for highlighting
};

} // namespace orel
