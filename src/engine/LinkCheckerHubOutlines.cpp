// The crawl controller as the data source of its by-link and by-page outlines, and the row
// colours of its views.
#include "engine/LinkCheckerHub.h"

#include "common/Localize.h"
#include "common/SettingsControls.h"
#include "common/UserDefaults.h"
#include "links/LinkCheckerUrl.h"
#include "links/OrelOnPage.h"

#include <algorithm>

namespace orel {

namespace {

const char *const kColourPrefixes[] = { nullptr, "Tillery2xxColour", "Tillery3xxColour",
                                        "Tillery4xxColour", "Tillery5xxColour" };

// Colours until the user picks others: green, amber, orange-red, red; a pale grey for "none".
const Colour kDefaultColours[] = { { 0.9, 0.9, 0.9, 1 },
                                   { 0.80, 0.95, 0.80, 1 },
                                   { 1.00, 0.90, 0.60, 1 },
                                   { 1.00, 0.75, 0.60, 1 },
                                   { 1.00, 0.60, 0.60, 1 } };

} // namespace

QString LinkCheckerHub::showHideGoodLinks()
{
    setBadLinksOnly(!m_badLinksOnly);
    return m_badLinksOnly ? localized("Show all links") : localized("Bad links only");
}

int LinkCheckerHub::numberOfOccurrences(LinkCheckerUrl *record) const
{
    // Children appear only once the crawl no longer changes them.
    if (!record || !(m_stopPressed || m_crawlFinished))
        return 0;
    return int(record->onPageCount());
}

OrelOnPage *LinkCheckerHub::occurrence(LinkCheckerUrl *record, int index)
{
    if (!record || index < 0)
        return nullptr;
    return &m_pairings.try_emplace({ record, index }, record, index).first->second;
}

int LinkCheckerHub::countVisibleItemsforThisPage(const QString &page) const
{
    if (!(m_stopPressed || m_crawlFinished))
        return 0;
    const QList<LinkCheckerUrl *> *links = linksOnPage(page);
    if (!links)
        return 0;
    int n = 0;
    for (const LinkCheckerUrl *record : *links) {
        if (isShown(record))
            ++n;
    }
    return n;
}

bool LinkCheckerHub::pageHasAtLeastOneVisibleItem(const QString &page) const
{
    const QList<LinkCheckerUrl *> *links = linksOnPage(page);
    if (!links)
        return false;
    if (!m_badLinksOnly)
        return true;
    return std::any_of(links->cbegin(), links->cend(),
                       [this](const LinkCheckerUrl *record) { return isShown(record); });
}

int LinkCheckerHub::countPagesWithVisibleItems()
{
    m_pagesNeedingAttention.emplace();
    if (!m_byPageDictionary)
        return 0;
    for (auto it = m_byPageDictionary->cbegin(); it != m_byPageDictionary->cend(); ++it) {
        for (const LinkCheckerUrl *record : it.value()) {
            if (isShown(record)) {
                m_pagesNeedingAttention->append(it.key());
                break;
            }
        }
    }
    return int(m_pagesNeedingAttention->size());
}

QString LinkCheckerHub::getNthPageWithVisibleItems(int n) const
{
    if (!m_pagesNeedingAttention)
        return {};
    if (n < 0 || n >= m_pagesNeedingAttention->size())
        return QString(QLatin1String(""));
    return m_pagesNeedingAttention->at(n);
}

OrelOnPage *LinkCheckerHub::getNthVisibleItemForPage(int n, const QString &page)
{
    const QList<LinkCheckerUrl *> *links = linksOnPage(page);
    if (!links)
        return nullptr;
    int seen = 0;
    for (qsizetype p = 0; p < links->size(); ++p) {
        LinkCheckerUrl *record = links->at(p);
        if (!isShown(record))
            continue;
        if (seen++ != n)
            continue;
        // A record found several times on one page: the k-th time here is its k-th entry of
        // this page in its own list.
        int k = 0;
        for (qsizetype before = 0; before < p; ++before) {
            if (links->at(before) == record)
                ++k;
        }
        const QStringList &pages = record->getOnPageUrlArray();
        for (int i = 0; i < pages.size(); ++i) {
            if (pages.at(i) == page && k-- == 0)
                return occurrence(record, i);
        }
        return nullptr;
    }
    return nullptr;
}

QString LinkCheckerHub::byLinkValue(const LinkCheckerUrl *record, const QString &columnId)
{
    if (!record || columnId == QLatin1String("linktext"))
        return QString(QLatin1String(""));
    return record->getFieldByName(columnId);
}

QString LinkCheckerHub::byLinkValue(const OrelOnPage *occurrence, const QString &columnId)
{
    static const QStringList linkColumns { QStringLiteral("linkurl"), QStringLiteral("status"),
                                           QStringLiteral("redir"), QStringLiteral("distance"),
                                           QStringLiteral("timestamp") };
    if (!occurrence || linkColumns.contains(columnId))
        return QString(QLatin1String(""));
    return occurrence->getFieldByName(columnId);
}

QString LinkCheckerHub::byPageValue(const QString &page, const QString &columnId)
{
    return columnId == QLatin1String("linkurl") ? page : QString(QLatin1String(""));
}

QString LinkCheckerHub::byPageValue(const OrelOnPage *occurrence, const QString &columnId)
{
    return occurrence ? occurrence->getFieldByName(columnId) : QString(QLatin1String(""));
}

void LinkCheckerHub::setClassColour(int colourClass, const Colour &colour)
{
    if (colourClass >= 0 && colourClass <= 4)
        m_classColours[colourClass] = colour;
}

Colour LinkCheckerHub::classColour(int colourClass) const
{
    return m_classColours[colourClass >= 1 && colourClass <= 4 ? colourClass : 0];
}

void LinkCheckerHub::loadColoursFromDefaults()
{
    for (int c = 0; c <= 4; ++c) {
        m_classColours[c] = kDefaultColours[c];
        if (!kColourPrefixes[c])
            continue;
        const QString prefix = QLatin1String(kColourPrefixes[c]);
        if (!UserDefaults::contains(prefix + QLatin1Char('R')))
            continue;
        m_classColours[c] = Colour { UserDefaults::doubleValue(prefix + QLatin1Char('R')),
                                     UserDefaults::doubleValue(prefix + QLatin1Char('G')),
                                     UserDefaults::doubleValue(prefix + QLatin1Char('B')),
                                     UserDefaults::doubleValue(prefix + QLatin1Char('A')) };
    }
}

void LinkCheckerHub::saveColoursToDefaults() const
{
    for (int c = 1; c <= 4; ++c) {
        const QString prefix = QLatin1String(kColourPrefixes[c]);
        UserDefaults::setValue(prefix + QLatin1Char('R'), float(m_classColours[c].r));
        UserDefaults::setValue(prefix + QLatin1Char('G'), float(m_classColours[c].g));
        UserDefaults::setValue(prefix + QLatin1Char('B'), float(m_classColours[c].b));
        UserDefaults::setValue(prefix + QLatin1Char('A'), float(m_classColours[c].a));
    }
}

std::optional<Colour> LinkCheckerHub::labelColorForRow(TableDescription *, int row)
{
    if (!SettingsControls::isOn(m_controls->displayLabelButton))
        return std::nullopt;
    return rowColour(static_cast<LinkCheckerUrl *>(getnthVisibleItem(row)));
}

std::optional<Colour> LinkCheckerHub::rowColour(const LinkCheckerUrl *record) const
{
    // No colour stands for the transparent one.
    if (!SettingsControls::isOn(m_controls->displayLabelButton))
        return std::nullopt;
    const int colourClass = record ? record->getColour() : 0;
    if (colourClass < 1 || colourClass > 4)
        return std::nullopt;
    return m_classColours[colourClass];
}

Colour LinkCheckerHub::labelColorForConstant(int colourClass) const
{
    return classColour(colourClass);
}

} // namespace orel
