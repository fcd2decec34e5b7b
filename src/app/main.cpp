// The desktop program: the main window that the views are built into.
#include "QtDialogs.h"

#include "common/HeapTuning.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char *argv[])
{
    orel::tuneHeap();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Orrelwick"));
    QApplication::setApplicationVersion(QStringLiteral(ORRELWICK_VERSION));
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Orrelwick"));
    window.setCentralWidget(new QLabel(QStringLiteral("Orrelwick")));
    window.resize(900, 600);
    orel::QtDialogs dialogs(&window);
    orel::Dialogs::install(&dialogs);
    window.show();
    const int rc = QApplication::exec();
    orel::Dialogs::install(nullptr);
    return rc;
}
