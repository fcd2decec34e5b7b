#include "seo/ValidatorTable.h"

#include "common/Localize.h"
#include "seo/SEOManager.h"

namespace orel {

QString ValidatorTable::identifier() const
{
    return QStringLiteral("validator");
}

QList<TableColumn> ValidatorTable::columns() const
{
    return { { QStringLiteral("actualurl"), localized("URL"), 400 },
             { QStringLiteral("validatorstatus"), localized("Status"), 120 },
             { QStringLiteral("validatorerrors"), localized("Errors"), 70 },
             { QStringLiteral("validatorwarnings"), localized("Warnings"), 70 } };
}

int ValidatorTable::numberOfRows() const
{
    return m_manager.numberOfValidatorRows();
}

} // namespace orel
