// The sitemap's files: the XML file in the place the user picks or in the temporary folder, the
// CSV and HTML lists, and the upload of the XML file by FTP.
#include "seo/SEOManager.h"

#include "common/AppSupport.h"
#include "common/AtomicFile.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"
#include "links/FtpUpload.h"
#include "links/LinkCheckerUrl.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace orel {

namespace {

// Stands for the password wherever a log line would show it.
constexpr QLatin1StringView kPasswordMask("********");

QString quoted(const QString &value)
{
    return QLatin1Char('"') + value + QLatin1Char('"');
}

} // namespace

bool SEOManager::writeSitemapFile(const QString &path, const QByteArray &bytes, QString *error)
{
    QString why;
    if (writeFileAtomically(path, bytes, &why))
        return true;
    if (error)
        *error = QStringLiteral("cannot write %1: %2").arg(path, why);
    return false;
}

// ---- XML -------------------------------------------------------------------------------------

bool SEOManager::writeXML(const QString &path, QString *error)
{
    m_sitemapLocation = path;
    QString why;
    if (writeFileAtomically(path, sitemapXML(QDateTime::currentDateTime()).toUtf8(), &why))
        return true;
    const QString description = QStringLiteral("cannot write %1: %2").arg(path, why);
    log(QStringLiteral("Error writing xml: %1\nSuggest: %2\nReason: %3")
                .arg(description, localized("Choose a folder that exists and may be written to."),
                     why));
    if (error)
        *error = description;
    return false;
}

void SEOManager::exportXML()
{
    m_sitemapLocation.clear();
    const int row = m_controls ? m_controls->sitemapOptions : 0;
    std::optional<QString> chosen;
    if (row < 2) {
        const QString folder =
                m_configManager ? m_configManager->getSitemapSaveDirectory() : QString();
        const QString name =
                m_configManager ? m_configManager->getSitemapSaveFilename() : QString();
        chosen = Dialogs::current().savePanel(QStringLiteral("xml"), folder, name);
        if (!chosen || chosen->isEmpty())
            return;
        writeXML(*chosen);
    } else {
        // For the upload: always "sitemap.xml", alone in a fresh temporary folder.
        AppSupport::ensureFolder();
        QDir(AppSupport::tempFolder()).removeRecursively();
        QDir().mkpath(AppSupport::tempFolder());
        writeXML(AppSupport::tempFolder() + QStringLiteral("/sitemap.xml"));
    }
    if (chosen && m_configManager) {
        const QFileInfo info(*chosen);
        m_configManager->setSitemapSaveDirectory(info.absolutePath());
        m_configManager->setSitemapSaveFilename(info.fileName());
        m_configManager->setEdited(true);
    }
}

// ---- CSV and HTML lists ------------------------------------------------------------------------

// The first (row count) admitted pages that are visible, as the sitemap table's columns.
QString SEOManager::sitemapCSV()
{
    TableDescription *table = getSitemapTableView();
    const QList<TableColumn> columns = table->columns();
    const int rows = table->numberOfRows();
    Dialogs &dialogs = Dialogs::current();
    dialogs.showProgress(localized("Exporting"), rows);
    QString out;
    out.reserve(100);
    for (qsizetype c = 0; c < columns.size(); ++c)
        out += (c > 0 ? QStringLiteral(",") : QString()) + quoted(columns[c].title);
    out += QLatin1Char('\r');
    const auto &all = items();
    const int n = std::min(rows, int(all.size()));
    int percent = 0;
    for (int r = 0; r < n; ++r) {
        const OrelDataObject *page = all[std::size_t(r)];
        if (page->getVisible()) {
            for (qsizetype c = 0; c < columns.size(); ++c) {
                const QString &id = columns[c].identifier;
                out += (c > 0 ? QStringLiteral(",") : QString())
                        + quoted(exportValue(id, page->getFieldByName(id)));
            }
            out += QLatin1Char('\r');
        }
        if (const int now = (r + 1) * 100 / n; now != percent)
            dialogs.setProgress(percent = now);
    }
    dialogs.hideProgress();
    return out;
}

// Links to the first N admitted pages (N the table's row count), level by level from the start
// page. A level beyond the deepest of those pages holds none, so the walk stops there even when
// fewer than N pages were written.
QString SEOManager::sitemapHTML()
{
    const int rows = getSitemapTableView()->numberOfRows();
    Dialogs &dialogs = Dialogs::current();
    dialogs.showProgress(localized("Exporting"), rows);
    const auto &all = items();
    const int n = std::min(rows, int(all.size()));
    int deepest = -1;
    for (int i = 0; i < n; ++i)
        deepest = std::max(
                deepest, static_cast<LinkCheckerUrl *>(all[std::size_t(i)])->getDistanceFromHome());
    QString out;
    int written = 0;
    for (int level = 0; level <= deepest && written < rows; ++level) {
        for (int i = 0; i < n && written < rows; ++i) {
            const auto *page = static_cast<const LinkCheckerUrl *>(all[std::size_t(i)]);
            if (page->getDistanceFromHome() != level)
                continue;
            out += QLatin1String("<a href = \"")
                    + exportValue(QStringLiteral("actualurl"), page->getActualLinkUrl())
                    + QLatin1String("\">") + page->getLinkPageTitle()
                    + QLatin1String("</a><br />\r");
            dialogs.setProgress(++written);
        }
    }
    dialogs.hideProgress();
    return out;
}

bool SEOManager::writeSitemapCSV(const QString &path, QString *error)
{
    return writeSitemapFile(path, sitemapCSV().toUtf8(), error);
}

bool SEOManager::writeSitemapHTML(const QString &path, QString *error)
{
    return writeSitemapFile(path, sitemapHTML().toUtf8(), error);
}

void SEOManager::exportSitemapAsCSV()
{
    const QByteArray bytes = sitemapCSV().toUtf8();
    const std::optional<QString> path =
            Dialogs::current().savePanel(QStringLiteral("csv"), QString(), QString());
    if (path && !path->isEmpty() && !writeSitemapFile(*path, bytes, nullptr))
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(*path));
}

void SEOManager::exportSitemapAsHTML()
{
    const QByteArray bytes = sitemapHTML().toUtf8();
    const std::optional<QString> path =
            Dialogs::current().savePanel(QStringLiteral("html"), QString(), QString());
    if (path && !path->isEmpty() && !writeSitemapFile(*path, bytes, nullptr))
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(*path));
}

// ---- Upload ------------------------------------------------------------------------------------

int SEOManager::transferFiles()
{
    const QFileInfo file(m_sitemapLocation);
    const QString fileName = file.fileName();
    FtpDetails ftp;
    if (m_controls) {
        ftp = { m_controls->ftpserverField, m_controls->ftpdirectoryField,
                m_controls->ftpusernameField, m_controls->ftppasswordField };
    }
    const QString destination = QStringLiteral("%1/%2/%3").arg(ftp.server, ftp.directory, fileName);
    log(QStringLiteral("server + dir + filename =  %1").arg(destination));
    const QString credentials = ftp.username + QLatin1Char(':')
            + (ftp.password.isEmpty() ? QString() : QString(kPasswordMask));
    // The transfer runs in this process; the folder is where the file is read from.
    log(QStringLiteral("current directory set to %1").arg(file.absolutePath()));
    log(QStringLiteral("curl -T %1 %2 -u %3").arg(fileName, destination, credentials));

    const double timeout = m_controls ? m_controls->timeoutField : 60;
    const FtpUpload::Result result =
            FtpUpload::run(m_sitemapLocation.isEmpty() ? QString() : file.absoluteFilePath(),
                           destination, ftp.username, ftp.password, timeout);
    if (result.code == 0) {
        log(QStringLiteral("ftp of %1 completed successfully\n").arg(fileName));
        return 0;
    }
    log(QStringLiteral("ftp error:%1 exit code: %2\n").arg(result.text).arg(result.code));
    Dialogs::current().alert(localized("ftp unsuccessful"),
                             localized("ftp error: exit code: %1\n").arg(result.code),
                             { localized("OK") });
    return result.code;
}

std::optional<int> SEOManager::beginFTPDialog()
{
    // The fields as last used, else as last saved.
    FtpDetails details = OrelConfigManager::loadFtpDetails();
    if (m_controls && !m_controls->ftpserverField.isEmpty()) {
        details = { m_controls->ftpserverField, m_controls->ftpdirectoryField,
                    m_controls->ftpusernameField, m_controls->ftppasswordField };
    }
    const std::optional<FtpDetails> answer = Dialogs::current().ftpSheet(details);
    if (!answer)
        return std::nullopt;
    if (m_controls) {
        m_controls->ftpserverField = answer->server;
        m_controls->ftpdirectoryField = answer->directory;
        m_controls->ftpusernameField = answer->username;
        m_controls->ftppasswordField = answer->password;
    }
    if (m_configManager)
        m_configManager->saveFtpDetails(*answer);
    return transferFiles();
}

} // namespace orel
