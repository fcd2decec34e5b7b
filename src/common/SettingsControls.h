// Values of the settings controls that the crawl, the configuration store and the views read;
// main thread. The GUI binds its widgets to one instance, the command line sets it by name.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

namespace orel {

// A check box; Mixed exists where the program distinguishes "any state other than off" from
// "fully on".
enum class CheckState { Off = 0, On = 1, Mixed = 2 };

class SettingsControls : public QObject
{
    Q_OBJECT
public:
    explicit SettingsControls(QObject *parent = nullptr);

    // Defaults are set by setDefaults().

    // Start URL and crawl limits
    QString urlField;
    int numberOfThreads; // fetch slots
    double timeoutField; // seconds
    double delayField; // seconds before each scheduled fetch
    int linksLimit; // records in one crawl
    int levelsLimit; // clicks from the start page
    QString userAgentString;

    // Crawl switches
    CheckState qsButton; // trim query strings
    CheckState slashButton; // ignore a trailing slash
    CheckState trimButton; // trim spaces and quotes around hrefs
    CheckState imgButton; // images are links too
    CheckState checkErrorPages; // read links on error pages
    CheckState plainTextMode; // the start document is a list of URLs
    CheckState followButton; // on: check the start page and its links only
    CheckState flagBlacklistCheckBox;
    CheckState soft404Button;
    QString soft404Terms; // one term per line
    CheckState archiveButton;
    CheckState SEOCountKeywordsInContentCheckBox;
    CheckState blacklistCheckContentCheckBox;
    CheckState alertOnFinishButton;
    CheckState inspectBadLinksOnFinishButton;
    CheckState subdomainButton;
    CheckState nofollowCheckbox;
    CheckState nofollowColCheckbox;
    CheckState nofollowFlatColCheckbox;
    CheckState robotsCheckBox;
    CheckState SEOEnabledCheckBox;
    QString SEOSearchBox; // the SEO keyword phrase
    CheckState uniqueTitleButton;
    CheckState hashIsBad;
    CheckState sitemapOnly;
    CheckState xmlNoBlacklisted;
    CheckState attemptAuthentication;

    // Views
    CheckState displayPageTitle; // page titles instead of URLs
    CheckState shouldHighlight;
    CheckState displayLabelButton; // colour rows by status class

    // Sitemap
    int sitemapChangeFrequency; // tag of the selected item, 0 "none" … 7 "never"
    QString sitemapPriority; // "None" switches priorities off
    int sitemapOptions; // row 0 or 1: a file the user picks; 2: the temporary folder (upload)
    QString ftpserverField; // upload destination: server, folder on it, login
    QString ftpdirectoryField;
    QString ftpusernameField;
    QString ftppasswordField; // never listed by names() nor set by name

    // Additions for sites that throttle or block crawlers and for CI runs; off, each of them
    // leaves the crawl as it is without them.
    int hostConnectionsLimit; // parallel fetches to one host; 0: no cap
    double hostDelay; // seconds between two requests to one host
    CheckState robotsTxtButton; // skip what the host's robots.txt disallows
    CheckState checkAnchorsButton; // "#name" links must name an element of their page
    QString localSiteRoot; // a folder that root-relative links of a file:// crawl resolve in

    // HTML validation (global preferences)
    CheckState ValidationEnabledCheckBox;
    CheckState validateAllButton; // off: the first page only
    QString validationURL; // the service's base address; requests go to "<base>/check"
    double validationTimeout; // seconds
    double validationDelay; // seconds between two requests; 0 polls every 0.2 s

    static bool isOn(CheckState s) { return s == CheckState::On; }
    static bool isOff(CheckState s) { return s == CheckState::Off; }

    // Access by the controls' own names, for the command line and "config show".
    static QStringList names();
    bool has(const QString &name) const;
    QString valueByName(const QString &name) const; // checks as "on", "off", "mixed"
    // Sets a control from text. Checks take on/off/mixed, yes/no, true/false, 1/0; numbers must
    // parse completely and be finite, and are brought into the control's range. Answers false
    // with a reason when the name or the value is not understood.
    bool setByName(const QString &name, const QString &value, QString *error = nullptr);

    // A number for the control brought into the range a person would set (fetch slots 1-64,
    // time-out 1-600 s, delay 0-300 s, links limit 1-100,000,000, levels limit 0-1,000,000,
    // sitemap change frequency 0-7, sitemap options 0-2, validation time-out 1-600 s and delay
    // 0-300 s); not-a-number reads as the lowest value. Other names keep the value.
    static double bounded(const QString &name, double value);

    // Puts every control back to its default.
    void setDefaults();

Q_SIGNALS:
    // Emitted by setByName and setDefaults, and by the GUI after it wrote a control.
    void changed();
};

} // namespace orel
