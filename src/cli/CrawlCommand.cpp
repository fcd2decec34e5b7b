// Placeholder until the crawl command lands.
#include "cli/Commands.h"

#include <QTextStream>

namespace orel::cli {

int runCrawlCommand(const QStringList &)
{
    QTextStream(stderr) << "orrelwick-cli: crawl is not available yet\n";
    return 2;
}

} // namespace orel::cli
