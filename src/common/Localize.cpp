#include "common/Localize.h"

#include <QCoreApplication>

namespace orel {

QString localized(const char *text)
{
    return QCoreApplication::translate("Orrelwick", text);
}

QString localizedKestovan(const char *text)
{
    return QCoreApplication::translate("Kestovan", text);
}

} // namespace orel
