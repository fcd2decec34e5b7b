// The by-link outline as an item model: each shown link a root row, opening onto the pages on
// which it appears once the crawl was paused or has finished; main thread.
#pragma once

#include "reports/OutlineModel.h"

#include <QList>

namespace orel {

class LinkCheckerUrl;
class LinkViews;

// A thin adapter over LinkViews: rows come from its index of shown records, cells from its
// by-link values, and its row announcements become row inserts, removals and dataChanged.
// VerdictRole answers the link's verdict (LinkVerdict.h): "good", "bad" or "blocked".
// Qt::BackgroundRole answers the row's Colour (a QVariant holding orel::Colour) or nothing.
class ByLinkModel : public OutlineModel
{
    Q_OBJECT
public:
    explicit ByLinkModel(LinkViews &views, QObject *parent = nullptr);

    // Column choices by title. Only the five optional columns ("Redirected To", "Link Text",
    // "Time Stamp", "Distance", "Nofollow") can be added or removed; any other title, "Status"
    // included, is ignored. Answers whether the columns changed.
    bool addColumnWithTitle(const QString &title);
    bool removeColumnWithTitle(const QString &title);
    // A column's check box switched: adds the column when on, removes it when off.
    void alterTableColumns(const QString &title, bool on);
    // At start: each column whose check box key ("TilleryByLinkViewColsStatus" ...) exists in
    // the user defaults is removed when off, or added when on.
    void applyColumnDefaults();

    // The link record of a root row or of a child row's link; nullptr for none.
    LinkCheckerUrl *recordAt(const QModelIndex &index) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    // A click on the column's header: the numeric sort for numeric fields, else the text sort.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

private:
    LinkViews &m_views;
};

} // namespace orel
