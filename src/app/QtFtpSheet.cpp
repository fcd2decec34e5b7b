// The FTP upload sheet of the Qt dialogs: server, folder, user name and a hidden password.
#include "QtDialogs.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>

namespace orel {

std::optional<FtpDetails> QtDialogs::ftpSheet(const FtpDetails &details)
{
    QDialog sheet(m_window);
    sheet.setWindowTitle(QObject::tr("Upload sitemap"));
    auto *form = new QFormLayout(&sheet);
    auto *server = new QLineEdit(details.server, &sheet);
    auto *directory = new QLineEdit(details.directory, &sheet);
    auto *username = new QLineEdit(details.username, &sheet);
    auto *password = new QLineEdit(details.password, &sheet);
    password->setEchoMode(QLineEdit::Password);
    form->addRow(QObject::tr("Server:"), server);
    form->addRow(QObject::tr("Directory:"), directory);
    form->addRow(QObject::tr("User name:"), username);
    form->addRow(QObject::tr("Password:"), password);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &sheet);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &sheet, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &sheet, &QDialog::reject);
    form->addRow(buttons);
    if (sheet.exec() != QDialog::Accepted)
        return std::nullopt;
    return FtpDetails { server->text(), directory->text(), username->text(), password->text() };
}

} // namespace orel
