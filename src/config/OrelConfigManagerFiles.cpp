// Settings files outside the configurations list: export and import, the settings last used and
// the sitemap upload details.
#include "config/OrelConfigManager.h"

#include "common/AppSupport.h"
#include "common/Dialogs.h"
#include "common/Log.h"
#include "common/Plist.h"
#include "common/PrivateFile.h"

namespace orel {

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
    // The file holds a password: created readable by its owner only, in a folder of the owner's.
    if (!PrivateFile::write(path, Plist::write(dict)))
        log(QStringLiteral("ftp details not written successfully"));
}

OrelConfigManager::FtpDetails OrelConfigManager::loadFtpDetails()
{
    const QVariantMap dict = Plist::readFile(ftpDetailsPath()).value_or(QVariant()).toMap();
    return FtpDetails { dict.value(QStringLiteral("ftpserver")).toString(),
                        dict.value(QStringLiteral("ftpdirectory")).toString(),
                        dict.value(QStringLiteral("ftpusername")).toString(),
                        dict.value(QStringLiteral("ftppassword")).toString() };
}

} // namespace orel
