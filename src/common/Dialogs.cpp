#include "common/Dialogs.h"

#include "common/ScriptedDialogs.h"

namespace orel {

namespace {
Dialogs *installed = nullptr;
}

Dialogs::~Dialogs() = default;

std::optional<FtpDetails> Dialogs::ftpSheet(const FtpDetails &)
{
    return std::nullopt;
}

Dialogs &Dialogs::current()
{
    static ScriptedDialogs fallback;
    return installed ? *installed : fallback;
}

void Dialogs::install(Dialogs *dialogs)
{
    installed = dialogs;
}

int ScriptedDialogs::alert(const QString &title, const QString &text, const QStringList &buttons)
{
    calls.append({ QStringLiteral("alert"), title, text, buttons });
    return alertAnswers.isEmpty() ? 0 : alertAnswers.dequeue();
}

std::optional<QString> ScriptedDialogs::nextPanelAnswer()
{
    return panelAnswers.isEmpty() ? std::nullopt : panelAnswers.dequeue();
}

std::optional<QString> ScriptedDialogs::savePanel(const QString &fileType,
                                                  const QString &startFolder,
                                                  const QString &startName)
{
    calls.append({ QStringLiteral("save"), fileType, startFolder, { startName } });
    return nextPanelAnswer();
}

std::optional<QString> ScriptedDialogs::openPanel(const QStringList &fileTypes,
                                                  const QString &title, const QString &prompt)
{
    calls.append({ QStringLiteral("open"), title, prompt, fileTypes });
    return nextPanelAnswer();
}

std::optional<QString> ScriptedDialogs::chooseFolder(const QString &title, const QString &prompt)
{
    calls.append({ QStringLiteral("folder"), title, prompt, {} });
    return nextPanelAnswer();
}

void ScriptedDialogs::showProgress(const QString &label, int maximum)
{
    calls.append({ QStringLiteral("progress"), label, {}, {} });
    progressShown = true;
    progressMaximum = maximum;
    progressValue = 0;
}

void ScriptedDialogs::setProgress(int value)
{
    progressValue = value;
}

void ScriptedDialogs::hideProgress()
{
    progressShown = false;
}

void ScriptedDialogs::openUrl(const QString &url)
{
    calls.append({ QStringLiteral("openUrl"), url, {}, {} });
    openedUrls.append(url);
}

std::optional<FtpDetails> ScriptedDialogs::ftpSheet(const FtpDetails &details)
{
    // The password is not recorded: tests look for it in what the program keeps.
    calls.append(
            { QStringLiteral("ftp"), details.server, details.directory, { details.username } });
    return ftpAnswers.isEmpty() ? std::nullopt : ftpAnswers.dequeue();
}

int ScriptedDialogs::countCalls(const QString &kind) const
{
    int n = 0;
    for (const Call &c : calls)
        n += c.kind == kind ? 1 : 0;
    return n;
}

} // namespace orel
