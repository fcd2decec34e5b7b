// Locations of the application-support folder and its fixed sub-folders; any thread.
#pragma once

#include <QString>

namespace orel {

class AppSupport
{
public:
    // $ORRELWICK_HOME when set, else ~/.local/share/Orrelwick. The default path is looked up in
    // the "Kestovan" table so that a translation can move it. Not created by this call.
    static QString folder();
    static QString archiveFolder(); // folder()/archive
    static QString tempFolder(); // folder()/temp
    static QString thumbsFolder(); // folder()/thumbs
    static QString lastUsedFile(); // folder()/lastused

    // Creates folder() when missing. Answers whether it exists afterwards.
    static bool ensureFolder();
};

} // namespace orel
