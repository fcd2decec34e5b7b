// The check every output option of the command line makes before a crawl starts, so that a run
// of an hour does not end in "cannot write"; main thread.
#pragma once

#include <QString>
#include <QStringList>

namespace orel::cli {

// An error text when the file cannot be written: it is a folder, its folder does not exist or
// cannot be written into, or the file exists and cannot be written; a null string when it can
// (and for "" and "-", standard output). Nothing is created.
QString checkOutputPath(const QString &path);

// The first error of checkOutputPath over the paths, or a null string.
QString checkOutputPaths(const QStringList &paths);

} // namespace orel::cli
