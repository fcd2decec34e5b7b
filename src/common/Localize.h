// User-visible texts looked up in the string tables "Orrelwick" and "Kestovan"; any thread.
#pragma once

#include <QString>

namespace orel {

// The English text is the key; without a translation the text comes back unchanged.
QString localized(const char *text);
QString localizedKestovan(const char *text);

// localized() for texts asked for again and again, such as the status texts compared for every
// row a view paints: each thread keeps its answers until translationsChanged() is called, which
// whoever installs or removes a translator must do.
QString localizedOften(const char *text);
void translationsChanged();
// Raised by translationsChanged(), for callers that keep translations of their own.
quint64 translationsGeneration();

} // namespace orel
