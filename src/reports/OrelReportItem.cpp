// One row of the flat list, read from its link record and occurrence.
#include "reports/OrelReportItem.h"

#include "links/LinkCheckerUrl.h"

namespace orel {

static_assert(sizeof(OrelReportItem) <= 40, "a report item is made for every occurrence");

namespace {

QString empty()
{
    return QString(QLatin1String(""));
}

} // namespace

int OrelReportItem::getDistanceFromHome() const
{
    return m_record ? m_record->getDistanceFromHome() : 0;
}

QString OrelReportItem::getLinkUrl() const
{
    return m_record ? m_record->getLinkUrl() : empty();
}

QString OrelReportItem::getRedir() const
{
    return m_record ? m_record->getRedir() : empty();
}

QString OrelReportItem::getTimestamp() const
{
    return m_record ? m_record->getTimestamp() : empty();
}

QString OrelReportItem::getStatus() const
{
    return m_record ? m_record->getStatus() : empty();
}

QString OrelReportItem::getOnPageUrl() const
{
    return m_record ? m_record->objectValueForTableColumn(QStringLiteral("1"), int(m_occurrence))
                    : empty();
}

QString OrelReportItem::getOnPageName() const
{
    return m_record ? m_record->onPageNameAt(m_occurrence) : empty();
}

QString OrelReportItem::getLinkText() const
{
    return m_record ? m_record->onPageLinkTextAt(m_occurrence) : empty();
}

bool OrelReportItem::getNofollow() const
{
    // A record may carry fewer nofollow flags than pages (a loaded list): those read as no.
    return m_record && m_record->nofollowAt(m_occurrence);
}

QString OrelReportItem::getFieldByName(const QString &name) const
{
    const auto is = [&name](const char *key) { return name == QLatin1String(key); };
    if (is("distancefromhome") || is("distance"))
        return QString::number(getDistanceFromHome());
    if (is("onpagename"))
        return getOnPageName();
    if (is("onpageurl"))
        return getOnPageUrl();
    if (is("linktext"))
        return getLinkText();
    if (is("linkurl"))
        return getLinkUrl();
    if (is("status"))
        return getStatus();
    if (is("redir"))
        return getRedir();
    if (is("timestamp"))
        return getTimestamp();
    if (is("nofollow"))
        return getNofollow() ? QStringLiteral("Yes") : QStringLiteral("No");
    if (m_record && (is("onpageurlhtml") || is("linkurlhtml") || is("linkredirhtml")))
        return m_record->getFieldByName(name);
    return empty();
}

bool OrelReportItem::contains(const QString &text) const
{
    return getLinkText().contains(text, Qt::CaseInsensitive)
            || getRedir().contains(text, Qt::CaseInsensitive)
            || getLinkUrl().contains(text, Qt::CaseInsensitive)
            || getStatus().contains(text, Qt::CaseInsensitive);
}

int OrelReportItem::getColour() const
{
    return m_record ? m_record->getColour() : 0;
}

OrelReportItem *OrelReportItemStore::add(LinkCheckerUrl *record, quint32 occurrence,
                                         OrelReportDataSource *owner)
{
    const std::size_t place = m_size % kBlockSize;
    if (place == 0)
        m_blocks.push_back(std::make_unique<OrelReportItem[]>(kBlockSize));
    OrelReportItem *item = &m_blocks.back()[place];
    *item = OrelReportItem(record, occurrence, owner);
    ++m_size;
    return item;
}

} // namespace orel
