// The command-line front end.
#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    out << "orrelwick-cli " << ORRELWICK_VERSION << "\n";
    return 0;
}
