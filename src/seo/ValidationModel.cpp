#include "seo/ValidationModel.h"

#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"

namespace orel {

ValidationModel::ValidationModel(SEOManager &manager, QObject *parent)
    : ColumnsTableModel(parent), m_manager(manager), m_rows(manager.numberOfValidatorRows())
{
    setColumns(manager.validatorTable()->columns());
    connect(&manager, &SEOManager::validationChanged, this, &ValidationModel::reset);
}

void ValidationModel::reset()
{
    beginResetModel();
    m_rows = m_manager.numberOfValidatorRows();
    endResetModel();
}

int ValidationModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

QVariant ValidationModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const LinkCheckerUrl *page = m_manager.validatorPageAtRow(index.row());
    if (!page)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return page->getFieldByName(columnId(index.column()));
    case ColourClassRole:
        return page->getValidatorColour();
    default:
        return {};
    }
}

void ValidationModel::sort(int column, Qt::SortOrder order)
{
    if (!hasColumn(column))
        return;
    const QString &id = columnId(column);
    beginResetModel();
    m_manager.sortByColumn(id, order == Qt::AscendingOrder,
                           OrelDataObject::isNumber(id) ? bhDataSource::SortAsNumber
                                                        : bhDataSource::SortAsText);
    m_rows = m_manager.numberOfValidatorRows();
    endResetModel();
}

} // namespace orel
