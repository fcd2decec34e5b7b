// An outline item model described as a fully expanded outline view.
#include "reports/ModelOutline.h"

#include <QAbstractItemModel>

namespace orel {

ModelOutline::ModelOutline(const QAbstractItemModel &model, const QList<TableColumn> &columns)
    : m_model(model), m_columns(columns)
{
    const int roots = model.rowCount();
    for (int r = 0; r < roots; ++r) {
        const QModelIndex root = model.index(r, 0);
        m_rows.push_back(root);
        const int children = model.rowCount(root);
        for (int c = 0; c < children; ++c)
            m_rows.push_back(model.index(c, 0, root));
    }
}

OutlineItem ModelOutline::itemAtRow(int row) const
{
    return row >= 0 && row < numberOfRows() ? &m_rows[std::size_t(row)] : nullptr;
}

bool ModelOutline::isExpandable(OutlineItem item) const
{
    return item && !static_cast<const QModelIndex *>(item)->parent().isValid();
}

QString ModelOutline::outlineColumnIdentifier() const
{
    return m_columns.isEmpty() ? QString() : m_columns.first().identifier;
}

QString ModelOutline::objectValueByItem(TableDescription *, const QString &columnId,
                                        OutlineItem item)
{
    if (!item)
        return {};
    const auto *index = static_cast<const QModelIndex *>(item);
    for (int c = 0; c < m_columns.size(); ++c) {
        if (m_columns.at(c).identifier == columnId)
            return m_model.data(index->siblingAtColumn(c)).toString();
    }
    return {};
}

std::optional<Colour> ModelOutline::labelColorForRow(TableDescription *, int row)
{
    const auto *index = static_cast<const QModelIndex *>(itemAtRow(row));
    if (!index)
        return std::nullopt;
    const QVariant colour = m_model.data(*index, Qt::BackgroundRole);
    if (!colour.canConvert<Colour>())
        return std::nullopt;
    return colour.value<Colour>();
}

} // namespace orel
