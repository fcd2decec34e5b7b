#include "config/ConfigValues.h"

#include "common/TextLists.h"

#include <QLocale>
#include <QRegularExpression>

namespace orel::config {

bool isYes(const QVariant &v)
{
    if (v.typeId() == QMetaType::Bool)
        return v.toBool();
    return v.toString() == YES;
}

bool isNo(const QVariant &v)
{
    if (v.typeId() == QMetaType::Bool)
        return !v.toBool();
    return v.toString() == NO;
}

double leadingNumber(const QString &text)
{
    static const QRegularExpression re(
            QStringLiteral("^\\s*([+-]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][+-]?\\d+)?)"));
    const QRegularExpressionMatch m = re.match(text);
    return m.hasMatch() ? m.captured(1).toDouble() : 0.0;
}

int leadingInt(const QString &text)
{
    const double d = leadingNumber(text);
    if (d > 2147483647.0)
        return 2147483647;
    if (d < -2147483648.0)
        return -2147483647 - 1;
    return int(d);
}

QString numberText(double d)
{
    return QString::number(d, 'g', QLocale::FloatingPointShortest);
}

QStringList splitRules(const QVariant &v)
{
    if (v.typeId() == QMetaType::QVariantList || v.typeId() == QMetaType::QStringList)
        return trimEachItemInArray(v.toStringList());
    const QString text = v.toString();
    if (text.isEmpty())
        return {};
    return trimEachItemInArray(text.split(QLatin1Char(',')));
}

QVariantMap newSitemapRule(const QString &contains, const QString &priority, const QString &update)
{
    return QVariantMap { { QStringLiteral("contains"), contains },
                         { QStringLiteral("priority"), priority },
                         { QStringLiteral("update"), update } };
}

std::optional<bool> parseSwitch(const QString &text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("yes") || t == QLatin1String("on") || t == QLatin1String("true")
        || t == QLatin1String("1"))
        return true;
    if (t == QLatin1String("no") || t == QLatin1String("off") || t == QLatin1String("false")
        || t == QLatin1String("0"))
        return false;
    return std::nullopt;
}

} // namespace orel::config
