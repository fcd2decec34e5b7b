// Dialogs answered from a script, for the command line and the tests; main thread.
#pragma once

#include "common/Dialogs.h"

#include <QList>
#include <QQueue>

namespace orel {

class ScriptedDialogs : public Dialogs
{
public:
    struct Call
    {
        QString kind; // "alert", "save", "open", "folder", "progress", "openUrl", "ftp"
        QString title; // alert title, panel file type or title, progress label, URL
        QString text; // alert text, or the start folder of a save panel
        QStringList buttons; // alert buttons, open panel file types
    };

    // Answers are taken in order; when a queue is empty an alert answers 0 (the default button)
    // and a panel answers none (cancel).
    QQueue<int> alertAnswers;
    QQueue<std::optional<QString>> panelAnswers; // save, open and folder panels alike
    QQueue<std::optional<FtpDetails>> ftpAnswers; // the FTP sheet (none: cancel)

    QList<Call> calls;
    int progressMaximum = 0;
    int progressValue = 0;
    bool progressShown = false;
    QStringList openedUrls;

    int alert(const QString &title, const QString &text, const QStringList &buttons) override;
    std::optional<QString> savePanel(const QString &fileType, const QString &startFolder,
                                     const QString &startName) override;
    std::optional<QString> openPanel(const QStringList &fileTypes, const QString &title,
                                     const QString &prompt) override;
    std::optional<QString> chooseFolder(const QString &title, const QString &prompt) override;
    void showProgress(const QString &label, int maximum) override;
    void setProgress(int value) override;
    void hideProgress() override;
    void openUrl(const QString &url) override;
    std::optional<FtpDetails> ftpSheet(const FtpDetails &details) override;

    int countCalls(const QString &kind) const;

private:
    std::optional<QString> nextPanelAnswer();
};

} // namespace orel
