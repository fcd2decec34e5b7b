// The by-page outline as an item model.
#include "reports/ByPageModel.h"

#include "links/LinkCheckerUrl.h"
#include "links/OrelOnPage.h"
#include "reports/LinkVerdict.h"
#include "reports/LinkViews.h"

namespace orel {

namespace {

// Page rows carry no id; a child row carries its page's row + 1, which refresh() maps anew.
constexpr quintptr kPageRow = 0;
constexpr qsizetype kKeptChildLists = 256;

} // namespace

ByPageModel::ByPageModel(LinkViews &views, QObject *parent)
    : OutlineModel(defaultColumns(), parent), m_views(views)
{
    // A crawl changes the pages many times a second; a view needs them a few times.
    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(200);
    connect(&m_refreshTimer, &QTimer::timeout, this, &ByPageModel::refresh);
    const auto later = [this] {
        if (!m_refreshTimer.isActive())
            m_refreshTimer.start();
    };
    connect(&views, &LinkViews::rowsInserted, this, later);
    connect(&views, &LinkViews::rowsRemoved, this, later);
    connect(&views, &LinkViews::rowsChanged, this, later);
    connect(&views, &LinkViews::aboutToReset, this, [this] { beginResetModel(); });
    connect(&views, &LinkViews::resetDone, this, [this] {
        m_refreshTimer.stop();
        takePages();
        endResetModel();
    });
    takePages();
}

void ByPageModel::takePages()
{
    const int count = m_views.countPagesWithVisibleItems();
    m_pages.clear();
    m_rowOfPage.clear();
    m_children.clear();
    for (int i = 0; i < count; ++i) {
        m_pages.append(m_views.getNthPageWithVisibleItems(i));
        m_rowOfPage.insert(m_pages.constLast(), i);
    }
}

void ByPageModel::refresh()
{
    m_refreshTimer.stop();
    Q_EMIT layoutAboutToBeChanged();
    const QStringList oldPages = m_pages;
    const QModelIndexList before = persistentIndexList();
    takePages();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex &old : before) {
        const bool child = old.internalId() != kPageRow;
        const QString page = oldPages.value(child ? int(old.internalId() - 1) : old.row());
        const int row = m_rowOfPage.value(page, -1);
        if (row < 0)
            after.append(QModelIndex());
        else if (!child)
            after.append(createIndex(row, old.column(), kPageRow));
        else if (old.row() < int(children(row).size()))
            after.append(createIndex(old.row(), old.column(), quintptr(row) + 1));
        else
            after.append(QModelIndex());
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged();
}

const std::vector<PageLink> &ByPageModel::children(int pageRow) const
{
    auto it = m_children.find(pageRow);
    if (it != m_children.end())
        return *it;
    // Scrolling through a large site opens page after page; only the pages a view shows at once
    // need their children at hand, and a page's shown links are found again in one pass.
    if (m_children.size() >= kKeptChildLists)
        m_children.clear();
    return *m_children.insert(pageRow, m_views.shownLinksOnPage(m_pages.at(pageRow)));
}

QString ByPageModel::pageAt(const QModelIndex &index) const
{
    if (!index.isValid())
        return {};
    return m_pages.value(index.internalId() == kPageRow ? index.row()
                                                        : int(index.internalId() - 1));
}

const PageLink *ByPageModel::linkAt(const QModelIndex &index) const
{
    if (!index.isValid() || index.internalId() == kPageRow)
        return nullptr;
    const std::vector<PageLink> &list = children(int(index.internalId() - 1));
    return index.row() < int(list.size()) ? &list[std::size_t(index.row())] : nullptr;
}

OrelOnPage *ByPageModel::occurrenceAt(const QModelIndex &index) const
{
    const PageLink *link = linkAt(index);
    return link ? m_views.occurrence(link->record, link->occurrence) : nullptr;
}

QModelIndex ByPageModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    if (!parent.isValid())
        return createIndex(row, column, kPageRow);
    return createIndex(row, column, quintptr(parent.row()) + 1);
}

QModelIndex ByPageModel::parent(const QModelIndex &child) const
{
    if (!child.isValid() || child.internalId() == kPageRow)
        return {};
    return createIndex(int(child.internalId() - 1), 0, kPageRow);
}

int ByPageModel::rowCount(const QModelIndex &parent) const
{
    if (!parent.isValid())
        return int(m_pages.size());
    if (parent.column() != 0 || parent.internalId() != kPageRow)
        return 0;
    return int(children(parent.row()).size());
}

QVariant ByPageModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.column() >= columnCount())
        return {};
    const QString &id = columnId(index.column());
    if (index.internalId() == kPageRow)
        return role == Qt::DisplayRole ? QVariant(LinkViews::byPageValue(pageAt(index), id))
                                       : QVariant();
    const PageLink *link = linkAt(index);
    if (!link)
        return {};
    if (role == Qt::DisplayRole) {
        // A passing pairing: the views' own would keep every occurrence ever painted.
        const OrelOnPage occurrence(link->record, link->occurrence);
        return LinkViews::byPageValue(&occurrence, id);
    }
    if (role == VerdictRole)
        return linkVerdict(link->record);
    if (role == Qt::BackgroundRole) {
        if (const std::optional<Colour> colour = m_views.rowColour(link->record))
            return QVariant::fromValue(*colour);
    }
    return {};
}

} // namespace orel
