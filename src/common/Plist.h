// Reading and writing XML property lists (the settings files and saved link lists); any thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Values map to QVariant as: dict QVariantMap, array QVariantList, string QString, integer qint64,
// real double, true/false bool, date QDateTime (UTC), data QByteArray.
//
// Reading is strict: anything that is not a well-formed property list (truncated XML, another
// root element, unknown elements, a dict key without a value, text outside values, a DOCTYPE that
// declares entities, a reference to an undeclared entity) gives none and a one-line reason in
// *error. Entities are never expanded, so a hostile file cannot blow up in memory.
namespace orel::Plist {

std::optional<QVariant> read(const QByteArray &xml, QString *error = nullptr);
std::optional<QVariant> readFile(const QString &path, QString *error = nullptr);

// Dictionary keys come out sorted. Other variant types are written as their string form.
QByteArray write(const QVariant &root);
// Writes atomically: the old file stays intact when anything fails.
bool writeFile(const QString &path, const QVariant &root, QString *error = nullptr);

} // namespace orel::Plist
