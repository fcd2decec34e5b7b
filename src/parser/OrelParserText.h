// Byte and text helpers shared by the scanner's source files; any thread.
#pragma once

#include <QByteArray>
#include <QString>

namespace orel::parsertext {

// Bytes to text: UTF-8 when they are valid UTF-8, else ISO Latin 1 with the bytes 0x80-0x9F
// read as Windows-1252 (the undefined five stay C1 controls). Latin 1 takes every byte, so the
// UTF-16 and ASCII readings that would follow it in the chain are never reached.
QString decode(const char *text, qsizetype n);
// The same into `into`; plain ASCII is copied into its buffer when it has one of its own.
void decode(const char *text, qsizetype n, QString &into);
// Bytes of a URL to a string: ASCII as it is, other bytes kept (as UTF-8 when valid).
QString urlString(const char *text, qsizetype n);
// Text to ASCII bytes, "?" for anything beyond.
QByteArray asciiLossy(const QString &text);
// ASCII comparisons ignoring case; lowerWord is in lower case.
bool equalsIgnoringCase(const char *text, qsizetype n, const char *lowerWord);
bool containsIgnoringCase(const char *text, qsizetype n, const char *lowerWord);

} // namespace orel::parsertext

namespace orel::parsertext {

// The text between the first quote (double or single) after name (any case) and the next quote
// of the same kind; "" when any part is missing.
QString quotedValueAfter(const QString &text, QLatin1StringView name);

} // namespace orel::parsertext
