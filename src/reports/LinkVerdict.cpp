// The verdict of a link for the views.
#include "reports/LinkVerdict.h"

#include "links/LinkCheckerUrl.h"

namespace orel {

QVariant linkVerdict(const LinkCheckerUrl *record)
{
    if (!record || record->getStatus().isEmpty())
        return {};
    if (record->isBlocked())
        return QStringLiteral("blocked");
    // The query answers YES for links that are not bad.
    return record->shouldBeMemberOfBadCollection() ? QStringLiteral("good") : QStringLiteral("bad");
}

} // namespace orel
