// The verdict of a link for the desktop program's views: "good", "bad" or "blocked" (refused by
// the server rather than missing), exposed by the link models under VerdictRole; main thread.
#pragma once

#include <QString>
#include <QVariant>

#include <Qt>

namespace orel {

class LinkCheckerUrl;

// The role under which ByLinkModel, ByPageModel and FlatListModel answer a link row's verdict.
constexpr int VerdictRole = Qt::UserRole + 40;

// "blocked" for a refusal of the crawler, else "bad" or "good" by the link's status; an
// unchecked link (no status yet) has no verdict: an invalid QVariant.
QVariant linkVerdict(const LinkCheckerUrl *record);

} // namespace orel
