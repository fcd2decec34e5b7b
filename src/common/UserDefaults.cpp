#include "common/UserDefaults.h"

#include "common/AppSupport.h"

#include <QSettings>

#include <memory>

namespace orel {

namespace {
std::unique_ptr<QSettings> open()
{
    if (!qgetenv("ORRELWICK_HOME").isEmpty()) {
        AppSupport::ensureFolder();
        return std::make_unique<QSettings>(AppSupport::folder() + QStringLiteral("/.defaults.ini"),
                                           QSettings::IniFormat);
    }
    return std::make_unique<QSettings>(QStringLiteral("Orrelwick"), QStringLiteral("Orrelwick"));
}
} // namespace

QVariant UserDefaults::value(const QString &key, const QVariant &fallback)
{
    return open()->value(key, fallback);
}

bool UserDefaults::contains(const QString &key)
{
    return open()->contains(key);
}

void UserDefaults::setValue(const QString &key, const QVariant &value)
{
    open()->setValue(key, value);
}

void UserDefaults::remove(const QString &key)
{
    open()->remove(key);
}

double UserDefaults::doubleValue(const QString &key)
{
    return open()->value(key, 0.0).toDouble();
}

bool UserDefaults::boolValue(const QString &key)
{
    const QVariant v = open()->value(key, false);
    if (v.typeId() == QMetaType::QString) {
        const QString s = v.toString().toLower();
        return s == QLatin1String("true") || s == QLatin1String("yes") || s == QLatin1String("1");
    }
    return v.toBool();
}

void UserDefaults::sync()
{
    open()->sync();
}

} // namespace orel
