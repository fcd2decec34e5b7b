#include "common/SettingsControls.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <variant>

namespace orel {

namespace {

using Member = std::variant<QString SettingsControls::*, int SettingsControls::*,
                            double SettingsControls::*, CheckState SettingsControls::*>;

struct Entry
{
    const char *name;
    Member member;
    // The range of a number control; values outside it are brought into it.
    double min = 0;
    double max = 0;
};

#define ENTRY(m)                                                                                   \
    Entry                                                                                          \
    {                                                                                              \
#m, &SettingsControls::m                                                                   \
    }
#define NUMBER(m, lo, hi)                                                                          \
    Entry                                                                                          \
    {                                                                                              \
#m, &SettingsControls::m, lo, hi                                                           \
    }
const Entry entries[] = {
    ENTRY(urlField),
    NUMBER(numberOfThreads, 1, 64),
    NUMBER(timeoutField, 1, 600),
    NUMBER(delayField, 0, 300),
    NUMBER(linksLimit, 1, 100000000),
    NUMBER(levelsLimit, 0, 1000000),
    ENTRY(userAgentString),
    ENTRY(qsButton),
    ENTRY(slashButton),
    ENTRY(trimButton),
    ENTRY(imgButton),
    ENTRY(checkErrorPages),
    ENTRY(plainTextMode),
    ENTRY(followButton),
    ENTRY(flagBlacklistCheckBox),
    ENTRY(soft404Button),
    ENTRY(soft404Terms),
    ENTRY(archiveButton),
    ENTRY(SEOCountKeywordsInContentCheckBox),
    ENTRY(blacklistCheckContentCheckBox),
    ENTRY(alertOnFinishButton),
    ENTRY(inspectBadLinksOnFinishButton),
    ENTRY(subdomainButton),
    ENTRY(nofollowCheckbox),
    ENTRY(nofollowColCheckbox),
    ENTRY(nofollowFlatColCheckbox),
    ENTRY(robotsCheckBox),
    ENTRY(SEOEnabledCheckBox),
    ENTRY(SEOSearchBox),
    ENTRY(uniqueTitleButton),
    ENTRY(hashIsBad),
    ENTRY(sitemapOnly),
    ENTRY(xmlNoBlacklisted),
    ENTRY(attemptAuthentication),
    ENTRY(displayPageTitle),
    ENTRY(shouldHighlight),
    ENTRY(displayLabelButton),
    NUMBER(sitemapChangeFrequency, 0, 7),
    ENTRY(sitemapPriority),
    NUMBER(sitemapOptions, 0, 2),
    ENTRY(ftpserverField),
    ENTRY(ftpdirectoryField),
    ENTRY(ftpusernameField),
    NUMBER(hostConnectionsLimit, 0, 64),
    NUMBER(hostDelay, 0, 300),
    ENTRY(robotsTxtButton),
    ENTRY(checkAnchorsButton),
    ENTRY(localSiteRoot),
    ENTRY(ValidationEnabledCheckBox),
    ENTRY(validateAllButton),
    ENTRY(validationURL),
    NUMBER(validationTimeout, 1, 600),
    NUMBER(validationDelay, 0, 300),
};
#undef ENTRY
#undef NUMBER

const Entry *find(const QString &name)
{
    for (const Entry &e : entries) {
        if (name == QLatin1String(e.name))
            return &e;
    }
    return nullptr;
}

std::optional<CheckState> parseCheck(const QString &text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("on") || t == QLatin1String("yes") || t == QLatin1String("true")
        || t == QLatin1String("1"))
        return CheckState::On;
    if (t == QLatin1String("off") || t == QLatin1String("no") || t == QLatin1String("false")
        || t == QLatin1String("0"))
        return CheckState::Off;
    if (t == QLatin1String("mixed") || t == QLatin1String("-1") || t == QLatin1String("2"))
        return CheckState::Mixed;
    return std::nullopt;
}

QString checkText(CheckState s)
{
    switch (s) {
    case CheckState::On:
        return QStringLiteral("on");
    case CheckState::Mixed:
        return QStringLiteral("mixed");
    case CheckState::Off:
        break;
    }
    return QStringLiteral("off");
}

} // namespace

SettingsControls::SettingsControls(QObject *parent) : QObject(parent)
{
    setDefaults();
}

QStringList SettingsControls::names()
{
    QStringList out;
    for (const Entry &e : entries)
        out.append(QLatin1String(e.name));
    return out;
}

bool SettingsControls::has(const QString &name) const
{
    return find(name) != nullptr;
}

QString SettingsControls::valueByName(const QString &name) const
{
    const Entry *e = find(name);
    if (!e)
        return {};
    return std::visit(
            [this](auto member) -> QString {
                const auto &v = this->*member;
                using T = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<T, QString>)
                    return v;
                else if constexpr (std::is_same_v<T, int>)
                    return QString::number(v);
                else if constexpr (std::is_same_v<T, double>)
                    return QString::number(v, 'g', 15);
                else
                    return checkText(v);
            },
            e->member);
}

double SettingsControls::bounded(const QString &name, double value)
{
    const Entry *e = find(name);
    if (!e || e->min >= e->max)
        return value;
    if (std::isnan(value))
        return e->min;
    return std::clamp(value, e->min, e->max);
}

bool SettingsControls::setByName(const QString &name, const QString &value, QString *error)
{
    auto fail = [&](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    const Entry *e = find(name);
    if (!e)
        return fail(QStringLiteral("unknown setting \"%1\"").arg(name));
    const bool ok = std::visit(
            [this, &value, &name](auto member) -> bool {
                auto &v = this->*member;
                using T = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<T, QString>) {
                    v = value;
                    return true;
                } else if constexpr (std::is_same_v<T, int>) {
                    // Whole numbers of any size, brought into the control's range.
                    bool okInt = false;
                    const qlonglong n = value.trimmed().toLongLong(&okInt);
                    if (okInt)
                        v = int(bounded(name, double(n)));
                    return okInt;
                } else if constexpr (std::is_same_v<T, double>) {
                    bool okDouble = false;
                    const double d = value.trimmed().toDouble(&okDouble);
                    okDouble = okDouble && std::isfinite(d);
                    if (okDouble)
                        v = bounded(name, d);
                    return okDouble;
                } else {
                    const auto c = parseCheck(value);
                    if (c)
                        v = *c;
                    return c.has_value();
                }
            },
            e->member);
    if (!ok)
        return fail(QStringLiteral("bad value \"%1\" for setting \"%2\"").arg(value, name));
    Q_EMIT changed();
    return true;
}

void SettingsControls::setDefaults()
{
    urlField.clear();
    numberOfThreads = 12;
    timeoutField = 30;
    delayField = 0;
    linksLimit = 1000000;
    levelsLimit = 1000000;
    userAgentString = QStringLiteral("Orrelwick/" ORRELWICK_VERSION " (link checker)");
    qsButton = CheckState::On;
    slashButton = CheckState::On;
    trimButton = CheckState::On;
    imgButton = CheckState::Off;
    checkErrorPages = CheckState::Off;
    plainTextMode = CheckState::Off;
    followButton = CheckState::Off;
    flagBlacklistCheckBox = CheckState::Off;
    soft404Button = CheckState::Off;
    soft404Terms.clear();
    archiveButton = CheckState::Off;
    SEOCountKeywordsInContentCheckBox = CheckState::Off;
    blacklistCheckContentCheckBox = CheckState::Off;
    alertOnFinishButton = CheckState::Off;
    inspectBadLinksOnFinishButton = CheckState::Off;
    subdomainButton = CheckState::Off;
    nofollowCheckbox = CheckState::Off;
    nofollowColCheckbox = CheckState::Off;
    nofollowFlatColCheckbox = CheckState::Off;
    robotsCheckBox = CheckState::Off;
    SEOEnabledCheckBox = CheckState::On;
    SEOSearchBox.clear();
    uniqueTitleButton = CheckState::Off;
    hashIsBad = CheckState::Off;
    sitemapOnly = CheckState::Off;
    xmlNoBlacklisted = CheckState::Off;
    attemptAuthentication = CheckState::Off;
    displayPageTitle = CheckState::Off;
    shouldHighlight = CheckState::On;
    displayLabelButton = CheckState::On;
    sitemapChangeFrequency = 0;
    sitemapPriority = QStringLiteral("Automatic");
    sitemapOptions = 0;
    ftpserverField.clear();
    ftpdirectoryField.clear();
    ftpusernameField.clear();
    ftppasswordField.clear();
    hostConnectionsLimit = 0;
    hostDelay = 0;
    robotsTxtButton = CheckState::Off;
    checkAnchorsButton = CheckState::Off;
    localSiteRoot.clear();
    ValidationEnabledCheckBox = CheckState::Off;
    validateAllButton = CheckState::Off;
    validationURL = QStringLiteral("http://localhost/w3c-validator");
    validationTimeout = 30;
    validationDelay = 1;
    Q_EMIT changed();
}

} // namespace orel
