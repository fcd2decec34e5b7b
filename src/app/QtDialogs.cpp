#include "QtDialogs.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QUrl>

namespace orel {

QtDialogs::QtDialogs(QWidget *window) : m_window(window) { }

QtDialogs::~QtDialogs()
{
    delete m_progress;
}

int QtDialogs::alert(const QString &title, const QString &text, const QStringList &buttons)
{
    QMessageBox box(m_window);
    box.setWindowTitle(title);
    box.setText(title);
    box.setInformativeText(text);
    QList<QAbstractButton *> added;
    const QStringList labels = buttons.isEmpty() ? QStringList { QStringLiteral("OK") } : buttons;
    for (int i = 0; i < labels.size(); ++i) {
        QPushButton *b = box.addButton(labels.at(i),
                                       i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
        added.append(b);
        if (i == 0)
            box.setDefaultButton(b);
    }
    box.exec();
    const int index = int(added.indexOf(box.clickedButton()));
    return index < 0 ? 0 : index;
}

std::optional<QString> QtDialogs::savePanel(const QString &fileType, const QString &startFolder,
                                            const QString &startName)
{
    const QString folder = startFolder.isEmpty() ? QDir::homePath() : startFolder;
    const QString start = startName.isEmpty() ? folder : folder + QLatin1Char('/') + startName;
    const QString filter = fileType.isEmpty() ? QString() : QStringLiteral("*.%1").arg(fileType);
    QString path = QFileDialog::getSaveFileName(m_window, QString(), start, filter);
    if (path.isEmpty())
        return std::nullopt;
    if (!fileType.isEmpty() && !path.endsWith(QLatin1Char('.') + fileType))
        path += QLatin1Char('.') + fileType;
    return path;
}

std::optional<QString> QtDialogs::openPanel(const QStringList &fileTypes, const QString &title,
                                            const QString &prompt)
{
    Q_UNUSED(prompt);
    QStringList patterns;
    for (const QString &t : fileTypes)
        patterns << QStringLiteral("*.%1").arg(t);
    const QString path = QFileDialog::getOpenFileName(m_window, title, QDir::homePath(),
                                                      patterns.join(QLatin1Char(' ')));
    if (path.isEmpty())
        return std::nullopt;
    return path;
}

std::optional<QString> QtDialogs::chooseFolder(const QString &title, const QString &prompt)
{
    Q_UNUSED(prompt);
    const QString path = QFileDialog::getExistingDirectory(m_window, title, QDir::homePath());
    if (path.isEmpty())
        return std::nullopt;
    return path;
}

void QtDialogs::showProgress(const QString &label, int maximum)
{
    if (!m_progress) {
        m_progress = new QProgressDialog(m_window);
        m_progress->setCancelButton(nullptr);
        m_progress->setMinimumDuration(0);
        m_progress->setWindowModality(Qt::WindowModal);
    }
    m_progress->setLabelText(label);
    m_progress->setRange(0, maximum);
    m_progress->setValue(0);
    m_progress->show();
}

void QtDialogs::setProgress(int value)
{
    if (m_progress)
        m_progress->setValue(value);
}

void QtDialogs::hideProgress()
{
    if (m_progress)
        m_progress->hide();
}

void QtDialogs::openUrl(const QString &url)
{
    QDesktopServices::openUrl(QUrl(url));
}

} // namespace orel
