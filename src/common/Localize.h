// User-visible texts looked up in the string tables "Orrelwick" and "Kestovan"; any thread.
#pragma once

#include <QString>

namespace orel {

// The English text is the key; without a translation the text comes back unchanged.
QString localized(const char *text);
QString localizedKestovan(const char *text);

} // namespace orel
