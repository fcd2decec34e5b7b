// The saved site configurations, the settings last used and the crawl and sitemap rules of the
// current configuration; main thread. Owns no widgets: it reads and writes SettingsControls and
// tells the GUI through signals when its tables, status line or edited mark change.
#pragma once

#include "common/FtpDetails.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <optional>

namespace orel {

class SettingsControls;

class OrelConfigManager : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool crawlRunning READ isCrawlRunning WRITE setCrawlRunning)
    Q_PROPERTY(bool edited READ isEdited WRITE setEdited NOTIFY editedChanged)
    Q_PROPERTY(QString statusLine READ statusLine NOTIFY statusLineChanged)
    Q_PROPERTY(bool fewConfigurations READ hasFewConfigurations NOTIFY fewConfigurationsChanged)

public:
    // The three kinds of crawl rule, in the order the rules table shows them.
    enum RuleKind { DoNotCheck = 0, DoNotFollow = 1, OnlyFollow = 2 };

    using FtpDetails = orel::FtpDetails;

    explicit OrelConfigManager(SettingsControls *controls, QObject *parent = nullptr);

    SettingsControls *controls() const { return m_controls; }

    // Start-up once the window exists: lists the folder, applies "lastused", marks unedited.
    void awakeFromNib();
    // When the main window becomes main: answers whether the drawer should open, and consumes
    // that one-shot request (the user default "OrrelwickDrawerOpen").
    static bool takeDrawerOpenRequest();

    // ---- Configurations list -------------------------------------------------------------
    // Rebuilds the list from the application-support folder (created when missing).
    void loadAllUrls();
    int count() const { return int(m_collection.size()); }
    QString urlAt(int row) const; // null QString when the row does not exist
    QString nameAt(int row) const;
    QString fileNameAt(int row) const;
    QStringList collection() const { return m_collection; }
    QStringList nameCollection() const { return m_nameCollection; }
    QStringList fileNameCollection() const { return m_fileNameCollection; }
    // Full path of a configuration file in the folder.
    static QString pathForFilename(const QString &fileName);

    // Fewer than 2 configurations: the GUI removes New/Save/Delete, hides the list controls and
    // closes the drawer. The manager itself sets the user default "OrrelwickDrawerOpen" to NO.
    bool hasFewConfigurations() const { return m_fewConfigurations; }

    // Selecting a row applies that configuration's file to the controls. -1 deselects.
    void selectRow(int row);
    int selectedRow() const { return m_selectedRow; }
    QString selectedConfigFilename() const { return m_selectedConfigFilename; }
    bool isCreatingNewConfig() const { return m_creatingNewConfig; }
    // Path of settings opened from outside the folder (saves go back there); empty otherwise.
    QString settingsLoadedFromLocation() const { return m_settingsLoadedFromLocation; }

    // Row of the configuration whose file name, else display name, equals nameOrFile; -1 if none.
    int findConfiguration(const QString &nameOrFile) const;

    // ---- Settings dictionary --------------------------------------------------------------
    QVariantMap compileConfigDict() const;
    static QVariantMap compileBlankDict();
    // Applies a settings dictionary to the controls and rules with every load rule (clamps,
    // defaults for missing keys), and builds the status line from "dateStamp"/"status".
    void implementSettingsFromDictionary(const QVariantMap &dict);
    // Reads "lastused", applies it and reselects its "selectedConfig" row.
    void implementLastUsedSettings();

    // Every key of the settings dictionary.
    static QStringList settingsKeys();
    // Applies one key as a dictionary load would, but strictly: an unknown key or a value that
    // cannot be read (switches YES/NO, on/off, true/false, 1/0; numbers in full) is an error.
    // Lists take comma-separated fragments; "sitemapRules" takes the form showSitemapRules makes.
    bool applySettingsKey(const QString &key, const QString &value, QString *error = nullptr);
    // "sitemapRules" as one line: "contains=X priority=Y update=Z; ..." (empty when none).
    static QString showSitemapRules(const QVariantList &rules);

    // ---- Saving, opening, deleting ----------------------------------------------------------
    // Saves the controls: back to an opened file, to the selected configuration's file, or to a
    // new file named from the URL. Answers the file name (or the outside path) written, or a null
    // QString on failure.
    QString saveMenuItem();
    // Saves the configuration; the GUI then closes the sitemap rules window.
    QString saveAndCloseRules() { return saveMenuItem(); }
    // Opens a settings file from anywhere (".lcsettings"); later saves go back to it.
    bool openSettings(const QString &path, QString *error = nullptr);
    // Asks "Delete Configuration" through the dialogs; refused while a crawl runs or when no row
    // is selected. Answers whether a configuration was deleted.
    bool deleteMenuItem();
    // Renames the selected configuration (or the new one being entered, in memory only).
    void setNewName(const QString &name);
    // Save panel of type "lcsettings", then writes the current settings there.
    bool exportMenuItem();
    // Writes a stored configuration's dictionary to path (command line export).
    bool exportConfiguration(int row, const QString &path, QString *error = nullptr);
    // Copies a settings file into the folder under a new file name made from its URL; answers the
    // file name.
    std::optional<QString> importSettings(const QString &path, QString *error = nullptr);

    void saveLastUsedSettings();
    void saveBlankSettings();

    // File name of a new configuration for a URL: user info left out, "/", ":" and "." removed,
    // "nourl" when empty, then "-1", "-2", … appended while a file of that name exists.
    static QString newFileNameForUrl(const QString &url);

    // Asks whether to save unsaved edits ("Save" saves). Answers false only if saving failed.
    bool saveNewConfigIfNecessary();
    // Offers to save, then starts a new, unsaved configuration named "untitled".
    void newURL();
    QString windowTitle() const { return m_windowTitle; }

    bool isEdited() const { return m_edited; }
    void setEdited(bool edited);
    bool isCrawlRunning() const { return m_crawlRunning; }
    void setCrawlRunning(bool running) { m_crawlRunning = running; }

    // ---- End of a crawl ----------------------------------------------------------------------
    void setDateStamp();
    void setStatus(const QString &status);
    QString statusLine() const { return m_statusLine; }

    // ---- Look-ups ------------------------------------------------------------------------------
    static bool filenameExists(const QString &fileName);
    QString getUrlForFilename(const QString &fileName) const; // null when unknown
    QString getNameForFilename(const QString &fileName) const; // null when unknown
    QString getNameForURL(const QString &url) const; // null when no configuration has the URL
    // Path of thumbs/<file>.tiff (or .tif) when it exists, else "defaultWebIcon".
    static QString getThumbForFilename(const QString &fileName);

    QString getSitemapSaveDirectory() const { return m_sitemapSaveDirectory; }
    void setSitemapSaveDirectory(const QString &dir);
    QString getSitemapSaveFilename() const { return m_sitemapSaveFilename; }
    void setSitemapSaveFilename(const QString &name);

    // Writes the sitemap upload details to the folder (file "ftpdetails", owner-only).
    void saveFtpDetails(const FtpDetails &details);
    static FtpDetails loadFtpDetails();
    static QString ftpDetailsPath();

    // ---- Crawl rules ---------------------------------------------------------------------------
    QStringList getCheckBlacklistArray() const { return m_checkBlacklistArray; }
    QStringList getFollowBlacklistArray() const { return m_followBlacklistArray; }
    QStringList getFollowWhitelistArray() const { return m_followWhitelistArray; }
    // Empty text adds nothing. Answers whether a rule was added.
    bool addBlacklistRule(const QString &text, RuleKind kind);
    // Removes the rule at a row of the combined rules table; a row out of range does nothing.
    void deleteBlacklistRule(int row);
    // Combined table: every "Do not check" rule, then "Do not follow", then "Only follow".
    int rulesRowCount() const;
    // Column "rulename", "scope" or "searchstring"; empty for an unknown row or column.
    QString rulesValue(int row, const QString &column) const;
    // Replaces the fragment of a row; the edited rule moves to the end of its kind's list.
    void setRulesValue(int row, const QString &text);
    static QString ruleKindName(RuleKind kind); // "Do not check", "Do not follow", "Only follow"

    // ---- Sitemap rules ---------------------------------------------------------------------
    QVariantList getSitemapRules() const { return m_sitemapRules; }
    void addSitemapRule(); // "edit_me", "0.5", "weekly"
    void deleteSitemapRule(int row);
    int sitemapRulesRowCount() const { return int(m_sitemapRules.size()); }
    // Column "contains", "priority" or "update".
    QString sitemapRuleValue(int row, const QString &column) const;
    void setSitemapRuleValue(int row, const QString &column, const QString &value);
    // The last rule whose "contains" occurs in url, case ignored; none when no rule applies.
    std::optional<QVariantMap> ruleThatApplies(const QString &url) const;

Q_SIGNALS:
    void listChanged(); // the configurations list was rebuilt or a row changed
    void selectionChanged(int row);
    void rulesChanged();
    void sitemapRulesChanged();
    void editedChanged(bool edited);
    void statusLineChanged(const QString &line);
    void fewConfigurationsChanged(bool few);
    void windowTitleChanged(const QString &title);

private:
    // Puts the controls back to their defaults and empties the rule lists.
    void showDefaults();
    // The list of one kind of blacklist/whitelist rule.
    QStringList &rulesOfKind(RuleKind kind);
    bool writeConfig(const QString &path, const QVariantMap &dict) const;
    std::optional<QVariantMap> readConfig(const QString &fileName) const;
    bool updateSelectedFile(const char *key, const QString &value, const char *failureLog);
    void setStatusLine(const QString &line);
    void setSelectedRowQuietly(int row);
    void setWindowTitle(const QString &title);
    void controlsChanged();

    SettingsControls *m_controls;
    QStringList m_collection;
    QStringList m_nameCollection;
    QStringList m_fileNameCollection;
    int m_selectedRow = -1;
    QString m_selectedConfigFilename;
    bool m_creatingNewConfig = false;
    QString m_settingsLoadedFromLocation;
    QString m_loadedName; // name of settings opened or applied without a list row

    QStringList m_checkBlacklistArray;
    QStringList m_followBlacklistArray;
    QStringList m_followWhitelistArray;
    QVariantList m_sitemapRules;
    QString m_sitemapSaveDirectory;
    QString m_sitemapSaveFilename;

    bool m_edited = false;
    bool m_crawlRunning = false;
    bool m_fewConfigurations = false;
    bool m_applying = false; // the manager itself is writing the controls
    QString m_statusLine;
    QString m_windowTitle;
};

} // namespace orel
