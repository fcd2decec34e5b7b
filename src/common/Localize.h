// User-visible texts looked up in the string tables "Orrelwick" and "Kestovan"; any thread.
#pragma once

#include <QString>

namespace orel {

// The English text is the key; without a translation the text comes back unchanged.
QString localized(const char *text);
QString localizedKestovan(const char *text);

// localized() for a few literal texts asked for again and again, such as the status texts
// compared for every row a view paints: each thread keeps its answers until
// translationsChanged() is called, which whoever installs or removes a translator must do. The
// answer stays valid until then.
const QString &localizedOften(const char *text);
void translationsChanged();

} // namespace orel
