// The desktop program: for now the main window that later views are built into.
#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Orrelwick"));
    QApplication::setApplicationVersion(QStringLiteral(ORRELWICK_VERSION));
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Orrelwick"));
    window.setCentralWidget(new QLabel(QStringLiteral("Orrelwick")));
    window.resize(900, 600);
    window.show();
    return QApplication::exec();
}
