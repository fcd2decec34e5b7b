// The duplicates table (the likely copies of the page selected in the SEO table) as a Qt item
// model; main thread.
#pragma once

#include <QAbstractTableModel>
#include <QList>

namespace orel {

class SEOManager;

// A thin table over the SEO manager's duplicates rows; each cell the page's field of the column.
// A new selection in the SEO table resets it.
class DuplicatesModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    explicit DuplicatesModel(SEOManager &manager, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    SEOManager &m_manager;
    QStringList m_columnIds;
    QStringList m_columnTitles;
};

} // namespace orel
