// The list of saved configurations and their files: listing, selecting, saving, opening,
// renaming and deleting, the edited mark and the end-of-crawl status.
#include "config/OrelConfigManager.h"

#include "common/AppSupport.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/Plist.h"
#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "common/UserDefaults.h"
#include "config/ConfigValues.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace orel {

using namespace config;

namespace {

// File names in the folder that are never configurations, so new ones must not take them.
const char *const reservedNames[] = { "temp", "lastused", "archive", "thumbs", "ftpdetails" };

} // namespace

OrelConfigManager::OrelConfigManager(SettingsControls *controls, QObject *parent)
    : QObject(parent), m_controls(controls)
{
    connect(m_controls, &SettingsControls::changed, this, &OrelConfigManager::controlsChanged);
}

void OrelConfigManager::controlsChanged()
{
    if (!m_applying)
        setEdited(true);
}

void OrelConfigManager::awakeFromNib()
{
    loadAllUrls();
    implementLastUsedSettings();
    setEdited(false);
}

bool OrelConfigManager::takeDrawerOpenRequest()
{
    const QString key = QLatin1String(DefaultsKey::DrawerOpen);
    if (!UserDefaults::contains(key) || !UserDefaults::boolValue(key))
        return false;
    UserDefaults::remove(key);
    return true;
}

// ---- Configurations list -------------------------------------------------------------------

QString OrelConfigManager::pathForFilename(const QString &fileName)
{
    return AppSupport::folder() + QLatin1Char('/') + fileName;
}

void OrelConfigManager::loadAllUrls()
{
    if (!QFileInfo::exists(AppSupport::folder())) {
        log(QStringLiteral("creating directory"));
        AppSupport::ensureFolder();
    }
    // A new configuration still being entered is not on disk; keep its row.
    const bool keepNew = m_creatingNewConfig && !m_nameCollection.isEmpty();
    const QString newName = keepNew ? m_nameCollection.last() : QString();

    m_collection.clear();
    m_nameCollection.clear();
    m_fileNameCollection.clear();
    // Sorted by name so the list is stable between runs (row numbers are remembered).
    const QDir dir(AppSupport::folder());
    const QFileInfoList entries =
            dir.entryInfoList(QDir::Files | QDir::Hidden, QDir::Name | QDir::IgnoreCase);
    for (const QFileInfo &fi : entries) {
        const QString fileName = fi.fileName();
        if (fileName.startsWith(QLatin1Char('.')) || fileName == QLatin1String("temp")
            || fileName == QLatin1String("lastused"))
            continue;
        const std::optional<QVariant> v = Plist::readFile(fi.filePath());
        if (!v || v->typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap dict = v->toMap();
        const QString url = dict.value(QStringLiteral("url")).toString();
        if (!dict.contains(QStringLiteral("url")) || url.isEmpty())
            continue;
        const QString name = dict.value(QStringLiteral("name")).toString();
        m_collection.append(url);
        m_nameCollection.append(name.isEmpty() ? UrlParts::withoutUserInfo(url) : name);
        m_fileNameCollection.append(fileName);
    }
    if (keepNew) {
        m_collection.append(QString());
        m_nameCollection.append(newName);
        m_fileNameCollection.append(QString());
    }

    // Keep the selection on the same file.
    int row = -1;
    if (keepNew)
        row = count() - 1;
    else if (!m_selectedConfigFilename.isEmpty())
        row = int(m_fileNameCollection.indexOf(m_selectedConfigFilename));
    setSelectedRowQuietly(row);

    const bool few = count() < 2;
    if (few)
        UserDefaults::setValue(QLatin1String(DefaultsKey::DrawerOpen), false);
    if (few != m_fewConfigurations) {
        m_fewConfigurations = few;
        Q_EMIT fewConfigurationsChanged(few);
    }
    Q_EMIT listChanged();
}

QString OrelConfigManager::urlAt(int row) const
{
    return row >= 0 && row < count() ? m_collection.at(row) : QString();
}

QString OrelConfigManager::nameAt(int row) const
{
    return row >= 0 && row < count() ? m_nameCollection.at(row) : QString();
}

QString OrelConfigManager::fileNameAt(int row) const
{
    return row >= 0 && row < count() ? m_fileNameCollection.at(row) : QString();
}

void OrelConfigManager::setSelectedRowQuietly(int row)
{
    if (row < 0 || row >= count())
        row = -1;
    m_selectedRow = row;
    m_selectedConfigFilename = fileNameAt(row);
    Q_EMIT selectionChanged(row);
}

void OrelConfigManager::selectRow(int row)
{
    // Choosing another row abandons a new configuration that was never saved.
    if (m_creatingNewConfig && row != count() - 1) {
        m_creatingNewConfig = false;
        m_collection.removeLast();
        m_nameCollection.removeLast();
        m_fileNameCollection.removeLast();
        Q_EMIT listChanged();
    }
    setSelectedRowQuietly(row);
    if (m_selectedRow < 0 || m_selectedConfigFilename.isEmpty())
        return;
    const std::optional<QVariantMap> dict = readConfig(m_selectedConfigFilename);
    if (!dict)
        return;
    m_settingsLoadedFromLocation.clear();
    implementSettingsFromDictionary(*dict);
    setWindowTitle(nameAt(m_selectedRow));
}

int OrelConfigManager::findConfiguration(const QString &nameOrFile) const
{
    const int byFile = int(m_fileNameCollection.indexOf(nameOrFile));
    if (byFile >= 0 && !nameOrFile.isEmpty())
        return byFile;
    return int(m_nameCollection.indexOf(nameOrFile));
}

std::optional<QVariantMap> OrelConfigManager::readConfig(const QString &fileName) const
{
    if (fileName.isEmpty())
        return std::nullopt;
    const std::optional<QVariant> v = Plist::readFile(pathForFilename(fileName));
    if (!v || v->typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return v->toMap();
}

bool OrelConfigManager::writeConfig(const QString &path, const QVariantMap &dict) const
{
    return Plist::writeFile(path, dict);
}

// ---- Saving, opening, deleting -----------------------------------------------------------------

QString OrelConfigManager::newFileNameForUrl(const QString &url)
{
    // A password in the address would otherwise be spelt out in the file name.
    QString base = UrlParts::withoutUserInfo(url);
    base.remove(QLatin1Char('/'));
    base.remove(QLatin1Char(':'));
    base.remove(QLatin1Char('.'));
    if (base.isEmpty())
        base = QStringLiteral("nourl");
    // Stay well inside the file system's limit on name length.
    base.truncate(200);
    auto taken = [](const QString &name) {
        for (const char *r : reservedNames) {
            if (name == QLatin1String(r))
                return true;
        }
        return filenameExists(name);
    };
    QString candidate = base;
    for (int n = 1; taken(candidate); ++n)
        candidate = base + QLatin1Char('-') + QString::number(n);
    return candidate;
}

QString OrelConfigManager::saveMenuItem()
{
    QVariantMap dict = compileConfigDict();
    dict.insert(QStringLiteral("OrrelwickMainWindowEdited"), NO);

    if (!m_settingsLoadedFromLocation.isEmpty()) {
        const QString path = m_settingsLoadedFromLocation;
        QVariantMap merged;
        if (const auto old = Plist::readFile(path); old && old->typeId() == QMetaType::QVariantMap)
            merged = old->toMap();
        for (auto it = dict.cbegin(); it != dict.cend(); ++it)
            merged.insert(it.key(), it.value());
        merged.remove(QStringLiteral("selectedConfig"));
        if (!writeConfig(path, merged)) {
            log(QStringLiteral("config not written successfully to %1").arg(path));
            return QString();
        }
        setEdited(false);
        return path;
    }

    AppSupport::ensureFolder();
    const bool existing =
            m_selectedRow >= 0 && !m_creatingNewConfig && !fileNameAt(m_selectedRow).isEmpty();
    const QString fileName =
            existing ? fileNameAt(m_selectedRow) : newFileNameForUrl(m_controls->urlField);
    const QString path = pathForFilename(fileName);

    // Keys the controls do not hold (status, date stamp) survive the save.
    QVariantMap merged;
    if (existing) {
        if (const auto old = readConfig(fileName))
            merged = *old;
    }
    for (auto it = dict.cbegin(); it != dict.cend(); ++it)
        merged.insert(it.key(), it.value());
    if (!writeConfig(path, merged)) {
        log(QStringLiteral("config not written successfully to %1").arg(path));
        return QString();
    }

    if (m_creatingNewConfig) {
        m_creatingNewConfig = false;
        m_collection.removeLast();
        m_nameCollection.removeLast();
        m_fileNameCollection.removeLast();
    }
    m_selectedConfigFilename = fileName;
    setEdited(false);
    log(QStringLiteral("filename of selected item is %1").arg(fileName));
    loadAllUrls();
    setWindowTitle(nameAt(m_selectedRow));
    return fileName;
}

bool OrelConfigManager::openSettings(const QString &path, QString *error)
{
    const std::optional<QVariant> v = Plist::readFile(path, error);
    if (!v)
        return false;
    if (v->typeId() != QMetaType::QVariantMap) {
        if (error)
            *error = QStringLiteral("%1: not a settings file").arg(path);
        return false;
    }
    if (m_creatingNewConfig)
        selectRow(-1);
    setSelectedRowQuietly(-1);
    implementSettingsFromDictionary(v->toMap());
    m_settingsLoadedFromLocation = path;
    setWindowTitle(QFileInfo(path).fileName());
    return true;
}

void OrelConfigManager::showDefaults()
{
    m_applying = true;
    m_controls->setDefaults();
    m_applying = false;
    m_checkBlacklistArray.clear();
    m_followBlacklistArray.clear();
    m_followWhitelistArray.clear();
    m_sitemapRules.clear();
    m_loadedName.clear();
    setStatusLine(QString());
    Q_EMIT rulesChanged();
    Q_EMIT sitemapRulesChanged();
}

bool OrelConfigManager::deleteMenuItem()
{
    if (m_crawlRunning || m_selectedRow < 0)
        return false;
    const int answer = Dialogs::current().alert(
            localized("Delete Configuration"),
            localized("Are you sure that you want to delete the currently selected configuration?"),
            { localized("Continue"), localized("Cancel") });
    if (answer != 0)
        return false;

    const int row = m_selectedRow;
    const QString fileName = fileNameAt(row);
    if (fileName.isEmpty()) {
        log(QStringLiteral("no filename"));
    } else if (!QFile::exists(pathForFilename(fileName))) {
        log(QStringLiteral("Can't find file %1").arg(fileName));
    } else {
        QFile::remove(pathForFilename(fileName));
    }

    // The deleted configuration is the one on show: its settings go too.
    showDefaults();

    if (m_creatingNewConfig && row == count() - 1)
        m_creatingNewConfig = false;
    m_collection.removeAt(row);
    m_nameCollection.removeAt(row);
    m_fileNameCollection.removeAt(row);
    m_selectedConfigFilename.clear();
    m_selectedRow = -1;
    setEdited(false);
    loadAllUrls();
    if (count() > 0)
        selectRow(std::max(0, std::min(row - 1, count() - 1)));
    setEdited(false);
    return true;
}

void OrelConfigManager::setNewName(const QString &name)
{
    const int row = m_selectedRow;
    if (row >= 0 && m_creatingNewConfig && row == count() - 1) {
        m_nameCollection[row] = name;
        Q_EMIT listChanged();
        return;
    }
    if (row < 0) {
        m_loadedName = name;
        setEdited(true);
        return;
    }
    if (updateSelectedFile("name", name, "new name not written successfully")) {
        m_nameCollection[row] =
                name.isEmpty() ? UrlParts::withoutUserInfo(m_collection.at(row)) : name;
        setWindowTitle(m_nameCollection.at(row));
        Q_EMIT listChanged();
    }
}

bool OrelConfigManager::saveNewConfigIfNecessary()
{
    if (!m_edited)
        return true;
    const int answer =
            Dialogs::current().alert(localized("Unsaved changes"),
                                     localized("Do you want to save changes to these settings?"),
                                     { localized("Save"), localized("Don't save") });
    if (answer != 0)
        return true;
    return !saveMenuItem().isNull();
}

void OrelConfigManager::newURL()
{
    saveNewConfigIfNecessary();
    if (m_creatingNewConfig)
        selectRow(-1);
    m_sitemapSaveDirectory.clear();
    m_sitemapSaveFilename.clear();
    m_settingsLoadedFromLocation.clear();
    showDefaults();

    m_creatingNewConfig = true;
    m_collection.append(QString());
    m_nameCollection.append(localized("untitled"));
    m_fileNameCollection.append(QString());
    Q_EMIT listChanged();
    setSelectedRowQuietly(count() - 1);
    setWindowTitle(localized("Untitled"));
    setEdited(false);
}

void OrelConfigManager::setEdited(bool edited)
{
    if (edited == m_edited)
        return;
    m_edited = edited;
    Q_EMIT editedChanged(edited);
}

void OrelConfigManager::setWindowTitle(const QString &title)
{
    if (title == m_windowTitle)
        return;
    m_windowTitle = title;
    Q_EMIT windowTitleChanged(title);
}

// ---- End of a crawl ----------------------------------------------------------------------------

bool OrelConfigManager::updateSelectedFile(const char *key, const QString &value,
                                           const char *failureLog)
{
    if (m_selectedRow < 0 || m_selectedConfigFilename.isEmpty())
        return false;
    std::optional<QVariantMap> dict = readConfig(m_selectedConfigFilename);
    if (!dict)
        return false;
    dict->insert(QLatin1String(key), value);
    if (!writeConfig(pathForFilename(m_selectedConfigFilename), *dict))
        log(QLatin1String(failureLog));
    return true;
}

void OrelConfigManager::setDateStamp()
{
    const QString stamp =
            QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!updateSelectedFile("dateStamp", stamp, "datestamp not written successfully"))
        return;
    const QString status = readConfig(m_selectedConfigFilename)
                                   .value_or(QVariantMap())
                                   .value(QStringLiteral("status"))
                                   .toString();
    setStatusLine(QStringLiteral("%1 %2 %3").arg(localized("Last checked"), stamp, status));
}

void OrelConfigManager::setStatus(const QString &status)
{
    updateSelectedFile("status", status, "status not written successfully");
}

void OrelConfigManager::setStatusLine(const QString &line)
{
    if (line == m_statusLine)
        return;
    m_statusLine = line;
    Q_EMIT statusLineChanged(line);
}

// ---- Look-ups ----------------------------------------------------------------------------------

bool OrelConfigManager::filenameExists(const QString &fileName)
{
    return !fileName.isEmpty() && QFileInfo::exists(pathForFilename(fileName));
}

QString OrelConfigManager::getUrlForFilename(const QString &fileName) const
{
    const qsizetype i = m_fileNameCollection.indexOf(fileName);
    return i >= 0 && !fileName.isEmpty() ? m_collection.at(i) : QString();
}

QString OrelConfigManager::getNameForFilename(const QString &fileName) const
{
    const qsizetype i = m_fileNameCollection.indexOf(fileName);
    return i >= 0 && !fileName.isEmpty() ? m_nameCollection.at(i) : QString();
}

QString OrelConfigManager::getNameForURL(const QString &url) const
{
    const qsizetype i = m_collection.indexOf(url);
    return i >= 0 && !url.isEmpty() ? m_nameCollection.at(i) : QString();
}

QString OrelConfigManager::getThumbForFilename(const QString &fileName)
{
    if (!fileName.isEmpty()) {
        for (const char *type : { ".tiff", ".tif" }) {
            const QString path =
                    AppSupport::thumbsFolder() + QLatin1Char('/') + fileName + QLatin1String(type);
            if (QFileInfo::exists(path))
                return path;
        }
    }
    return QStringLiteral("defaultWebIcon");
}

void OrelConfigManager::setSitemapSaveDirectory(const QString &dir)
{
    if (dir == m_sitemapSaveDirectory)
        return;
    m_sitemapSaveDirectory = dir;
    setEdited(true);
}

void OrelConfigManager::setSitemapSaveFilename(const QString &name)
{
    if (name == m_sitemapSaveFilename)
        return;
    m_sitemapSaveFilename = name;
    setEdited(true);
}

} // namespace orel
