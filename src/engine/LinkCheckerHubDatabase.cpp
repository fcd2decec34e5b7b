// Saved link lists of the crawl controller: loading a property-list file of link records, the
// (empty) saving, and opening a local file as start URL or settings.
#include "engine/LinkCheckerHub.h"

#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/Plist.h"
#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"
#include "links/LinkCheckerUrl.h"

#include <QFileInfo>

namespace orel {

void LinkCheckerHub::readDatabase()
{
    const std::optional<QString> path =
            Dialogs::current().openPanel({ QStringLiteral("plist") }, QString(), localized("Open"));
    if (!path) {
        log(QStringLiteral("Not OK button"));
        return;
    }
    log(QStringLiteral("OK button"));
    loadLinkList(*path);
}

int LinkCheckerHub::loadLinkList(const QString &path)
{
    const std::optional<QVariant> root = Plist::readFile(path);
    if (!root)
        return 0;
    const QVariantList list = root->toMap().value(QStringLiteral("linkcheckerUrls")).toList();
    resultsWillChange(ResultsChange::Update);
    int added = 0;
    for (const QVariant &element : list) {
        const QVariantMap fields = element.toMap();
        auto text = [&](const char *key) { return fields.value(QLatin1String(key)).toString(); };
        auto flag = [&](const char *key) { return text(key) == QLatin1String("YES"); };
        // No owner: the record neither registers itself nor asks anything of the crawl.
        auto record = std::make_unique<LinkCheckerUrl>(nullptr);
        if (fields.contains(QStringLiteral("onPageName")))
            record->setOnPageName({ text("onPageName") });
        if (fields.contains(QStringLiteral("onPageUrl")))
            record->setOnPageUrl({ text("onPageUrl") });
        if (fields.contains(QStringLiteral("onPageLinkText")))
            record->setOnPageLinkText({ text("onPageLinkText") });
        record->setLinkText(text("linkText"));
        record->setLinkPageTitle(text("linkPageTitle"));
        if (fields.contains(QStringLiteral("linkUrl")))
            record->setLinkUrl(text("linkUrl"), false);
        if (fields.contains(QStringLiteral("status")))
            record->setStatus(text("status"));
        if (fields.contains(QStringLiteral("redir"))) {
            record->setRedir(text("redir"));
            record->setTimestamp(text("redir")); // the list keeps no time of its own
        }
        record->setIsHTML(flag("isHTML"));
        record->setIsStartingPoint(flag("isStartingPoint"));
        record->setIsInternal(flag("isInternal"));
        if (add(std::move(record)))
            ++added;
    }
    reloadData();
    return added;
}

void LinkCheckerHub::adoptLoadedRecords()
{
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (record->getOwner())
            continue;
        record->setOwner(this);
        if (!record->getStatus().isEmpty()) {
            record->setIsInBadCollection(!record->shouldBeMemberOfBadCollection());
            m_views->noteChanged(record);
        }
    }
    m_listOnly = true;
    m_crawlFinished = true; // the list is complete: outlines show their children
    m_views->noteChildrenShown();
    countBadCollection();
}

void LinkCheckerHub::saveLinks(bool badOnly)
{
    log(badOnly ? QStringLiteral("saving bad links") : QStringLiteral("saving all links"));
    writeDatabase(!badOnly);
}

void LinkCheckerHub::openLocalFile()
{
    const std::optional<QString> path =
            Dialogs::current().openPanel({}, localized("Select a file"), localized("Open"));
    if (!path || path->isEmpty())
        return;
    if (QFileInfo(*path).suffix() == QLatin1String("lcsettings")) {
        if (m_configManager)
            m_configManager->openSettings(*path);
        return;
    }
    m_controls->urlField = *path;
    Q_EMIT startUrlChanged(*path);
}

} // namespace orel
