#include "links/LinkOwner.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace orel {

LinkOwner::~LinkOwner() = default;

int LinkOwner::numberOfLinksOnThisPage(const QString &) const
{
    return 0;
}

void LinkOwner::showInspector(LinkCheckerUrl *) { }

void LinkOwner::highlightBadLinksInSelectedPage(LinkCheckerUrl *) { }

void LinkOwner::later(std::function<void()> fn)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(fn), Qt::QueuedConnection);
}

} // namespace orel
