// Locations of the application-support folders and their fixed contents; any thread.
#pragma once

#include <QString>

namespace orel {

// With $ORRELWICK_HOME set everything lives in that one folder. Otherwise the XDG base
// directories decide: the configurations, "lastused" and the FTP details in
// $XDG_DATA_HOME/Orrelwick (~/.local/share/Orrelwick), the working folders that can be made
// again in $XDG_CACHE_HOME/Orrelwick (~/.cache/Orrelwick). Nothing is created by the path calls.
class AppSupport
{
public:
    static QString folder(); // configurations, "lastused", "ftpdetails"
    static QString cacheFolder(); // "temp", "archive", "thumbs"
    static QString archiveFolder(); // cacheFolder()/archive
    static QString tempFolder(); // cacheFolder()/temp
    static QString thumbsFolder(); // cacheFolder()/thumbs
    static QString lastUsedFile(); // folder()/lastused

    // Creates folder() when missing, owner-only. Answers whether it exists afterwards.
    static bool ensureFolder();
};

} // namespace orel
