// The settings dictionary of a configuration and the settings controls: building one from the
// other with every load rule, and applying single keys from the command line.
#include "config/OrelConfigManager.h"

#include "common/AppSupport.h"
#include "common/Localize.h"
#include "common/Plist.h"
#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "config/ConfigValues.h"

#include <QRegularExpression>

#include <cmath>

namespace orel {

using namespace config;

namespace {

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

} // namespace

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
        name = UrlParts::withoutUserInfo(c.urlField); // shown in the list and the title
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

    // Numbers are brought into the ranges a person would set: a file may say anything.
    c.numberOfThreads = int(SettingsControls::bounded(
            QStringLiteral("numberOfThreads"),
            leadingInt(dict.value(QStringLiteral("numberOfThreads")).toString())));
    const QString timeOut = dict.value(QStringLiteral("timeOut")).toString();
    c.timeoutField =
            SettingsControls::bounded(QStringLiteral("timeoutField"),
                                      leadingInt(timeOut) < 1 ? 30.0 : leadingNumber(timeOut));
    c.delayField = SettingsControls::bounded(QStringLiteral("delayField"),
                                             dict.contains(QStringLiteral("delay")) ? leadingNumber(
                                                     dict.value(QStringLiteral("delay")).toString())
                                                                                    : 0.0);

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
        const double d = value.trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(d))
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

} // namespace orel
