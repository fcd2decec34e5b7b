// The duplicates table (the likely copies of the page selected in the SEO table) as a Qt item
// model; main thread.
#pragma once

#include "reports/ColumnsTableModel.h"
#include <QList>

namespace orel {

class SEOManager;

// A thin table over the SEO manager's duplicates rows; each cell the page's field of the column.
// A new selection in the SEO table resets it.
class DuplicatesModel : public ColumnsTableModel
{
    Q_OBJECT
public:
    explicit DuplicatesModel(SEOManager &manager, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    SEOManager &m_manager;
};

} // namespace orel
