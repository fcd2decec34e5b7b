// The validation table as the renderers see it: identifier "validator", its columns and rows;
// main thread.
#pragma once

#include "reports/TableDescription.h"

namespace orel {

class SEOManager;

// The report renders it with links to the public validator's check page; the CSV, the command
// line and the item model read its columns.
class ValidatorTable : public TableDescription
{
public:
    explicit ValidatorTable(SEOManager &manager) : m_manager(manager) { }

    QString identifier() const override;
    QList<TableColumn> columns() const override;
    int numberOfRows() const override;

private:
    SEOManager &m_manager;
};

} // namespace orel
