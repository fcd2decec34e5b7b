#include "config/OrelConfigManager.h"

#include "common/AppSupport.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/Plist.h"
#include "common/SettingsControls.h"
#include "common/TextLists.h"
#include "common/UserDefaults.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace orel {

namespace {

// The threads slider's range.
constexpr int minThreads = 1;
constexpr int maxThreads = 64;

const QString YES = QStringLiteral("YES");
const QString NO = QStringLiteral("NO");

// A switch of the settings dictionary and the check box it drives. An inverted switch is on in
// the dictionary when its check box is off.
struct Switch
{
    const char *key;
    CheckState SettingsControls::*member;
    bool inverted;
    bool onWhenAbsent; // "on unless NO" rather than "off unless YES"
    bool inBlank; // written as "NO" by compileBlankDict
};

const Switch switches[] = {
    { "followQuerystring", &SettingsControls::qsButton, true, false, true },
    { "checkErrorPages", &SettingsControls::checkErrorPages, false, false, true },
    { "ignoreSlash", &SettingsControls::slashButton, false, true, false },
    { "checkImages", &SettingsControls::imgButton, false, false, true },
    { "followCheckbox", &SettingsControls::followButton, true, true, true },
    { "nofollowCheckbox", &SettingsControls::nofollowCheckbox, false, false, true },
    { "uniqueTitles", &SettingsControls::uniqueTitleButton, false, false, true },
    { "archivePages", &SettingsControls::archiveButton, false, false, true },
    { "OrrelwickSitemapOnly", &SettingsControls::sitemapOnly, false, false, true },
    { "OrrelwickHashIsBad", &SettingsControls::hashIsBad, false, false, true },
    { "OrrelwickXmlNoBlacklisted", &SettingsControls::xmlNoBlacklisted, false, false, true },
    { "blacklistCheckContent", &SettingsControls::blacklistCheckContentCheckBox, false, false,
      true },
    { "plainTextMode", &SettingsControls::plainTextMode, false, false, true },
    { "KestovanAttemptAuthentication", &SettingsControls::attemptAuthentication, false, false,
      false },
};

const Switch *findSwitch(const QString &key)
{
    for (const Switch &s : switches) {
        if (key == QLatin1String(s.key))
            return &s;
    }
    return nullptr;
}

// Keys other than the switches, in the order they are applied.
const char *const otherKeys[] = {
    "url",
    "name",
    "checkBlacklist",
    "followBlacklist",
    "followWhitelist",
    "numberOfThreads",
    "timeOut",
    "delay",
    "OrrelwickMainWindowEdited",
    "selectedConfig",
    "sitemapRules",
    "sitemapSaveDirectory",
    "sitemapSaveFilename",
    "status",
    "dateStamp",
};

// File names in the folder that are never configurations, so new ones must not take them.
const char *const reservedNames[] = { "temp", "lastused", "archive", "thumbs", "ftpdetails" };

// Values written by other tools may be booleans rather than "YES"/"NO".
bool isYes(const QVariant &v)
{
    if (v.typeId() == QMetaType::Bool)
        return v.toBool();
    return v.toString() == YES;
}

bool isNo(const QVariant &v)
{
    if (v.typeId() == QMetaType::Bool)
        return !v.toBool();
    return v.toString() == NO;
}

// The leading number of a text, 0 when there is none: settings files have always been read this
// forgiving way ("12 threads" reads as 12, "abc" as 0).
double leadingNumber(const QString &text)
{
    static const QRegularExpression re(
            QStringLiteral("^\\s*([+-]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][+-]?\\d+)?)"));
    const QRegularExpressionMatch m = re.match(text);
    return m.hasMatch() ? m.captured(1).toDouble() : 0.0;
}

int leadingInt(const QString &text)
{
    const double d = leadingNumber(text);
    if (d > 2147483647.0)
        return 2147483647;
    if (d < -2147483648.0)
        return -2147483647 - 1;
    return int(d);
}

QString numberText(double d)
{
    return QString::number(d, 'g', QLocale::FloatingPointShortest);
}

QStringList splitRules(const QVariant &v)
{
    if (v.typeId() == QMetaType::QVariantList || v.typeId() == QMetaType::QStringList)
        return trimEachItemInArray(v.toStringList());
    const QString text = v.toString();
    if (text.isEmpty())
        return {};
    return trimEachItemInArray(text.split(QLatin1Char(',')));
}

QVariantMap newSitemapRule(const QString &contains, const QString &priority, const QString &update)
{
    return QVariantMap { { QStringLiteral("contains"), contains },
                         { QStringLiteral("priority"), priority },
                         { QStringLiteral("update"), update } };
}

std::optional<bool> parseSwitch(const QString &text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("yes") || t == QLatin1String("on") || t == QLatin1String("true")
        || t == QLatin1String("1"))
        return true;
    if (t == QLatin1String("no") || t == QLatin1String("off") || t == QLatin1String("false")
        || t == QLatin1String("0"))
        return false;
    return std::nullopt;
}

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
        m_nameCollection.append(name.isEmpty() ? url : name);
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

// ---- Settings dictionary ---------------------------------------------------------------------

QStringList OrelConfigManager::settingsKeys()
{
    QStringList keys;
    for (const char *k : otherKeys)
        keys.append(QLatin1String(k));
    for (const Switch &s : switches)
        keys.append(QLatin1String(s.key));
    return keys;
}

QVariantMap OrelConfigManager::compileConfigDict() const
{
    const SettingsControls &c = *m_controls;
    QVariantMap d;
    d.insert(QStringLiteral("url"), c.urlField);
    QString name;
    if (m_selectedRow >= 0)
        name = nameAt(m_selectedRow);
    else if (!m_loadedName.isEmpty())
        name = m_loadedName;
    else
        name = c.urlField;
    d.insert(QStringLiteral("name"), name);
    d.insert(QStringLiteral("checkBlacklist"), m_checkBlacklistArray.join(QLatin1Char(',')));
    d.insert(QStringLiteral("followBlacklist"), m_followBlacklistArray.join(QLatin1Char(',')));
    d.insert(QStringLiteral("followWhitelist"), m_followWhitelistArray.join(QLatin1Char(',')));
    d.insert(QStringLiteral("numberOfThreads"), QString::number(c.numberOfThreads));
    d.insert(QStringLiteral("timeOut"), numberText(c.timeoutField));
    d.insert(QStringLiteral("delay"), numberText(c.delayField));
    for (const Switch &s : switches) {
        const bool on = (c.*(s.member) != CheckState::Off) != s.inverted;
        d.insert(QLatin1String(s.key), on ? YES : NO);
    }
    d.insert(QStringLiteral("OrrelwickMainWindowEdited"), m_edited ? YES : NO);
    d.insert(QStringLiteral("selectedConfig"), QString::number(m_selectedRow));
    d.insert(QStringLiteral("sitemapRules"), m_sitemapRules);
    if (!m_sitemapSaveDirectory.isEmpty())
        d.insert(QStringLiteral("sitemapSaveDirectory"), m_sitemapSaveDirectory);
    if (!m_sitemapSaveFilename.isEmpty())
        d.insert(QStringLiteral("sitemapSaveFilename"), m_sitemapSaveFilename);
    return d;
}

QVariantMap OrelConfigManager::compileBlankDict()
{
    QVariantMap d;
    d.insert(QStringLiteral("url"), QString());
    d.insert(QStringLiteral("name"), QString());
    d.insert(QStringLiteral("checkBlacklist"), QString());
    d.insert(QStringLiteral("followBlacklist"), QString());
    d.insert(QStringLiteral("followWhitelist"), QString());
    d.insert(QStringLiteral("numberOfThreads"), QStringLiteral("12"));
    d.insert(QStringLiteral("timeOut"), QStringLiteral("30"));
    for (const Switch &s : switches) {
        if (s.inBlank)
            d.insert(QLatin1String(s.key), NO);
    }
    return d;
}

void OrelConfigManager::implementSettingsFromDictionary(const QVariantMap &dict)
{
    m_applying = true;
    SettingsControls &c = *m_controls;

    if (dict.contains(QStringLiteral("url")))
        c.urlField = dict.value(QStringLiteral("url")).toString();
    m_loadedName = dict.value(QStringLiteral("name")).toString();

    m_checkBlacklistArray = splitRules(dict.value(QStringLiteral("checkBlacklist")));
    m_followBlacklistArray = splitRules(dict.value(QStringLiteral("followBlacklist")));
    m_followWhitelistArray = splitRules(dict.value(QStringLiteral("followWhitelist")));

    c.numberOfThreads =
            std::clamp(leadingInt(dict.value(QStringLiteral("numberOfThreads")).toString()),
                       minThreads, maxThreads);
    const QString timeOut = dict.value(QStringLiteral("timeOut")).toString();
    c.timeoutField = leadingInt(timeOut) < 1 ? 30.0 : leadingNumber(timeOut);
    c.delayField = dict.contains(QStringLiteral("delay"))
            ? leadingNumber(dict.value(QStringLiteral("delay")).toString())
            : 0.0;

    for (const Switch &s : switches) {
        const QVariant v = dict.value(QLatin1String(s.key));
        const bool on = s.onWhenAbsent ? !isNo(v) : isYes(v);
        c.*(s.member) = on != s.inverted ? CheckState::On : CheckState::Off;
    }

    m_sitemapRules.clear();
    const QVariant rules = dict.value(QStringLiteral("sitemapRules"));
    if (rules.typeId() == QMetaType::QVariantList) {
        for (const QVariant &r : rules.toList()) {
            if (r.typeId() == QMetaType::QVariantMap)
                m_sitemapRules.append(r);
        }
    }
    m_sitemapSaveDirectory = dict.value(QStringLiteral("sitemapSaveDirectory")).toString();
    m_sitemapSaveFilename = dict.value(QStringLiteral("sitemapSaveFilename")).toString();

    const QString dateStamp = dict.value(QStringLiteral("dateStamp")).toString();
    if (dateStamp.isEmpty()) {
        setStatusLine(QString());
    } else {
        // Deliberately with a comma; the line set at the end of a crawl has none.
        setStatusLine(QStringLiteral("%1 %2, %3")
                              .arg(localized("Last checked"), dateStamp,
                                   dict.value(QStringLiteral("status")).toString()));
    }

    Q_EMIT c.changed();
    m_applying = false;
    Q_EMIT rulesChanged();
    Q_EMIT sitemapRulesChanged();
    setEdited(isYes(dict.value(QStringLiteral("OrrelwickMainWindowEdited"))));
}

void OrelConfigManager::implementLastUsedSettings()
{
    const std::optional<QVariant> v = Plist::readFile(AppSupport::lastUsedFile());
    if (!v || v->typeId() != QMetaType::QVariantMap)
        return;
    const QVariantMap dict = v->toMap();
    implementSettingsFromDictionary(dict);
    const QVariant row = dict.value(QStringLiteral("selectedConfig"));
    setSelectedRowQuietly(row.isValid() ? leadingInt(row.toString()) : -1);
}

QString OrelConfigManager::showSitemapRules(const QVariantList &rules)
{
    QStringList parts;
    for (const QVariant &r : rules) {
        const QVariantMap m = r.toMap();
        parts.append(QStringLiteral("contains=%1 priority=%2 update=%3")
                             .arg(m.value(QStringLiteral("contains")).toString(),
                                  m.value(QStringLiteral("priority")).toString(),
                                  m.value(QStringLiteral("update")).toString()));
    }
    return parts.join(QLatin1String("; "));
}

bool OrelConfigManager::applySettingsKey(const QString &key, const QString &value, QString *error)
{
    auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    auto badValue = [&]() {
        return fail(QStringLiteral("bad value \"%1\" for setting \"%2\"").arg(value, key));
    };
    if (!settingsKeys().contains(key))
        return fail(QStringLiteral("unknown setting \"%1\"").arg(key));

    // Start from the current settings so that only this key changes, then apply them whole.
    QVariantMap dict = compileConfigDict();
    dict.insert(QStringLiteral("OrrelwickMainWindowEdited"), YES);
    if (findSwitch(key)) {
        const std::optional<bool> on = parseSwitch(value);
        if (!on)
            return badValue();
        dict.insert(key, *on ? YES : NO);
    } else if (key == QLatin1String("numberOfThreads") || key == QLatin1String("selectedConfig")) {
        bool ok = false;
        value.trimmed().toInt(&ok);
        if (!ok)
            return badValue();
        dict.insert(key, value.trimmed());
    } else if (key == QLatin1String("timeOut") || key == QLatin1String("delay")) {
        bool ok = false;
        value.trimmed().toDouble(&ok);
        if (!ok)
            return badValue();
        dict.insert(key, value.trimmed());
    } else if (key == QLatin1String("OrrelwickMainWindowEdited")) {
        const std::optional<bool> on = parseSwitch(value);
        if (!on)
            return badValue();
        dict.insert(key, *on ? YES : NO);
    } else if (key == QLatin1String("sitemapRules")) {
        QVariantList rules;
        static const QRegularExpression re(
                QStringLiteral("^contains=(.*) priority=(\\S*) update=(\\S*)$"));
        for (const QString &part : value.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
            const QRegularExpressionMatch m = re.match(part.trimmed());
            if (!m.hasMatch())
                return badValue();
            rules.append(newSitemapRule(m.captured(1), m.captured(2), m.captured(3)));
        }
        dict.insert(key, rules);
    } else {
        dict.insert(key, value);
    }
    const int row = m_selectedRow;
    implementSettingsFromDictionary(dict);
    if (key == QLatin1String("name")) {
        if (row >= 0 && row < count())
            m_nameCollection[row] = value;
    }
    if (key == QLatin1String("selectedConfig"))
        setSelectedRowQuietly(value.trimmed().toInt());
    if (key != QLatin1String("OrrelwickMainWindowEdited"))
        setEdited(true);
    return true;
}

// ---- Saving, opening, deleting -----------------------------------------------------------------

QString OrelConfigManager::newFileNameForUrl(const QString &url)
{
    QString base = url;
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
        m_nameCollection[row] = name.isEmpty() ? m_collection.at(row) : name;
        setWindowTitle(m_nameCollection.at(row));
        Q_EMIT listChanged();
    }
}

bool OrelConfigManager::exportMenuItem()
{
    QString start = compileConfigDict().value(QStringLiteral("name")).toString();
    start.remove(QLatin1Char('/'));
    const std::optional<QString> chosen = Dialogs::current().savePanel(
            QStringLiteral("lcsettings"), QString(),
            start.isEmpty() ? QString() : start + QStringLiteral(".lcsettings"));
    if (!chosen || chosen->isEmpty())
        return false;
    QString path = *chosen;
    if (!path.endsWith(QLatin1String(".lcsettings")))
        path += QLatin1String(".lcsettings");
    QVariantMap dict = compileConfigDict();
    dict.remove(QStringLiteral("selectedConfig"));
    if (!writeConfig(path, dict)) {
        log(QStringLiteral("config not written successfully to %1").arg(path));
        log(QStringLiteral("Unsuccessful exporting settings to %1\n").arg(path));
        return false;
    }
    return true;
}

bool OrelConfigManager::exportConfiguration(int row, const QString &path, QString *error)
{
    if (row < 0 || row >= count() || fileNameAt(row).isEmpty()) {
        if (error)
            *error = QStringLiteral("no such configuration");
        return false;
    }
    const std::optional<QVariant> v = Plist::readFile(pathForFilename(fileNameAt(row)), error);
    if (!v)
        return false;
    QVariantMap dict = v->toMap();
    dict.remove(QStringLiteral("selectedConfig"));
    if (!Plist::writeFile(path, dict, error)) {
        log(QStringLiteral("Unsuccessful exporting settings to %1\n").arg(path));
        return false;
    }
    return true;
}

std::optional<QString> OrelConfigManager::importSettings(const QString &path, QString *error)
{
    const std::optional<QVariant> v = Plist::readFile(path, error);
    if (!v)
        return std::nullopt;
    if (v->typeId() != QMetaType::QVariantMap) {
        if (error)
            *error = QStringLiteral("%1: not a settings file").arg(path);
        return std::nullopt;
    }
    QVariantMap dict = v->toMap();
    const QString url = dict.value(QStringLiteral("url")).toString();
    if (url.isEmpty()) {
        if (error)
            *error = QStringLiteral("%1: the settings have no url").arg(path);
        return std::nullopt;
    }
    dict.remove(QStringLiteral("selectedConfig"));
    AppSupport::ensureFolder();
    const QString fileName = newFileNameForUrl(url);
    const QString target = pathForFilename(fileName);
    if (!Plist::writeFile(target, dict, error)) {
        log(QStringLiteral("config not written successfully to %1").arg(target));
        return std::nullopt;
    }
    loadAllUrls();
    return fileName;
}

void OrelConfigManager::saveLastUsedSettings()
{
    AppSupport::ensureFolder();
    if (!writeConfig(AppSupport::lastUsedFile(), compileConfigDict()))
        log(QStringLiteral("lastused config not written successfully"));
}

void OrelConfigManager::saveBlankSettings()
{
    AppSupport::ensureFolder();
    if (!writeConfig(AppSupport::lastUsedFile(), compileBlankDict()))
        log(QStringLiteral("lastused config not written successfully"));
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

QString OrelConfigManager::ftpDetailsPath()
{
    return AppSupport::folder() + QStringLiteral("/ftpdetails");
}

void OrelConfigManager::saveFtpDetails(const FtpDetails &details)
{
    const QString path = ftpDetailsPath();
    log(QStringLiteral("saveFtpDetails called, writing to %1").arg(path));
    AppSupport::ensureFolder();
    const QVariantMap dict { { QStringLiteral("ftpserver"), details.server },
                             { QStringLiteral("ftpdirectory"), details.directory },
                             { QStringLiteral("ftpusername"), details.username },
                             { QStringLiteral("ftppassword"), details.password } };
    if (!Plist::writeFile(path, dict)) {
        log(QStringLiteral("ftp details not written successfully"));
        return;
    }
    // The file holds a password: readable by its owner only.
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

OrelConfigManager::FtpDetails OrelConfigManager::loadFtpDetails()
{
    const QVariantMap dict = Plist::readFile(ftpDetailsPath()).value_or(QVariant()).toMap();
    return FtpDetails { dict.value(QStringLiteral("ftpserver")).toString(),
                        dict.value(QStringLiteral("ftpdirectory")).toString(),
                        dict.value(QStringLiteral("ftpusername")).toString(),
                        dict.value(QStringLiteral("ftppassword")).toString() };
}

// ---- Crawl rules -----------------------------------------------------------------------------

QString OrelConfigManager::ruleKindName(RuleKind kind)
{
    switch (kind) {
    case DoNotCheck:
        return localized("Do not check");
    case DoNotFollow:
        return localized("Do not follow");
    case OnlyFollow:
        break;
    }
    return localized("Only follow");
}

QStringList &OrelConfigManager::rulesOfKind(RuleKind kind)
{
    switch (kind) {
    case DoNotCheck:
        return m_checkBlacklistArray;
    case DoNotFollow:
        return m_followBlacklistArray;
    case OnlyFollow:
        break;
    }
    return m_followWhitelistArray;
}

bool OrelConfigManager::addBlacklistRule(const QString &text, RuleKind kind)
{
    const QString fragment = text.trimmed();
    if (fragment.isEmpty())
        return false;
    rulesOfKind(kind).append(fragment);
    Q_EMIT rulesChanged();
    setEdited(true);
    return true;
}

int OrelConfigManager::rulesRowCount() const
{
    return int(m_checkBlacklistArray.size() + m_followBlacklistArray.size()
               + m_followWhitelistArray.size());
}

namespace {
struct RuleRef
{
    OrelConfigManager::RuleKind kind;
    int index;
};
} // namespace

static std::optional<RuleRef> locateRule(int row, qsizetype checks, qsizetype follows,
                                         qsizetype onlys)
{
    if (row < 0)
        return std::nullopt;
    if (row < checks)
        return RuleRef { OrelConfigManager::DoNotCheck, row };
    if (row < checks + follows)
        return RuleRef { OrelConfigManager::DoNotFollow, int(row - checks) };
    if (row < checks + follows + onlys)
        return RuleRef { OrelConfigManager::OnlyFollow, int(row - checks - follows) };
    return std::nullopt;
}

QString OrelConfigManager::rulesValue(int row, const QString &column) const
{
    const auto ref = locateRule(row, m_checkBlacklistArray.size(), m_followBlacklistArray.size(),
                                m_followWhitelistArray.size());
    if (!ref)
        return QString();
    if (column == QLatin1String("rulename"))
        return ruleKindName(ref->kind);
    if (column == QLatin1String("scope")) {
        return m_controls->blacklistCheckContentCheckBox != CheckState::Off
                ? localized("urls and content containing:")
                : localized("urls containing:");
    }
    if (column == QLatin1String("searchstring")) {
        return const_cast<OrelConfigManager *>(this)->rulesOfKind(ref->kind).at(ref->index);
    }
    return QString();
}

void OrelConfigManager::deleteBlacklistRule(int row)
{
    const auto ref = locateRule(row, m_checkBlacklistArray.size(), m_followBlacklistArray.size(),
                                m_followWhitelistArray.size());
    if (!ref)
        return;
    QStringList &list = rulesOfKind(ref->kind);
    list.removeAt(ref->index);
    Q_EMIT rulesChanged();
    setEdited(true);
}

void OrelConfigManager::setRulesValue(int row, const QString &text)
{
    const auto ref = locateRule(row, m_checkBlacklistArray.size(), m_followBlacklistArray.size(),
                                m_followWhitelistArray.size());
    if (!ref)
        return;
    QStringList &list = rulesOfKind(ref->kind);
    // The edited rule goes to the end of its kind's list; emptied, it is simply removed.
    list.removeAt(ref->index);
    const QString fragment = text.trimmed();
    if (!fragment.isEmpty())
        list.append(fragment);
    Q_EMIT rulesChanged();
    setEdited(true);
}

// ---- Sitemap rules ---------------------------------------------------------------------------

void OrelConfigManager::addSitemapRule()
{
    m_sitemapRules.append(newSitemapRule(QStringLiteral("edit_me"), QStringLiteral("0.5"),
                                         QStringLiteral("weekly")));
    Q_EMIT sitemapRulesChanged();
    setEdited(true);
}

void OrelConfigManager::deleteSitemapRule(int row)
{
    if (row < 0 || row >= m_sitemapRules.size())
        return;
    m_sitemapRules.removeAt(row);
    Q_EMIT sitemapRulesChanged();
    setEdited(true);
}

QString OrelConfigManager::sitemapRuleValue(int row, const QString &column) const
{
    if (row < 0 || row >= m_sitemapRules.size())
        return QString();
    return m_sitemapRules.at(row).toMap().value(column).toString();
}

void OrelConfigManager::setSitemapRuleValue(int row, const QString &column, const QString &value)
{
    if (row < 0 || row >= m_sitemapRules.size())
        return;
    if (column != QLatin1String("contains") && column != QLatin1String("priority")
        && column != QLatin1String("update"))
        return;
    QVariantMap rule = m_sitemapRules.at(row).toMap();
    rule.insert(column, value);
    m_sitemapRules[row] = rule;
    Q_EMIT sitemapRulesChanged();
    setEdited(true);
}

std::optional<QVariantMap> OrelConfigManager::ruleThatApplies(const QString &url) const
{
    std::optional<QVariantMap> found;
    for (const QVariant &r : m_sitemapRules) {
        const QVariantMap rule = r.toMap();
        const QString fragment = rule.value(QStringLiteral("contains")).toString();
        // An empty fragment is found nowhere, as a text search for nothing finds nothing.
        if (!fragment.isEmpty() && url.contains(fragment, Qt::CaseInsensitive))
            found = rule;
    }
    return found;
}

} // namespace orel
