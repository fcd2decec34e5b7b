// Values of a settings dictionary as text: switches, numbers and rule lists as settings files
// hold them, read the forgiving way they always have been; any thread.
#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <optional>

namespace orel::config {

inline const QString YES = QStringLiteral("YES");
inline const QString NO = QStringLiteral("NO");

// Values written by other tools may be booleans rather than "YES"/"NO".
bool isYes(const QVariant &v);
bool isNo(const QVariant &v);

// The leading number of a text, 0 when there is none: settings files have always been read this
// forgiving way ("12 threads" reads as 12, "abc" as 0).
double leadingNumber(const QString &text);
// The same, cut into the range of int.
int leadingInt(const QString &text);
// Shortest text that reads back as the same number.
QString numberText(double d);

// A rule list: a list value, or fragments joined by ","; trimmed, empty ones dropped.
QStringList splitRules(const QVariant &v);
QVariantMap newSitemapRule(const QString &contains, const QString &priority, const QString &update);
// yes/no, on/off, true/false, 1/0 in any letter case; none for anything else.
std::optional<bool> parseSwitch(const QString &text);

} // namespace orel::config
