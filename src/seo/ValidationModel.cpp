#include "seo/ValidationModel.h"

#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"

namespace orel {

ValidationModel::ValidationModel(SEOManager &manager, QObject *parent)
    : QAbstractTableModel(parent),
      m_manager(manager),
      m_columns(manager.validatorTable()->columns()),
      m_rows(manager.numberOfValidatorRows())
{
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

int ValidationModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columns.size());
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
        return page->getFieldByName(m_columns.at(index.column()).identifier);
    case ColourClassRole:
        return page->getValidatorColour();
    default:
        return {};
    }
}

QVariant ValidationModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columns.size())
        return {};
    return m_columns.at(section).title;
}

Qt::ItemFlags ValidationModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

void ValidationModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= m_columns.size())
        return;
    const QString &id = m_columns.at(column).identifier;
    beginResetModel();
    m_manager.sortByColumn(id, order == Qt::AscendingOrder,
                           OrelDataObject::isNumber(id) ? bhDataSource::SortAsNumber
                                                        : bhDataSource::SortAsText);
    m_rows = m_manager.numberOfValidatorRows();
    endResetModel();
}

} // namespace orel
