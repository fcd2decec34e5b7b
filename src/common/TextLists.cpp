#include "common/TextLists.h"

namespace orel {

QStringList trimEachItemInArray(const QStringList &items)
{
    QStringList out;
    out.reserve(items.size());
    for (const QString &item : items) {
        const QString t = item.trimmed();
        if (!t.isEmpty())
            out.append(t);
    }
    return out;
}

} // namespace orel
