// Byte and text helpers shared by the scanner's source files; any thread.
#pragma once

#include <QByteArray>
#include <QString>

namespace orel::parsertext {

// Bytes to text, trying UTF-8, ISO Latin 1, UTF-16 and ASCII in that order. ISO Latin 1 counts
// as failed when the bytes hold C1 controls (0x80-0x9F); *ok is false when nothing fits.
QString decode(const char *text, qsizetype n, bool *ok);
// The same into `into`; plain ASCII is copied into its buffer when it has one of its own.
void decode(const char *text, qsizetype n, QString &into, bool *ok);
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
