// Placeholder until the configuration commands land.
#include "cli/Commands.h"

#include <QTextStream>

namespace orel::cli {

int runConfigCommand(const QStringList &)
{
    QTextStream(stderr) << "orrelwick-cli: config is not available yet\n";
    return 2;
}

} // namespace orel::cli
