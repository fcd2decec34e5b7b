// What the core asks of the user (alerts, panels, progress, browser); main thread.
#pragma once

#include "common/FtpDetails.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace orel {

// The GUI answers with Qt dialogs; the command line and the tests with scripted answers.
class Dialogs
{
public:
    virtual ~Dialogs();

    // Shows an alert and answers the index of the chosen button (0 = first, the default).
    virtual int alert(const QString &title, const QString &text, const QStringList &buttons) = 0;
    // Save panel restricted to one file type (extension without dot); the chosen path or none.
    virtual std::optional<QString> savePanel(const QString &fileType, const QString &startFolder,
                                             const QString &startName) = 0;
    // Open panel for one file of the given types (all types when empty); the path or none.
    virtual std::optional<QString> openPanel(const QStringList &fileTypes, const QString &title,
                                             const QString &prompt) = 0;
    // Folder chooser; the folder or none.
    virtual std::optional<QString> chooseFolder(const QString &title, const QString &prompt) = 0;

    virtual void showProgress(const QString &label, int maximum) = 0;
    virtual void setProgress(int value) = 0;
    virtual void hideProgress() = 0;

    virtual void openUrl(const QString &url) = 0;

    // The sheet asking where to upload the sitemap, filled with details; the details as edited
    // when it ends with OK, none when cancelled (also the answer of dialogs without one).
    virtual std::optional<FtpDetails> ftpSheet(const FtpDetails &details);

    // The dialogs in force; a ScriptedDialogs with default answers until one is installed.
    static Dialogs &current();
    // Installs the dialogs (not owned); nullptr goes back to the built-in scripted ones.
    static void install(Dialogs *dialogs);
};

} // namespace orel
