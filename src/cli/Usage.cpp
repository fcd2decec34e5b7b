#include "cli/Commands.h"

namespace orel::cli {

QString usage()
{
    return QStringLiteral(
            "usage: orrelwick-cli --version\n"
            "       orrelwick-cli config list\n"
            "       orrelwick-cli config show NAME\n"
            "       orrelwick-cli config export NAME FILE.lcsettings\n"
            "       orrelwick-cli config import FILE.lcsettings\n"
            "       orrelwick-cli crawl [URL] [--config FILE | --config-name NAME]\n"
            "                     [--set NAME=VALUE]... [--flat-csv FILE [--columns ID,...]\n"
            "                     [--bad-only]] [--quiet]\n");
}

} // namespace orel::cli
