// The Dialogs interface answered with Qt dialogs on the main window; main thread.
#pragma once

#include "common/Dialogs.h"

#include <QPointer>

class QProgressDialog;
class QWidget;

namespace orel {

class QtDialogs : public Dialogs
{
public:
    explicit QtDialogs(QWidget *window);
    ~QtDialogs() override;

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
    std::optional<FtpDetails> ftpSheet(const FtpDetails &details) override; // QtFtpSheet.cpp

private:
    QPointer<QWidget> m_window;
    QProgressDialog *m_progress = nullptr;
};

} // namespace orel
