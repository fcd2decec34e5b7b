// "orrelwick-cli config …": list, show, export and import the saved site configurations.
#include "Commands.h"

#include "common/Log.h"
#include "common/Plist.h"
#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"

#include <QTextStream>

#include <algorithm>

namespace orel::cli {

namespace {

// One value as text: lists comma-joined, sitemap rules in their own readable form.
QString valueText(const QString &key, const QVariant &value)
{
    if (key == QLatin1String("sitemapRules"))
        return OrelConfigManager::showSitemapRules(value.toList());
    if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QLatin1Char(','));
    return value.toString();
}

int findRow(const OrelConfigManager &manager, const QString &name, int *row)
{
    *row = manager.findConfiguration(name);
    if (*row < 0)
        return fail(QStringLiteral("no configuration named \"%1\"").arg(name));
    return 0;
}

int list(const OrelConfigManager &manager)
{
    QTextStream out(stdout);
    for (int row = 0; row < manager.count(); ++row) {
        out << manager.nameAt(row) << '\t' << manager.urlAt(row) << '\t' << manager.fileNameAt(row)
            << '\n';
    }
    return 0;
}

int show(OrelConfigManager &manager, const QString &name)
{
    int row = -1;
    if (const int rc = findRow(manager, name, &row))
        return rc;
    QString error;
    const std::optional<QVariant> stored =
            Plist::readFile(OrelConfigManager::pathForFilename(manager.fileNameAt(row)), &error);
    if (!stored)
        return fail(error);

    // The settings as a crawl would use them, plus what only the file holds (status, date).
    manager.selectRow(row);
    QVariantMap settings = stored->toMap();
    const QVariantMap effective = manager.compileConfigDict();
    for (auto it = effective.cbegin(); it != effective.cend(); ++it)
        settings.insert(it.key(), it.value());
    // Window state, not settings.
    settings.remove(QStringLiteral("selectedConfig"));
    settings.remove(QStringLiteral("OrrelwickMainWindowEdited"));

    QStringList keys = settings.keys();
    std::sort(keys.begin(), keys.end(), [](const QString &a, const QString &b) {
        const int c = a.compare(b, Qt::CaseInsensitive);
        return c != 0 ? c < 0 : a < b;
    });
    QTextStream out(stdout);
    for (const QString &key : keys)
        out << key << " = " << valueText(key, settings.value(key)) << '\n';
    return 0;
}

int exportConfig(OrelConfigManager &manager, const QString &name, const QString &path)
{
    int row = -1;
    if (const int rc = findRow(manager, name, &row))
        return rc;
    QString error;
    if (!manager.exportConfiguration(row, path, &error))
        return fail(QStringLiteral("cannot export \"%1\": %2").arg(name, error));
    return 0;
}

int importConfig(OrelConfigManager &manager, const QString &path)
{
    QString error;
    const std::optional<QString> fileName = manager.importSettings(path, &error);
    if (!fileName)
        return fail(QStringLiteral("cannot import: %1").arg(error));
    QTextStream(stdout) << *fileName << '\n';
    return 0;
}

} // namespace

int runConfigCommand(const QStringList &args)
{
    // The log is for the desktop program; here only the command's own output counts.
    QLoggingCategory::setFilterRules(QStringLiteral("orrelwick.info=false"));

    if (args.isEmpty())
        return fail(QStringLiteral("config needs a sub-command: list, show, export or import"));
    const QString command = args.first();
    const QStringList rest = args.mid(1);

    SettingsControls controls;
    OrelConfigManager manager(&controls);
    manager.loadAllUrls();

    if (command == QLatin1String("list")) {
        if (!rest.isEmpty())
            return fail(QStringLiteral("config list takes no arguments"));
        return list(manager);
    }
    if (command == QLatin1String("show")) {
        if (rest.size() != 1)
            return fail(QStringLiteral("config show needs exactly one NAME"));
        return show(manager, rest.first());
    }
    if (command == QLatin1String("export")) {
        if (rest.size() != 2)
            return fail(QStringLiteral("config export needs NAME and FILE.lcsettings"));
        return exportConfig(manager, rest.at(0), rest.at(1));
    }
    if (command == QLatin1String("import")) {
        if (rest.size() != 1)
            return fail(QStringLiteral("config import needs exactly one FILE.lcsettings"));
        return importConfig(manager, rest.first());
    }
    return fail(QStringLiteral("unknown config command \"%1\" (try orrelwick-cli --help)")
                        .arg(command));
}

} // namespace orel::cli
