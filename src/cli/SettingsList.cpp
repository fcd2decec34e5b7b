// "orrelwick-cli settings": every name --set takes, the control names and the configuration
// file's keys, with its kind, its default and what it does, and the pairs that say the same thing
// in opposite senses.
#include "Commands.h"

#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"

#include <QHash>
#include <QTextStream>

#include <cmath>

namespace orel::cli {

namespace {

// One line each; a name missing here is listed without a meaning.
const QHash<QString, QString> &meanings()
{
    static const QHash<QString, QString> m {
        { "urlField", "the start URL (the URL argument sets it too)" },
        { "numberOfThreads", "fetches running at once" },
        { "timeoutField", "seconds a fetch may take" },
        { "delayField", "seconds to wait before each fetch" },
        { "linksLimit", "links recorded in one crawl at most" },
        { "levelsLimit", "clicks from the start page beyond which pages are not read" },
        { "userAgentString", "the User-Agent header sent" },
        { "qsButton", "trim query strings from links" },
        { "slashButton", "a trailing slash makes no other link" },
        { "trimButton", "trim spaces and quotes around links" },
        { "imgButton", "check images too" },
        { "checkErrorPages", "read the links of error pages too" },
        { "plainTextMode", "the start document is a plain list of URLs" },
        { "followButton", "check the start page and its links only" },
        { "flagBlacklistCheckBox", "show links of the check blacklist as not checked" },
        { "soft404Button", "look for soft 404 pages" },
        { "soft404Terms", "texts that mark a soft 404 page, separated by |" },
        { "archiveButton", "keep a copy of every page read" },
        { "SEOCountKeywordsInContentCheckBox", "count the SEO phrase in the page content too" },
        { "blacklistCheckContentCheckBox", "apply the follow lists to page content too" },
        { "alertOnFinishButton", "alert when the crawl ends (desktop)" },
        { "inspectBadLinksOnFinishButton", "inspect bad links when the crawl ends (desktop)" },
        { "subdomainButton", "subdomains of the site are internal" },
        { "nofollowCheckbox", "respect nofollow (mixed: only on nofollow pages)" },
        { "nofollowColCheckbox", "show the nofollow column of the link view" },
        { "nofollowFlatColCheckbox", "show the nofollow column of the flat view" },
        { "robotsCheckBox", "respect the robots meta tags of pages" },
        { "SEOEnabledCheckBox", "collect SEO data of the pages" },
        { "SEOSearchBox", "the SEO keyword phrase" },
        { "uniqueTitleButton", "a page whose title was seen is not read" },
        { "hashIsBad", "report \"#\" and empty links" },
        { "sitemapOnly", "do not check external links" },
        { "xmlNoBlacklisted", "leave blacklisted pages out of the sitemap" },
        { "attemptAuthentication", "answer password requests of servers" },
        { "displayPageTitle", "show page titles instead of URLs" },
        { "shouldHighlight", "highlight links in the page copy" },
        { "displayLabelButton", "colour rows by status" },
        { "sitemapChangeFrequency", "0 none, 1 always ... 7 never" },
        { "sitemapPriority", "the sitemap priority; None leaves it out" },
        { "sitemapOptions", "where the sitemap goes: 0-1 a file, 2 the temporary folder" },
        { "ftpserverField", "the FTP server for the sitemap upload" },
        { "ftpdirectoryField", "the folder on the FTP server" },
        { "ftpusernameField", "the FTP login" },
        { "hostConnectionsLimit", "parallel fetches to one host; 0 no cap" },
        { "hostDelay", "seconds between two requests to one host" },
        { "robotsTxtButton", "skip what the host's robots.txt disallows" },
        { "checkAnchorsButton", "\"#name\" links must name an element of their page" },
        { "localSiteRoot", "the folder that root-relative links of a file:// crawl resolve in" },
        { "url", "the start URL" },
        { "name", "the configuration's name" },
        { "checkBlacklist", "links containing one of these comma-separated terms are not checked" },
        { "followBlacklist", "pages containing one of these terms are not read" },
        { "followWhitelist", "only pages containing one of these terms are read" },
        { "timeOut", "seconds a fetch may take" },
        { "delay", "seconds to wait before each fetch" },
        { "OrrelwickMainWindowEdited", "the configuration has unsaved changes" },
        { "selectedConfig", "the row of the selected configuration" },
        { "sitemapRules", "\"contains=X priority=Y update=Z; ...\"" },
        { "sitemapSaveDirectory", "the sitemap's folder" },
        { "sitemapSaveFilename", "the sitemap's file name" },
        { "status", "the result line of the last crawl" },
        { "dateStamp", "the date of the last crawl" },
    };
    return m;
}

QString controlKind(const QString &name, const SettingsControls &defaults)
{
    const double lo = SettingsControls::bounded(name, -1e18);
    if (lo != -1e18)
        return QStringLiteral("number %1-%2")
                .arg(lo, 0, 'g', 10)
                .arg(SettingsControls::bounded(name, 1e18), 0, 'g', 10);
    const QString v = defaults.valueByName(name);
    if (v == QLatin1String("on") || v == QLatin1String("off") || v == QLatin1String("mixed"))
        return QStringLiteral("on/off");
    return QStringLiteral("text");
}

// The control a settings key drives, found by applying the key to fresh controls: the control
// that changes. inverted tells whether YES turns it off.
QString controlOfKey(const QString &key, bool *inverted)
{
    SettingsControls before;
    SettingsControls after;
    OrelConfigManager manager(&after);
    if (!manager.applySettingsKey(key, QStringLiteral("YES")))
        return {};
    for (const QString &name : SettingsControls::names()) {
        const QString b = before.valueByName(name), a = after.valueByName(name);
        if (a == b)
            continue;
        if (a != QLatin1String("on") && a != QLatin1String("off"))
            return {};
        // Try the other answer too: a key that only ever turns the control one way is no pair.
        SettingsControls other;
        OrelConfigManager otherManager(&other);
        otherManager.applySettingsKey(key, QStringLiteral("NO"));
        if (other.valueByName(name) == a)
            return {};
        *inverted = a == QLatin1String("off");
        return name;
    }
    // YES may leave the default as it was: NO then shows the control.
    SettingsControls other;
    OrelConfigManager otherManager(&other);
    otherManager.applySettingsKey(key, QStringLiteral("NO"));
    for (const QString &name : SettingsControls::names()) {
        const QString b = before.valueByName(name), a = other.valueByName(name);
        if (a != b && (a == QLatin1String("on") || a == QLatin1String("off"))) {
            *inverted = a == QLatin1String("on");
            return name;
        }
    }
    return {};
}

} // namespace

QString settingsListText()
{
    QString text;
    QTextStream out(&text);
    const SettingsControls defaults;
    out << "Control names (--set NAME=VALUE; on/off also take yes/no, true/false, 1/0):\n";
    const auto line = [&out](const QString &name, const QString &kind, const QString &def,
                             const QString &meaning) {
        out << "  " << name.leftJustified(34) << ' ' << kind.leftJustified(20) << ' '
            << (def.isEmpty() ? QStringLiteral("\"\"") : def).leftJustified(10) << ' ' << meaning
            << "\n";
    };
    for (const QString &name : SettingsControls::names())
        line(name, controlKind(name, defaults), defaults.valueByName(name), meanings().value(name));

    out << "\nConfiguration file keys (--set KEY=VALUE; switches take YES/NO):\n";
    // The numbers of the file and the controls they set.
    const QHash<QString, QString> numbers {
        { QStringLiteral("numberOfThreads"), QStringLiteral("numberOfThreads") },
        { QStringLiteral("timeOut"), QStringLiteral("timeoutField") },
        { QStringLiteral("delay"), QStringLiteral("delayField") }
    };
    QStringList pairs;
    for (const QString &key : OrelConfigManager::settingsKeys()) {
        if (const QString control = numbers.value(key); !control.isEmpty()) {
            line(key, controlKind(control, defaults), defaults.valueByName(control),
                 meanings().value(key));
            continue;
        }
        bool inverted = false;
        const QString control = controlOfKey(key, &inverted);
        if (control.isEmpty()) {
            line(key, QStringLiteral("text"), QString(), meanings().value(key));
            continue;
        }
        const bool on = (defaults.valueByName(control) != QLatin1String("off")) != inverted;
        line(key, QStringLiteral("YES/NO"), on ? QStringLiteral("YES") : QStringLiteral("NO"),
             inverted ? QStringLiteral("opposite of %1").arg(control) : meanings().value(control));
        if (inverted)
            pairs.append(QStringLiteral("  %1=YES is %2=off\n").arg(key, control));
    }
    out << "\nOpposites (a key and a control that set one thing in opposite senses):\n";
    for (const QString &p : pairs)
        out << p;
    out.flush();
    return text;
}

int runSettingsCommand(const QStringList &args)
{
    if (!args.isEmpty() && args.first() != QLatin1String("--help")) {
        QTextStream(stderr) << "orrelwick-cli: settings takes no arguments\n";
        return 2;
    }
    QTextStream(stdout) << settingsListText();
    return 0;
}

} // namespace orel::cli
