#include "SitemapOptions.h"
#include "OutputPaths.h"

#include "common/SettingsControls.h"
#include "engine/LinkCheckerHub.h"
#include "seo/SEOManager.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace orel::cli {

namespace {

// The FTP password is read from here, never from the command line, where every process listing
// would show it.
constexpr char kPasswordVariable[] = "ORRELWICK_FTP_PASSWORD";

} // namespace

bool parseSitemapOption(const QStringList &args, int &i, SitemapOptions &o, QString &error)
{
    const QString &a = args.at(i);
    const std::pair<const char *, QString *> options[] = {
        { "--sitemap", &o.xml },       { "--sitemap-csv", &o.csv },
        { "--sitemap-html", &o.html }, { "--ftp-upload", &o.ftpServer },
        { "--ftp-dir", &o.ftpDir },    { "--ftp-user", &o.ftpUser },
    };
    for (const auto &[name, target] : options) {
        if (a != QLatin1String(name))
            continue;
        if (i + 1 >= args.size())
            error = QStringLiteral("%1 needs a value").arg(a);
        else
            *target = args.at(++i);
        return true;
    }
    if (a == QLatin1String("--ftp-password"))
        error = QStringLiteral("--ftp-password is not taken: set %1 instead")
                        .arg(QLatin1String(kPasswordVariable));
    return !error.isNull();
}

QString checkSitemapOptions(const SitemapOptions &o)
{
    if (QString err = checkOutputPaths({ o.xml, o.csv, o.html }); !err.isNull())
        return err;
    if (o.ftpServer.isEmpty() && (!o.ftpDir.isEmpty() || !o.ftpUser.isEmpty()))
        return QStringLiteral("--ftp-dir and --ftp-user need --ftp-upload SERVER");
    return {};
}

QString writeSitemapOutputs(LinkCheckerHub &hub, const SitemapOptions &o)
{
    SEOManager &seo = *hub.seoManager();
    QString error;
    if (!o.xml.isEmpty() && !seo.writeXML(QFileInfo(o.xml).absoluteFilePath(), &error))
        return error;
    if (!o.csv.isEmpty() && !seo.writeSitemapCSV(o.csv, &error))
        return error;
    if (!o.html.isEmpty() && !seo.writeSitemapHTML(o.html, &error))
        return error;
    if (o.ftpServer.isEmpty())
        return {};

    SettingsControls &controls = *hub.controls();
    controls.ftpserverField = o.ftpServer;
    controls.ftpdirectoryField = o.ftpDir;
    controls.ftpusernameField = o.ftpUser;
    controls.ftppasswordField = qEnvironmentVariable(kPasswordVariable);
    qunsetenv(kPasswordVariable); // not handed on to anything this process might start
    if (o.xml.isEmpty()) {
        // No file of the user's: the upload copy goes to the temporary folder.
        controls.sitemapOptions = 2;
        seo.exportXML();
        if (seo.getSitemapLocation().isEmpty() || !QFileInfo::exists(seo.getSitemapLocation()))
            return QStringLiteral("cannot write the sitemap for the upload");
    }
    const int code = seo.transferFiles();
    controls.ftppasswordField.fill(QLatin1Char('\0'));
    controls.ftppasswordField.clear();
    if (code != 0)
        return QStringLiteral("ftp unsuccessful: ftp error: exit code: %1").arg(code);
    return {};
}

QString sitemapUsage()
{
    return QStringLiteral(
            "                     [--sitemap FILE.xml] [--sitemap-csv FILE] [--sitemap-html FILE]\n"
            "                     [--ftp-upload SERVER [--ftp-dir DIR] [--ftp-user USER]]\n");
}

} // namespace orel::cli
