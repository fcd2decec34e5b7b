// Helpers of the scanner tests: a scanner over a literal page and the links it yields; the row
// types of the tables come with it.
#pragma once

#include "TestHome.h"
#include "parser/OrelParser.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <tuple>
#include <utility>

namespace orel::test {

inline std::unique_ptr<OrelParser> scan(const QByteArray &page, bool checkNofollow = false)
{
    return OrelParser::initWithData(page, QStringLiteral("test"), false, false, true,
                                    checkNofollow);
}

// Every URL getNextHref() yields (images included), in order; withText makes each "url|text".
inline QStringList hrefs(const QByteArray &page, bool trim = false, bool withText = false)
{
    auto p = scan(page);
    QStringList out;
    while (auto h = p->getNextHref(true, trim))
        out << (withText ? *h + QLatin1Char('|') + p->getData() : *h);
    return out;
}

} // namespace orel::test
