// The by-page outline as an item model: each page with a shown link a root row, in the page
// index's own order, opening onto the shown links found on it once the crawl was paused or has
// finished; main thread.
#pragma once

#include "reports/LinkResults.h"
#include "reports/OutlineModel.h"

#include <QHash>
#include <QList>
#include <QStringList>
#include <QTimer>

#include <vector>

namespace orel {

class LinkViews;
class OrelOnPage;

// Roots come from LinkViews' pages with shown links; the children of the pages last opened are
// kept until the next change. The index's order of pages is a hash order, which a new page
// may reshuffle, so changes during a crawl are taken as a layout change (rows keep their
// selection by page), at most once per refresh interval; whole-list changes reset the model.
// VerdictRole answers the link's verdict (LinkVerdict.h): "good", "bad" or "blocked".
// Qt::BackgroundRole of a child answers its link's Colour (a QVariant holding orel::Colour).
class ByPageModel : public OutlineModel
{
    Q_OBJECT
public:
    explicit ByPageModel(LinkViews &views, QObject *parent = nullptr);

    // Takes the views' current pages now, as a layout change.
    void refresh();

    // The page of a root row, or of a child row's page; "" for none.
    QString pageAt(const QModelIndex &index) const;
    // The occurrence of a child row; nullptr for a page row.
    OrelOnPage *occurrenceAt(const QModelIndex &index) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    void takePages();
    const std::vector<PageLink> &children(int pageRow) const;
    const PageLink *linkAt(const QModelIndex &index) const;

    LinkViews &m_views;
    QTimer m_refreshTimer;
    QStringList m_pages;
    QHash<QString, int> m_rowOfPage;
    mutable QHash<int, std::vector<PageLink>> m_children; // by page row, the last few opened
};

} // namespace orel
